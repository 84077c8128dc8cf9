#include <gtest/gtest.h>

#include <limits>

#include "platform/kel/ValueSet.h"
#include "platform/kel/ValueTraits.h"

namespace {

using Kel::String, Kel::Value, Kel::ValueError;

Value number( std::uint64_t n ) {
   return n;
}
Value minus( std::int64_t n ) {
   return n;
}

enum class Colour : std::uint8_t { Red = 1, Blue = 200 };

/** A number from 1 to 10. */
class Small {
 public:
   using Number = std::uint16_t;
   Small() = default;
   explicit Small( Number n ) : n_( n ) {
      if ( n < 1 || n > 10 ) {
         Kel::throwRangeException( "small numbers end at 10" );
      }
   }
   Number value() const { return n_; }
   friend bool operator==( Small const &, Small const & ) = default;

 private:
   Number n_ = 1;
};

struct Place {
   String street;
   int house = 0;
   KEL_KEY_RECORD( Place, street, house )
};
struct Deep {
   Place place;
   Colour colour = Colour::Red;
   bool open = false;
   KEL_KEY_RECORD( Deep, place, colour, open )
};
struct Order {
   String who;
   Place to;
   Small count;
   Kel::ValueSet< int > parts;
   double weight = 0;
   KEL_RECORD( Order, who, to, count, parts, weight )
};
/** A record whose mask says which fields count. */
struct Masked {
   std::uint32_t mask = 0;
   int a = 0;
   int b = 0;
   using KelRecord = Masked;
   template < class F >
   static constexpr auto kelFields( F && f ) {
      return f( Kel::field( "mask", &Masked::mask ), Kel::field( "a", &Masked::a, 1 ),
                Kel::field( "b", &Masked::b, 2 ) );
   }
   std::uint64_t kelMask() const { return mask; }
   friend bool operator==( Masked const &, Masked const & ) = default;
};

/** Where and why a value does not fit; the target must be as it was. */
template < class T >
std::string fault( Value const & patch, T target = T{} ) {
   T const before = target;
   try {
      Kel::patchValue( target, patch );
      return "fits";
   } catch ( ValueError const & e ) {
      EXPECT_EQ( target, before );
      return e.pointer() + ": " + e.what();
   }
}

TEST( ValueTest, AMergePatchSetsWhatItNamesAndResetsOnNull ) {
   Order order{ "me", { "High Street", 5 }, Small( 7 ), {}, 1.5 };
   order.parts.insert( 3 );
   Order const before = order;
   Kel::patchValue( order, Value::Object{} );
   EXPECT_EQ( order, before );
   Kel::patchValue(
      order, Value::Object{ { "to", Value::Object{ { "house", minus( -6 ) } } },
                            { "parts", Value::Array{ number( 9 ), number( 2 ), number( 9 ) } },
                            { "weight", number( 2 ) } } );
   EXPECT_EQ( order.to, ( Place{ "High Street", -6 } ) );
   EXPECT_EQ( std::vector( order.parts.begin(), order.parts.end() ), ( std::vector{ 2, 9 } ) );
   EXPECT_EQ( order.weight, 2 );
   Kel::patchValue( order, Value::Object{ { "who", {} },
                                          { "to", Value::Object{ { "street", {} } } },
                                          { "count", {} },
                                          { "parts", {} } } );
   EXPECT_EQ( order, ( Order{ "", { "", -6 }, Small( 1 ), {}, 2 } ) );
   EXPECT_EQ( Kel::fromValue< Order >( Kel::toValue( before ) ), before );
   EXPECT_EQ( Kel::toValue( order ).member( "to" )->member( "house" )->as< std::int64_t >()[0],
              -6 );
}

TEST( ValueTest, AFaultTellsItsPlaceAndReason ) {
   using Object = Value::Object;
   EXPECT_EQ( fault< Order >( Object{ { "to", Object{ { "house", "5" } } } } ),
              "/to/house: wants a whole number, -2147483648 to 2147483647, not a text" );
   EXPECT_EQ( fault< Order >( Object{ { "to", Object{ { "a/b~c", number( 1 ) } } } } ),
              "/to/a~1b~0c: unknown field; there are: street, house" );
   EXPECT_EQ(
      fault< Order >( Object{ { "who", "x" }, { "parts", Value::Array{ number( 1 ), true } } } ),
      "/parts/1: wants a whole number, -2147483648 to 2147483647, not a boolean" );
   EXPECT_EQ( fault< Order >( Object{ { "count", number( 11 ) } } ),
              "/count: small numbers end at 10" );
   EXPECT_EQ( fault< Order >( Object{ { "to", Value::Array{} } } ),
              "/to: wants an object, not an array" );
   EXPECT_EQ( fault< Order >( Object{ { "parts", Object{} } } ),
              "/parts: wants an array, not an object" );
   EXPECT_EQ( fault< Order >( Object{ { "weight", "heavy" } } ).substr( 0, 8 ), "/weight:" );
   EXPECT_EQ( fault< Order >( number( 1 ) ), ": wants an object, not a number" );
   EXPECT_EQ( fault< bool >( number( 1 ) ), ": wants a boolean, not a number" );
   EXPECT_EQ( fault< String >( true ), ": wants a text, not a boolean" );
   EXPECT_EQ( fault< std::uint8_t >( 1e3 ),
              ": wants a whole number, 0 to 255, not a number with a point or an exponent" );
   EXPECT_EQ( fault< double >( "1" ), ": wants a number, not a text" );
}

TEST( ValueTest, NumbersKeepToTheRangeOfTheirType ) {
   auto fits = [&]< class T >( T, Value const & v ) { return fault< T >( v ) == "fits"; };
   EXPECT_TRUE( fits( std::uint8_t{}, number( 255 ) ) );
   EXPECT_EQ( fault< std::uint8_t >( number( 256 ) ), ": wants a whole number, 0 to 255, not 256" );
   EXPECT_EQ( fault< std::uint8_t >( minus( -1 ) ), ": wants a whole number, 0 to 255, not -1" );
   EXPECT_TRUE( fits( std::int8_t{}, minus( -128 ) ) );
   EXPECT_FALSE( fits( std::int8_t{}, minus( -129 ) ) || fits( std::int8_t{}, number( 128 ) ) );
   std::uint64_t const most = std::numeric_limits< std::uint64_t >::max();
   EXPECT_TRUE( fits( most, number( most ) ) );
   EXPECT_FALSE( fits( std::int64_t{}, number( most ) ) || fits( most, minus( -1 ) ) );
   EXPECT_EQ( Kel::fromValue< Colour >( number( 200 ) ), Colour::Blue );
   EXPECT_FALSE( fits( Colour::Red, number( 256 ) ) );
   EXPECT_EQ( Kel::fromValue< double >( number( most ) ), static_cast< double >( most ) );
   EXPECT_EQ( Kel::toValue( std::int32_t{ -5 } ), minus( -5 ) );
   EXPECT_EQ( Kel::toValue( std::int32_t{ 5 } ), number( 5 ) );
}

TEST( ValueTest, AKeyHasOneText ) {
   for ( Deep const & key : { Deep{}, Deep{ { "a|b", -1 }, Colour::Blue, true },
                              Deep{ { "\\", 2 }, Colour::Red, false },
                              Deep{ { "a\\|\\\\", 3 }, Colour::Red, true } } ) {
      std::string const text = Kel::textOf( key );
      EXPECT_EQ( Kel::fromText< Deep >( text ), key ) << text;
      EXPECT_EQ( Kel::fromText< Deep >( text ).hash(), key.hash() );
   }
   EXPECT_EQ( Kel::textOf( Place{ "a|b\\c", 4 } ), "a\\|b\\\\c|4" );
   EXPECT_EQ( Kel::textOf( Place{} ), "|0" );
   EXPECT_EQ( Kel::textOf( Deep{ { "x", 1 }, Colour::Blue, true } ), "x\\|1|200|true" );
   for ( char const * text : { "x", "x|", "x|1|2", "x|01", "x|-0", "x|+1", "x| 1", "x|1 ", "x|1\\",
                               "\\x|1", "x\\|1", "x|2147483648", "" } ) {
      EXPECT_THROW( Kel::fromText< Place >( text ), ValueError ) << text;
   }
   EXPECT_EQ( Kel::fromText< int >( "-12" ), -12 );
   EXPECT_THROW( Kel::fromText< std::uint8_t >( "256" ), ValueError );
   EXPECT_THROW( Kel::fromText< Small >( "11" ), ValueError );
   EXPECT_THROW( Kel::fromText< bool >( "True" ), ValueError );
   // A key of one text stands as it is.
   EXPECT_EQ( Kel::fromText< String >( "a|b\\" ), "a|b\\" );
}

TEST( ValueTest, AMaskedFieldIsShownWithItsBitOrWhenFilledIn ) {
   auto shown = []( Masked const & v ) {
      std::string names;
      Value const form = Kel::toValue( v );
      for ( auto const & [name, value] : *form.as< Value::Object >() ) {
         names += name + " ";
      }
      EXPECT_EQ( Kel::fromValue< Masked >( Kel::toValue( v ) ), v );
      return names;
   };
   EXPECT_EQ( shown( {} ), "mask " );
   EXPECT_EQ( shown( { 2, 0, 0 } ), "mask b " );
   EXPECT_EQ( shown( { 2, 7, 0 } ), "mask a b " );
}

TEST( ValueTest, SetsAndTextsShareUntilTheyChange ) {
   Kel::ValueSet< String > set;
   for ( char const * text : { "b", "", "a", "b" } ) {
      set.insert( text );
   }
   EXPECT_EQ( Kel::textOf( set ), "|a|b" );
   auto copy = set;
   EXPECT_EQ( copy.begin(), set.begin() );
   copy.erase( "a" );
   EXPECT_TRUE( set.has( "a" ) && !copy.has( "a" ) );
   EXPECT_FALSE( copy == set );
   copy.insert( "a" );
   EXPECT_EQ( copy, set );
   for ( char const * text : { "", "a", "b", "c" } ) {
      copy.erase( text );
   }
   EXPECT_TRUE( copy.empty() );
   EXPECT_EQ( copy, Kel::ValueSet< String >() );

   EXPECT_TRUE( String::concat( { std::string_view(), "", {} } ).empty() );
   String const joined = String::concat( { "Ether", {}, "net1" } );
   EXPECT_EQ( joined, String( "Ethernet1" ) );
   EXPECT_EQ( joined.hash(), String( "Ethernet1" ).hash() );
   EXPECT_STREQ( joined.charPtr(), "Ethernet1" );
   EXPECT_NE( String( std::string_view( "a\0", 2 ) ), String( "a" ) );
   EXPECT_LT( String( "Ethernet1" ), String( "Ethernet10" ) );
   EXPECT_EQ( String().hash(), 0u );
}

}  // namespace
