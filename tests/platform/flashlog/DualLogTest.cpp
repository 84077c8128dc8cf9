#include "platform/flashlog/DualLog.h"

#include <gmock/gmock.h>

#include <fstream>
#include <functional>
#include <memory>

#include "TraceSupport.h"
#include "records/bridging/VlanId.h"
#include "records/vxlan/Vni.h"

KEL_TRACE_UNIT( "DualLogTest", "DualLogTestHandle" )

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

enum class Colour { red = 7 };
enum Wide : std::uint32_t { widest = 0xffffffff };

struct Mac {
   friend std::ostream & operator<<( std::ostream & os, Mac const & ) { return os << "02:00"; }
};

struct Machine {
   void handle( unsigned vni, std::string const & intf ) {
      KEL_TRACE_SCOPE( " VNI: ", vni, " intf: ", intf );
      KEL_TRACE_INFO( "info ", vni );
      KEL_TRACE_ALERT( "alert ", vni );
   }

   /** @return how often an argument was evaluated. */
   static int leave( int way, std::function< void() > const & inside = {} ) {
      int evaluated = 0;
      KEL_TRACE_SCOPE_ENDING( " return ", "way ", ( ++evaluated, way ) );
      if ( inside ) {
         inside();
      }
      if ( way == 1 ) {
         return evaluated;
      }
      if ( way == 2 ) {
         KEL_TRACE_RETURN( " return: ", ( ++evaluated, way ) );
         return evaluated;
      }
      KEL_TRACE_INFO( "end" );
      return evaluated;
   }

   void die( std::unique_ptr< Machine > & self ) {
      KEL_TRACE_SCOPE( number );
      self = nullptr;
   }

   unsigned number = 1;
};

class DualLogTest : public TraceFixture {};

TEST_F( DualLogTest, LevelsAndLineFormat ) {
   open();
   Machine{}.handle( 5, "Et1" );
   EXPECT_TRUE( lines.empty() );
   Kel::setTextTrace( Kel::traceEntry );
   Machine{}.handle( 6, "Et2" );
   EXPECT_THAT( lines, ElementsAre( MatchesRegex( ".*Machine::handle\\(.*\\):  VNI: 6 intf: Et2" ),
                                    EndsWith( "): info 6" ), EndsWith( "): alert 6" ),
                                    EndsWith( "):  return" ) ) );
   Kel::setTextTrace( Kel::traceInfo );
   Machine{}.handle( 7, "Et3" );
   EXPECT_THAT( lines, testing::SizeIs( 6 ) );
   // The record holds all levels but the return, whatever the text level, in the order of time.
   auto const unit = [&]( int level, std::string const & text ) {
      return MatchesRegex( std::to_string( level ) +
                           " DualLogTest:[0-9]+ .*Machine::handle.*: " + text );
   };
   EXPECT_THAT(
      decoded(),
      ElementsAre( unit( 8, " VNI: 5 intf: Et1" ), unit( 6, "info 5" ), unit( 4, "alert 5" ),
                   unit( 8, " VNI: 6 intf: Et2" ), unit( 6, "info 6" ), unit( 4, "alert 6" ),
                   unit( 8, " VNI: 7 intf: Et3" ), unit( 6, "info 7" ), unit( 4, "alert 7" ) ) );
}

TEST_F( DualLogTest, ArgumentsAreEvaluatedOnceAndOnlyIfOn ) {
   int evaluated = 0;
   auto const point = [&] { KEL_TRACE_INFO( "n ", ++evaluated ); };
   point();
   Kel::setTextTrace( Kel::traceAlert );
   point();
   EXPECT_EQ( evaluated, 0 );
   Kel::setTextTrace( Kel::traceInfo );
   point();
   EXPECT_EQ( evaluated, 1 );
   open();
   point();
   EXPECT_EQ( evaluated, 2 );
   Kel::setTextTrace( -1 );
   point();
   EXPECT_EQ( evaluated, 3 );
   Flashlog::shutdown();
   point();
   EXPECT_EQ( evaluated, 3 );
}

