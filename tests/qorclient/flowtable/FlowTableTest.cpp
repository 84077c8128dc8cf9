#include <gtest/gtest.h>

#include <sstream>

#include "qorclient/flowtable/PinFlowHwConfig.h"

using namespace OpenFlowTable;
using Kel::Value;
using Wirekit::IntfId;

namespace {

template < class T >
std::string printed( T const & v ) {
   return ( std::ostringstream() << v ).str();
}

Wirekit::EthAddr eth( std::string_view text ) {
   return *Wirekit::EthAddr::parse( text );
}

/** The form in documents goes back to the same record. */
template < class T >
Value::Object shown( T const & record ) {
   Value const form = Kel::toValue( record );
   EXPECT_EQ( Kel::fromValue< T >( form ), record );
   return *form.as< Value::Object >();
}

TEST( Match, ShowsMaskAndFieldsInForce ) {
   Match match;
   EXPECT_EQ( shown( match ), ( Value::Object{ { "matchFieldSet", std::uint64_t{ 0 } } } ) );

   // A bit without a field, a bit whose field has its default, a set, two fields of one bit.
   match.matchFieldSet = MatchField::inIntf | MatchField::ethSrc | MatchField::vlanId |
                         MatchField::srcGroup | MatchField::arp;
   match.inIntfIs( IntfId( "Ethernet2" ), true );
   match.inIntfIs( IntfId( "Ethernet1" ), true );
   match.ethSrc = eth( "02:00:00:00:00:01" );
   match.ethSrcMask = Wirekit::EthAddr::allOnes();
   match.vlanIdMask = 0xfff;
   match.srcGroup = "web";
   EXPECT_EQ( shown( match ),
              ( Value::Object{ { "matchFieldSet", std::uint64_t{ 0xc00000000109 } },
                               { "inIntf", Value::Array{ "Ethernet1", "Ethernet2" } },
                               { "ethSrc", "02:00:00:00:00:01" },
                               { "ethSrcMask", "ff:ff:ff:ff:ff:ff" },
                               { "vlanId", std::uint64_t{ 0 } },
                               { "vlanIdMask", std::uint64_t{ 0xfff } },
                               { "srcGroup", "web" } } ) );
   EXPECT_EQ( printed( match ),
              "mask 0xc00000000109 inIntf Ethernet1|Ethernet2 ethSrc 02:00:00:00:00:01 "
              "ethSrcMask ff:ff:ff:ff:ff:ff vlanId 0 vlanIdMask 4095 srcGroup web" );
}

TEST( Match, SetChangesLeaveTheMaskAndCopiesAlone ) {
   Match match;
   match.inIntfIs( IntfId( "Ethernet1" ), true );
   EXPECT_EQ( match.matchFieldSet, 0u );
   EXPECT_NE( match, Match() );
   shown( match );

   Match const copy = match;
   match.inIntfIs( IntfId( "Ethernet1" ), false );
   EXPECT_EQ( match, Match() );
   EXPECT_TRUE( copy.inIntf.has( IntfId( "Ethernet1" ) ) );
   // Sets of one interface, more than are shared, and one that goes on from there.
   for ( int i = 0; i != 300; ++i ) {
      IntfId const intf( "Ethernet" + std::to_string( i % 150 ) );
      Match one;
      one.inIntfIs( intf, true );
      Match more = one;
      more.inIntfIs( IntfId( "Ethernet200" ), true );
      EXPECT_EQ( *one.inIntf.begin(), intf );
      EXPECT_EQ( one.inIntf.end() - one.inIntf.begin(), 1 );
      EXPECT_EQ( more.inIntf.end() - more.inIntf.begin(), 2 );
   }
}

TEST( Actions, ShowsMaskAndFieldsInForce ) {
   Actions actions;
   actions.actionFieldSet = ActionField::vlanId | ActionField::dropTag | ActionField::outputNexthop;
   actions.vlanId = 20;
   actions.outputNexthopIs( *Wirekit::IpGenAddr::parse( "10.0.0.1" ), true );
   actions.actionMpls.set( 7, ActionMpls{ 100 } );
   EXPECT_EQ(
      shown( actions ),
      ( Value::Object{
         { "actionFieldSet", std::uint64_t{ 0x410000008 } },
         { "outputNexthop", Value::Array{ "10.0.0.1" } },
         { "vlanId", std::uint64_t{ 20 } },
         { "actionMpls",
           Value::Object{ { "7", Value::Object{ { "label", std::uint64_t{ 100 } } } } } } } ) );
   EXPECT_EQ( printed( actions ), "mask 0x410000008 outputNexthop 10.0.0.1 vlanId 20" );

   // Inside a record a map is patched key by key, and a misfit says where.
   Kel::patchValue( actions,
                    Value::Object{ { "actionMpls", Value::Object{ { "7", {} },
                                                                  { "2", Value::Object{} },
                                                                  { "1", Value::Object{} } } } } );
   EXPECT_EQ( Kel::textOf( actions.actionMpls ), "1=0|2=0" );
   try {
      Kel::patchValue( actions, Value::Object{ { "actionMpls", Value::Object{ { "x", {} } } } } );
      FAIL();
   } catch ( Kel::ValueError const & e ) {
      EXPECT_EQ( e.pointer(), "/actionMpls/x" );
   }
}

TEST( PinFlowHwConfig, TakesAnEntryInOneCallAndExtendsTheTypeRecord ) {
   Kel::Ptr< PinFlowHwConfig > table( new PinFlowHwConfig( "qor" ) );
   Match match;
   match.matchFieldSet = MatchField::routed;
   table->flowEntryIs( "rule", match, {}, Priority( -1 ), PriorityGroupType::normal,
                       TableType::preTransmit, 5, 1.0, 2.0, true );
   FlowEntry const entry = table->flowEntry( "rule" );
   EXPECT_EQ( entry.match, match );
   EXPECT_EQ( Kel::textOf( entry.priority ) + Kel::textOf( entry.tableType ), "-13" );
   EXPECT_EQ( entry.cookie, 5u );
   EXPECT_EQ( entry.hardTimeout, 2.0 );
   EXPECT_TRUE( entry.flag );
   shown( entry );

   auto const & type = table->fwkType();
   ASSERT_TRUE( type.attribute( "flowEntry" ) && type.attribute( "trafficEndPoint" ) );
   EXPECT_TRUE( type.attribute( "flowEntry" )->read( *table, "rule" ) );
   auto const & endPoint = *type.attribute( "trafficEndPoint" );
   endPoint.write( *table, "red|10.0.0.1|100|02:00:00:00:00:01", "web" );
   EXPECT_EQ(
      table->trafficEndPoint( { L3::VrfName( "red" ), *Wirekit::IpGenAddr::parse( "10.0.0.1" ),
                                Bridging::VlanIdOrNone( 100 ), eth( "02:00:00:00:00:01" ) } ),
      "web" );
   EXPECT_EQ( endPoint.keys( *table ),
              std::vector< std::string >{ "red|10.0.0.1|100|02:00:00:00:00:01" } );
}

}  // namespace
