#include <gtest/gtest.h>

#include <vector>

#include "qorclient/agent/RuleKey.h"
#include "qorclient/agent/VniAndIntfForPolicyFragment.h"
#include "qorclient/flowtable/TrafficStream.h"
#include "records/bridging/MacVlanPair.h"
#include "records/l2rib/Host.h"
#include "records/mlag/HostTable.h"
#include "records/qorl3/FragmentConfig.h"
#include "records/qorl3/GroupSetConfig.h"
#include "records/qorl3/GroupType.h"

using Kel::Value;
using Wirekit::IntfId;

namespace {

template < class K >
void expectKey( K const & key, std::string_view text ) {
   EXPECT_EQ( Kel::textOf( key ), text );
   EXPECT_EQ( Kel::fromText< K >( text ), key );
   EXPECT_EQ( Kel::fromText< K >( text ).hash(), key.hash() );
}

Wirekit::EthAddr eth( std::string_view text ) {
   return *Wirekit::EthAddr::parse( text );
}
Wirekit::IpGenAddr ip( std::string_view text ) {
   return *Wirekit::IpGenAddr::parse( text );
}

TEST( Records, KeysHaveOneText ) {
   IntfId const intf( "Ethernet5" );
   expectKey( QorClient::RuleKey{}, "||true" );
   expectKey( QorClient::RuleKey{ {}, intf, false }, "|Ethernet5|false" );
   expectKey( QorClient::VniAndIntfForPolicyFragment{}, "4294967295||" );
   expectKey( QorClient::VniAndIntfForPolicyFragment{ Vxlan::VniExtOrNone( 7 ), intf, "a|b\\" },
              "7|Ethernet5|a\\|b\\\\" );
   expectKey( Bridging::MacVlanPair{ eth( "02:00:00:00:00:01" ), Bridging::VlanId( 100 ) },
              "02:00:00:00:00:01|100" );
   expectKey( Mlag::HostEntryKey{ Bridging::VlanId( 7 ), eth( "02:00:00:00:00:01" ) },
              "7|02:00:00:00:00:01" );
   expectKey( QorL3::V1::MemberKey{ 0, ip( "10.0.0.1" ), eth( "02:00:00:00:00:01" ) },
              "0|10.0.0.1|02:00:00:00:00:01" );
   QorL3::V1::MemberKey const member{ 0, ip( "10.0.0.1" ), {} };
   EXPECT_NE( member.hash( 1 ), member.hash( 2 ) );
   EXPECT_NE( OpenFlowTable::TrafficStreamEndPointId{}.hash( 1 ),
              OpenFlowTable::TrafficStreamEndPointId{}.hash( 2 ) );
   QorL3::V1::FlowGroupOrder const order{ 1, 2 };
   expectKey( order, "1|2" );
   EXPECT_EQ( order.stringValue(), "Preference: 1 Priority: 2" );
   EXPECT_THROW( Kel::fromText< Bridging::MacVlanPair >( "02:00:00:00:00:01|0" ), Kel::ValueError );
}

TEST( Records, FlowGroupsAreWalkedInTheirOrder ) {
   Kel::Ptr< QorL3::V1::FragmentConfig > config( new QorL3::V1::FragmentConfig( "default" ) );
   auto const & flowGroup = *config->fwkType().attribute( "flowGroup" );
   for ( auto const * order : { "10|1", "9|20", "9|3", "4294967295|0" } ) {
      flowGroup.childIs( *config, order, nullptr, []( Kel::Entity & ) {} );
   }
   EXPECT_EQ( flowGroup.keys( *config ),
              ( std::vector< std::string >{ "9|3", "9|20", "10|1", "4294967295|0" } ) );
   EXPECT_EQ( config->flowGroup( { 9, 20 } )->order().priority, 20u );
}

TEST( Records, HostComparesWithoutItsTime ) {
   L2Rib::Host const host{ { eth( "02:00:00:00:00:01" ), Bridging::VlanId( 2 ) },
                           16,
                           2,
                           64,
                           1,
                           5.0,
                           { IntfId( "Ethernet1" ) } };
   L2Rib::Host later = host;
   later.updateTime = 9.0;
   EXPECT_EQ( later, host );
   Kel::forEachField< L2Rib::Host >( [&]( auto const & field ) {
      L2Rib::Host other = host;
      other.*field.member = {};
      EXPECT_EQ( other == host, field.name == std::string_view( "updateTime" ) ) << field.name;
   } );
   EXPECT_EQ( Kel::fromValue< L2Rib::Host >( Kel::toValue( host ) ).updateTime, 5.0 );
}

// An empty member would read as an absent one.
TEST( Records, ValuesTakeTheirKeyFromTheirPlace ) {
   Kel::Ptr< QorL3::V1::MemberSetConfig > set(
      new QorL3::V1::MemberSetConfig( Vxlan::VniOrNone( 7 ) ) );
   auto const & member = *set->fwkType().attribute( "member" );
   char const * const key = "0|10.0.0.1|02:00:00:00:00:01";
   member.write( *set, key, Value::Object{} );
   EXPECT_EQ( *member.read( *set, key )->member( "ip" ), Value( "10.0.0.1" ) );
   EXPECT_NE( set->member( Kel::fromText< QorL3::V1::MemberKey >( key ) ), QorL3::V1::Member{} );
   EXPECT_THROW( member.check( key, Value::Object{ { "ip", "10.0.0.2" } } ), Kel::ValueError );

   Kel::Ptr< Mlag::HostTable > table( new Mlag::HostTable( "x" ) );
   auto const & hostEntry = *table->fwkType().attribute( "hostEntry" );
   hostEntry.write( *table, "7|02:00:00:00:00:01", Value::Object{ { "intf", "Ethernet1" } } );
   EXPECT_EQ( table->hostEntry( { Bridging::VlanId( 7 ), eth( "02:00:00:00:00:01" ) } ).key.vlanId,
              Bridging::VlanId( 7 ) );
}

TEST( Records, ArraysAreTakenWhole ) {
   Value::Array bytes{ std::uint64_t{ 0 }, std::uint64_t{ 2 }, std::uint64_t{ 255 } };
   auto const type = Kel::fromValue< QorL3::V1::GroupType >( Value::Object{ { "bytes", bytes } } );
   EXPECT_EQ( Kel::toValue( type ), Value( Value::Object{ { "bytes", bytes } } ) );
   EXPECT_NE( type, QorL3::V1::GroupType{} );
   bytes[2] = std::uint64_t{ 256 };
   EXPECT_THROW( Kel::fromValue< decltype( type.bytes ) >( bytes ), Kel::ValueError );
   bytes.pop_back();
   EXPECT_THROW( Kel::fromValue< decltype( type.bytes ) >( bytes ), Kel::ValueError );
}

}  // namespace