TEST_F( DualLogTest, EveryKindOfArgument ) {
   open();
   Kel::setTextTrace( Kel::traceEntry );
   std::string const text = "a%b";
   char const * const none = nullptr;
   char local[8] = "loc";
   for ( bool const on : { true, false } ) {
      // The choice has the type of a literal, and the comma in <> fools no one who counts.
      KEL_TRACE_INFO( "100% ", on ? "yes" : "no!", ' ', on, ',', std::uint8_t{ 200 }, ' ',
                      std::uint16_t{ 65535 }, ' ', 4000000000u, ' ', -5, ' ', std::size_t{ 17 } );
      KEL_TRACE_INFO( std::pair< int, int >( 1, 2 ).second, " tail ",
                      "x"
                      "y,(" );
      local[0] = on ? 'L' : 'M';
      KEL_TRACE_INFO( Colour::red, " ", widest, " ", Bridging::VlanId( 12 ), " ", Mac{}, " ", text,
                      " ", std::string_view( text ).substr( 1 ), " ", none, " ", local, " ", 1.5 );
   }
   KEL_TRACE_INFO();
   KEL_TRACE( 2, "line\nend" );
   auto const numbers = " 200 65535 4000000000 -5 17";
   std::vector< std::string > const expected{ std::string( "100% yes true," ) + ( numbers + 1 ),
                                              "2 tail xy,(",
                                              "7 4294967295 12 02:00 a%b %b (null) Loc 1.5",
                                              std::string( "100% no! false," ) + ( numbers + 1 ),
                                              "2 tail xy,(",
                                              "7 4294967295 12 02:00 a%b %b (null) Moc 1.5",
                                              "" };
   auto const records = decoded();
   ASSERT_EQ( lines.size(), expected.size() + 1 );
   ASSERT_EQ( records.size(), expected.size() + 1 );
   for ( std::size_t i = 0; i < expected.size(); ++i ) {
      EXPECT_THAT( lines[i], EndsWith( "(): " + expected[i] ) );
      EXPECT_THAT( records[i], EndsWith( lines[i] ) );
   }
   EXPECT_THAT( records.back(), EndsWith( "line\\x0aend" ) );
}

TEST_F( DualLogTest, NumbersKeepTheirWidth ) {
   open();
   Kel::setTextTrace( Kel::traceInfo );
   KEL_TRACE_INFO( "widths", Bridging::VlanId( 1000 ), ' ', Bridging::VlanIdOrNone(), ' ',
                   Vxlan::VniExtOrNone::none(), ' ', Vxlan::VniOrNone( 10100 ), ' ', sizeof( int ),
                   ' ', std::uint64_t{ 1 } << 32 );
   std::string const numbers = "widths1000 0 4294967295 10100 4 ";
   EXPECT_THAT( lines, ElementsAre( EndsWith( numbers + "4294967296" ) ) );
   EXPECT_THAT( decoded(), ElementsAre( EndsWith( numbers + "4294967295" ) ) );
   std::ifstream file( path(), std::ios::binary );
   std::string const bytes{ std::istreambuf_iterator< char >( file ), {} };
   EXPECT_THAT( bytes, HasSubstr( "widths%s%p%s%p%i%p%i%p%i%p%i" ) );
}

