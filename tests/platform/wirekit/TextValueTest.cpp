#include "platform/wirekit/TextValue.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "platform/kel/Exceptions.h"
#include "platform/wirekit/EthAddr.h"
#include "platform/wirekit/IntfId.h"
#include "platform/wirekit/IpAddr.h"
#include "platform/wirekit/IpGenAddr.h"
#include "records/l3/VrfName.h"

namespace {

using namespace std::string_view_literals;
using L3::VrfName;
using Wirekit::EthAddr, Wirekit::IntfId, Wirekit::Ip4Addr, Wirekit::Ip6Addr, Wirekit::IpGenAddr,
   Wirekit::IpGenPrefix;

/** Texts that are the printed form, in ascending order of the values. */
template < Wirekit::TextValue T >
void expectTexts( std::vector< std::string_view > ascending ) {
   static_assert( std::is_trivially_copyable_v< T > );
   std::optional< T > last;
   for ( auto text : ascending ) {
      auto const value = T::parse( text );
      ASSERT_TRUE( value ) << text;
      std::ostringstream out;
      out << *value;
      EXPECT_EQ( value->stringValue(), text );
      EXPECT_EQ( out.str(), text );
      EXPECT_EQ( *T::parse( text ), *value ) << text;
      EXPECT_EQ( T::parse( text )->hash(), value->hash() ) << text;
      if ( last ) {
         EXPECT_TRUE( *last < *value && *last != *value && last->hash() != value->hash() ) << text;
      }
      last = value;
   }
   EXPECT_EQ( T::parse( T().stringValue() ), T() );
}

/** Other texts of a value than the printed one. */
template < Wirekit::TextValue T >
void expectPrinted( std::string_view text, std::string_view printed ) {
   auto const value = T::parse( text );
   ASSERT_TRUE( value ) << text;
   EXPECT_EQ( value->stringValue(), printed );
}

template < Wirekit::TextValue T >
void expectRejected( std::vector< std::string_view > texts ) {
   for ( auto text : texts ) {
      EXPECT_FALSE( T::parse( text ) ) << text;
   }
}

TEST( EthAddr, texts ) {
   expectTexts< EthAddr >( { "00:00:00:00:00:00", "00:00:00:00:01:00", "02:00:00:00:00:01",
                             "0a:bc:de:f0:12:34", "ff:ff:ff:ff:ff:ff" } );
   expectPrinted< EthAddr >( "0A:BC:DE:F0:12:34", "0a:bc:de:f0:12:34" );
   expectRejected< EthAddr >( { "", "02:00:00:00:00", "02:00:00:00:00:01:02", "2:0:0:0:0:1",
                                "02-00-00-00-00-01", "0200.0000.0001", "02:00:00:00:00:0g",
                                "02:00:00:00:00:1 ", "02:00:00:00:00: 1", "+2:00:00:00:00:01",
                                " 02:00:00:00:00:01", "02:00:00:00:00:01\0"sv } );
   EXPECT_TRUE( EthAddr().isZero() && !EthAddr::allOnes().isZero() );
   EXPECT_EQ( EthAddr::allOnes().stringValue(), "ff:ff:ff:ff:ff:ff" );
}

TEST( Ip4Addr, texts ) {
   expectTexts< Ip4Addr >( { "0.0.0.0", "1.2.3.4", "10.0.0.1", "127.255.0.0", "255.255.255.255" } );
   expectRejected< Ip4Addr >( { "", "10", "10.0.0", "10.0.0.0.1", "10.0.0.256", "010.0.0.1",
                                "0x0a.0.0.1", "10.0.0.1 ", " 10.0.0.1", "10..0.1", "10.0.0.-1",
                                "::1", "10.0.0.1/8", "10.0.0.1\0"sv } );
   EXPECT_EQ( Ip4Addr( 0x0a000001 ).stringValue(), "10.0.0.1" );
}

TEST( Ip4Addr, maskOfPrefixLength ) {
   struct {
      unsigned len;
      char const * text;
   } const masks[] = { { 0, "0.0.0.0" },          { 1, "128.0.0.0" },
                       { 8, "255.0.0.0" },        { 23, "255.255.254.0" },
                       { 31, "255.255.255.254" }, { 32, "255.255.255.255" } };
   for ( auto const & [len, text] : masks ) {
      EXPECT_EQ( Ip4Addr::mask( len ).stringValue(), text ) << len;
   }
}

TEST( Ip6Addr, texts ) {
   expectTexts< Ip6Addr >( {
      "::",
      "::1",
      "::1:0",
      "::102:304",  // no mixed form but for mapped addresses
      "::ffff:10.0.0.1",
      "::1:0:0:0",
      "0:1::",
      "0:1:1:1:1:1:1:0",  // single zero groups stay
      "1::",
      "1:0:0:1::",        // the longer run
      "1:0:1:1:1:1:1:1",  // a run of one isn't shortened
      "1:1:1:1:1:1::",
      "2001:db8::1",
      "2001:db8::1:0:0:1",  // the first of equal runs
      "fe80::abcd:0:1",
      "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
   } );
   expectPrinted< Ip6Addr >( "2001:DB8:0:0:0:0:00:01", "2001:db8::1" );
   expectPrinted< Ip6Addr >( "1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0" );
   expectPrinted< Ip6Addr >( "::1.2.3.4", "::102:304" );
   expectPrinted< Ip6Addr >( "::ffff:a00:1", "::ffff:10.0.0.1" );
   expectRejected< Ip6Addr >( { "", ":", ":::", "1", "1::2::3", "1:2:3:4:5:6:7", ":1:2:3:4:5:6:7",
                                "1:2:3:4:5:6:7:8:9", "1:2:3:4:5:6:7:8::", "12345::", "::g",
                                "1:2:3:4:5:6:7:", "fe80::1%eth0", "[::1]", "::1 ", "10.0.0.1",
                                "::1.2.3", "2001:db8::/32", "::1\0"sv } );
}

TEST( IpGenAddr, texts ) {
   expectTexts< IpGenAddr >( { "", "0.0.0.0", "10.0.0.1", "::", "2001:db8::1" } );
   expectRejected< IpGenAddr >( { " ", "10.0.0", "g::", "10.0.0.0/8" } );

   Ip4Addr const v4( 1 );
   EXPECT_TRUE( !IpGenAddr() && IpGenAddr( Ip4Addr() ) && IpGenAddr( Ip6Addr() ) );
   EXPECT_TRUE( IpGenAddr( v4 ).isV4() && IpGenAddr( v4 ).v4Addr() == v4 &&
                IpGenAddr( v4 ).v6Addr().isZero() );
}

TEST( IpGenPrefix, texts ) {
   expectTexts< IpGenPrefix >( { "", "0.0.0.0/0", "10.0.0.0/8", "10.0.0.0/32", "10.1.2.3/8", "::/0",
                                 "2001:db8::/32", "2001:db8::/128" } );
   expectRejected< IpGenPrefix >( { "/", "/0", "10.0.0.0", "10.0.0.0/", "10.0.0.0/33",
                                    "10.0.0.0/08", "10.0.0.0/-1", "10.0.0.0/+8", "10.0.0.0/8 ",
                                    "10.0.0.0/8/8", "10.0.0.0/264", "::/129", "::/4294967296",
                                    "10.0.0.0/255.0.0.0" } );
}

TEST( IpGenPrefix, readByFamily ) {
   auto const v4 = *IpGenPrefix::parse( "10.0.0.0/8" );
   EXPECT_TRUE( v4.v4Addr() == Ip4Addr( 0x0a000000 ) && v4.v4Prefix() == 8 );
   EXPECT_TRUE( v4.v6Addr().isZero() && v4.v6Prefix() == 0 && v4.len() == 8 );
   auto const v6 = *IpGenPrefix::parse( "2001:db8::/32" );
   EXPECT_TRUE( v6.v6Addr() == *Ip6Addr::parse( "2001:db8::" ) && v6.v6Prefix() == 32 );
   EXPECT_TRUE( v6.v4Addr().isZero() && v6.v4Prefix() == 0 && v6.len() == 32 );
   EXPECT_THROW( IpGenPrefix( Ip4Addr(), 33 ), Kel::RangeException );
   EXPECT_THROW( IpGenPrefix( Ip6Addr(), 129 ), Kel::RangeException );
   EXPECT_THROW( IpGenPrefix( IpGenAddr(), 1 ), Kel::RangeException );
}

TEST( IntfId, names ) {
   expectTexts< IntfId >( { "", " ", "Ethernet1", "Ethernet10", "Ethernet2", "Vxlan1" } );
   EXPECT_TRUE( !IntfId() && !IntfId( "" ) && IntfId( "Ethernet1" ) );
   static_assert( sizeof( IntfId ) == 4 && sizeof( VrfName ) == 4 );

   struct {
      char const *name, *shortName;
   } const names[] = { { "Ethernet3/1", "Et3/1" },
                       { "Port-Channel10", "Po10" },
                       { "Vxlan1", "Vx1" },
                       { "Ethernet1.100", "Et1.100" },
                       { "cpu", "cpu" },
                       { "", "" },
                       { "e1", "e1" },
                       { "1abc", "1abc" },
                       { "M-a1b2", "Ma1b2" } };
   for ( auto const & [name, shortName] : names ) {
      EXPECT_EQ( IntfId( name ).shortName(), shortName );
   }
}

// Views must stay good, and numbers must stay distinct, while several threads enter names.
TEST( IntfId, manyNamesFromManyThreads ) {
   constexpr unsigned count = 3000;
   IntfId const first( "Ethernet1" );
   std::string_view const name = first.name(), shortName = first.shortNameView();
   std::vector< IntfId > ids[2];
   std::vector< std::thread > threads;
   for ( auto & mine : ids ) {
      threads.emplace_back( [&] {
         for ( unsigned i = 0; i < count; ++i ) {
            mine.emplace_back( "Many" + std::to_string( i ) );
         }
      } );
   }
   for ( auto & thread : threads ) {
      thread.join();
   }
   EXPECT_EQ( ids[0], ids[1] );
   for ( unsigned i = 0; i < count; ++i ) {
      EXPECT_EQ( ids[0][i].name(), "Many" + std::to_string( i ) );
      EXPECT_EQ( ids[0][i].shortNameView(), "Ma" + std::to_string( i ) );
   }
   EXPECT_EQ( name.data(), IntfId( "Ethernet1" ).name().data() );
   EXPECT_EQ( shortName, "Et1" );
}

TEST( VrfName, limit ) {
   std::string const longest( 100, 'v' ), tooLong( 101, 'v' );
   expectTexts< VrfName >( { "", "blue", "default", longest } );
   expectRejected< VrfName >( { tooLong } );
   try {
      VrfName{ tooLong };
      ADD_FAILURE();
   } catch ( Kel::RangeException const & e ) {
      EXPECT_STREQ( e.what(), "VrfName::bytes > VrfName::maxLength not allowed" );
   }
}

/** Networks and hosts that are counted up: the two halves of an address must not cancel out. */
TEST( Ip6Addr, hashesInSequenceDiffer ) {
   std::set< std::size_t > hashes;
   for ( std::uint8_t network = 0; network != 100; ++network ) {
      for ( std::uint8_t host = 0; host != 100; ++host ) {
         hashes.insert(
            Ip6Addr( { 0x20, 1, 0xd, 0xb8, 0, 0, 0, network, 0, 0, 0, 0, 0, 0, 0, host } ).hash() );
      }
   }
   EXPECT_EQ( hashes.size(), 10'000u );
}

}  // namespace