TEST_F( DualLogTest, ScopeTellsEveryWayOut ) {
   auto const text = [&]( char const * end ) { return EndsWith( std::string( "): " ) + end ); };
   Kel::setTextTrace( Kel::traceEntry );
   Machine::leave( 1 );
   Machine::leave( 2 );
   Machine::leave( 3 );
   auto machine = std::make_unique< Machine >();
   machine->die( machine );
   EXPECT_THAT( lines, ElementsAre( text( "way 1" ), text( " return " ), text( "way 2" ),
                                    text( " return: 2" ), text( "way 3" ), text( "end" ),
                                    text( " return " ), text( "1" ), text( " return" ) ) );
   // Of a scope that is entered with the trace off, or left so, no line comes; nor do returns cost
   // the entry's arguments.
   lines.clear();
   Kel::setTextTrace( Kel::traceInfo );
   EXPECT_EQ( Machine::leave( 2, [] { Kel::setTextTrace( Kel::traceEntry ); } ), 0 );
   EXPECT_EQ( Machine::leave( 1, [] { Kel::setTextTrace( -1 ); } ), 1 );
   EXPECT_THAT( lines, ElementsAre( text( "way 1" ) ) );
   lines.clear();
   Kel::setTextTrace( Kel::traceReturn );
   EXPECT_EQ( Machine::leave( 1 ), 0 );
   EXPECT_THAT( lines, ElementsAre( text( " return " ) ) );
   // The record has the entries alone.
   lines.clear();
   Kel::setTextTrace( -1 );
   open();
   EXPECT_EQ( Machine::leave( 2 ), 1 );
   EXPECT_THAT( decoded(), ElementsAre( text( "way 2" ) ) );
   EXPECT_TRUE( lines.empty() );
}

TEST_F( DualLogTest, LongTextsAreCutAndNumbersKept ) {
   open();
   Kel::setTextTrace( Kel::traceInfo );
   std::string const text( 2000, 'x' );
   KEL_TRACE_INFO( "a ", text, " b ", text, " c ", 77u );
   EXPECT_THAT( lines, ElementsAre( HasSubstr( text + " b " + text + " c 77" ) ) );
   EXPECT_THAT( decoded(),
                ElementsAre( MatchesRegex( ".*: a x{400,480}\\.\\.\\. b \\.\\.\\. c 77" ) ) );
}

TEST_F( DualLogTest, HandlesAreSwitchedAloneAndShared ) {
   static constinit Kel::TraceUnit sibling{ "Sibling" };
   static constinit Kel::TraceUnit other{ "Other" };
   static constinit Kel::TraceUnit later{ "Later" };
   static Kel::TraceUnitRegistration const siblingIsThere( sibling, "DualLogTestHandle" );
   static Kel::TraceUnitRegistration const otherIsThere( other, "DualLogTestOther" );
   auto const on = []( Kel::TraceUnit const & unit, int level ) {
      return ( unit.mask & Kel::TraceUnit::anyBit( level ) ) != 0;
   };
   Kel::setTextTrace( "DualLogTestHandle", 6 );
   EXPECT_TRUE( on( kelTraceUnit_, 6 ) && on( sibling, 6 ) && on( sibling, 0 ) );
   EXPECT_FALSE( on( kelTraceUnit_, 7 ) || on( sibling, 7 ) || on( other, 0 ) );
   Kel::traceHandle( "DualLogTestHandle" ).enabledIs( 5, false );
   EXPECT_FALSE( on( sibling, 5 ) || Kel::traceHandle( "DualLogTestHandle" ).enabled( 5 ) );
   EXPECT_TRUE( on( sibling, 6 ) && on( sibling, 4 ) );

   Kel::setTextTrace( 4 );
   Kel::setTextTrace( "DualLogTestLater", 8 );
   EXPECT_TRUE( on( other, 4 ) && !on( sibling, 6 ) );
   static Kel::TraceUnitRegistration const laterIsThere( later, "DualLogTestLater" );
   EXPECT_TRUE( on( later, 8 ) );
   EXPECT_TRUE( Kel::traceHandle( "DualLogTestNew" ).enabled( 4 ) );
   EXPECT_FALSE( Kel::traceHandle( "DualLogTestNew" ).enabled( 6 ) );
   Kel::setTextTrace( 99 );
   EXPECT_TRUE( on( later, 9 ) && !on( later, 10 ) );
   EXPECT_THAT( Kel::traceHandleNames(), testing::Contains( "DualLogTestOther" ) );
}

}  // namespace
