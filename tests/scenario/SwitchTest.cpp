#include "scenario/Switch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/corestore/ValueText.h"
#include "platform/kel/Dir.h"
#include "platform/kel/StateMachine.h"
#include "platform/slab/Table.h"
#include "qorclient/agent/Status.h"
#include "records/bridging/Config.h"
#include "records/catalog/Catalog.h"
#include "records/mlag/Config.h"
#include "records/qor/PolicyFragment.h"
#include "scenario/Journal.h"

namespace {

using Corestore::jsonLine;
using Corestore::parseJson;
using Scenarios::Switch;
using testing::ElementsAre;

constexpr char const * policyPath = "qor/version1/policy";

class SwitchTest : public testing::Test {
 protected:
   void patch( char const * document ) { device.patch( parseJson( document ) ); }
   /** The reason why a document is refused, after its pointer. */
   std::string refusal( char const * document ) {
      try {
         patch( document );
      } catch ( Kel::ValueError const & e ) {
         return e.pointer() + ": " + e.what();
      }
      return "none";
   }
   std::vector< std::string > unmet( char const * document ) {
      std::vector< std::string > texts;
      for ( auto const & one : device.expect( parseJson( document ) ) ) {
         texts.push_back( one.pointer + " " + one.wanted + " " + one.found );
      }
      return texts;
   }
   /** What stands at a path, in one line. */
   std::string at( char const * path ) { return jsonLine( *device.dump().member( path ) ); }

   Switch device{ { .with = Switch::With::StateAlone } };
};

TEST_F( SwitchTest, RefusesWhatDoesNotFitAndAppliesNothing ) {
   std::string const before = Corestore::jsonSorted( device.dump() );
   // Each stands behind a change that would be good.
   auto refused = [&]( std::string const & rest ) {
      return refusal(
         ( R"({"mlag/config":{"peerLinkIntfId":"Ethernet1"},)" + rest + "}" ).c_str() );
   };
   EXPECT_EQ( refusal( "[]" ), ": wants an object, not an array" );
   EXPECT_EQ( refused( R"("mlag/x":{})" ),
              "/mlag~1x: unknown path; there are: mlag/config, mlag/hostTable, mlag/status" );
   EXPECT_EQ( refused( R"("mlag/status":[])" ), "/mlag~1status: wants an object, not an array" );
   EXPECT_EQ( refused( R"("mlag/status":{"color":1})" ),
              "/mlag~1status/color: unknown attribute of Mlag::Status; there are: mlagState" );
   EXPECT_EQ( refused( R"("qorclient/status":{"active":1})" ),
              "/qorclient~1status/active: wants a boolean, not a number" );
   EXPECT_EQ( refused( R"("qorclient/status":{"boundHost":true})" ),
              "/qorclient~1status/boundHost: wants an object, not a boolean" );
   EXPECT_EQ( refused( R"("qorclient/status":{"boundHost":{"02:00:00:00:00:01":true}})" ),
              "/qorclient~1status/boundHost/02:00:00:00:00:01: "
              "key \"02:00:00:00:00:01\" needs 2 fields joined by |: mac|vlanId" );
   EXPECT_EQ( refused( R"("qorclient/status":{"vlanForVni":{"7":4095}})" ),
              "/qorclient~1status/vlanForVni/7: VlanId::value < 1 or > 4094 not allowed" );
   EXPECT_EQ( refused( R"("qor/version1/policy":{"policy":{"@type":"Mlag::Config"}})" ),
              "/qor~1version1~1policy/policy/@type: "
              "type Mlag::Config, wants Qor::V1::QorPolicyFragment" );
   EXPECT_EQ( refused( R"("qor/version1/policy":{"policy":{"@type":"Nothing"}})" ),
              "/qor~1version1~1policy/policy/@type: "
              "unknown type Nothing, wants Qor::V1::QorPolicyFragment" );
   EXPECT_EQ( refused( R"("qor/version1/policy":{"policy":{"policyFragment":{"f":{"flow":{"a/b":)"
                       R"({"match":{"srcMac":"02"}}}}}}})" ),
              "/qor~1version1~1policy/policy/policyFragment/f/flow/a~1b/match/srcMac: "
              "wants a MAC address such as 02:00:00:00:00:01, not \"02\"" );
   EXPECT_EQ( refused( R"("qor/version1/policy":{"policy":{"policyFragment":{"f":{"flow":{"a":)"
                       R"({"flowName":"b"}}}}}})" ),
              "/qor~1version1~1policy/policy/policyFragment/f/flow/a: "
              "repeats another key than its own" );
   EXPECT_EQ( refused( R"("vxlancontroller/version2/vni":{"red":{}})" ),
              "/vxlancontroller~1version2~1vni/red: "
              "wants a whole number, 0 to 4294967295, not \"red\"" );
   EXPECT_EQ( refused( "\"qorl3/version1/global/fragmentConfig\":{\"" + std::string( 101, 'v' ) +
                       "\":{}}" ),
              "/qorl3~1version1~1global~1fragmentConfig/" + std::string( 101, 'v' ) +
                 ": VrfName::bytes > VrfName::maxLength not allowed" );
   EXPECT_EQ( Corestore::jsonSorted( device.dump() ), before );
}

TEST_F( SwitchTest, PatchMergesAsInRfc7396 ) {
   patch( R"({"qor/version1/policy":{"policy":{"policyFragment":{"f":{
      "originalVni":70, "grCookie":{"isServiceVtep":true},
      "serviceIntfSet":{"near":{"intf":{"Ethernet1":true,"Ethernet2":true}}},
      "flow":{"a":{"match":{"srcMac":"02:00:00:00:00:01","vni":70},"interceptPoint":1}}}}}}})" );
   patch( R"({"qor/version1/policy":{"policy":{"policyFragment":{"f":{
      "originalVni":null, "grCookie":{"interceptInfo":{"10.0.0.1":{"cookie":"x"}}},
      "serviceIntfSet":{"near":{"intf":{"Ethernet1":null}},"far":{}},
      "flow":{"a":{"match":{"vni":null}},"b":null}}}}}})" );
   auto const dir = device.entity< Kel::Dir >( policyPath );
   auto const policy = Kel::ptrCast< Qor::V1::QorPolicyFragment >( dir->entity( "policy" ) );
   auto const fragment = policy->policyFragment( "f" );
   EXPECT_EQ( fragment->originalVni(), Vxlan::VniOrNone() );
   EXPECT_TRUE( fragment->grCookie()->isServiceVtep() );
   EXPECT_EQ( fragment->grCookie()->interceptInfoCount(), 1U );
   EXPECT_FALSE( fragment->serviceIntfSet( "near" )->intfHas( "Ethernet1" ) );
   EXPECT_TRUE( fragment->serviceIntfSet( "near" )->intfHas( "Ethernet2" ) );
   EXPECT_TRUE( fragment->serviceIntfSet( "far" ) );
   Qor::V1::PolicyFlowInfo const flow = fragment->flow( "a" );
   EXPECT_EQ( flow.flowName, "a" );
   EXPECT_EQ( flow.match.vni, Vxlan::VniOrNone() );
   EXPECT_EQ( flow.match.srcMac.stringValue(), "02:00:00:00:00:01" );
   EXPECT_EQ( flow.interceptPoint, Qor::V1::InterceptPoint::interceptEgress );

   patch( R"({"qor/version1/policy":{"policy":{"policyFragment":{"f":{"flow":null,
      "serviceIntfSet":null,"grCookie":null}}}}})" );
   EXPECT_EQ( at( policyPath ), R"({"policy":{"@type":"Qor::V1::QorPolicyFragment",)"
                                R"("policyFragment":{"f":{}}}})" );
   patch( R"({"qor/version1/policy":null})" );
   EXPECT_EQ( at( policyPath ), "{}" );
}

TEST_F( SwitchTest, DumpPatchedIntoAnEmptySwitchGivesTheSameDump ) {
   patch( R"({
      "bridging/status":{"fdbStatus":{"7|02:00:00:00:00:01":{"intf":"Ethernet3/1","moveCount":2}}},
      "bridging/l2Rib/qor/hostInput":{"host":{"02:00:00:00:00:01|7":{"ciDest":{"intfId":"Vxlan1"}}}},
      "pinflow/dyninput/qor":{
         "flowEntry":{"r":{"match":{"matchFieldSet":9,"inIntf":["Ethernet2","Ethernet1"],
            "ethSrc":"02:00:00:00:00:01"},"priority":-1,"idleTimeout":1.5}},
         "trafficEndPoint":{"red|10.0.0.1|7|02:00:00:00:00:01":"web"}},
      "qorclient/status":{"policyFragmentInfo":{"f":{"flowInfo":{"a":{
         "ruleInfo":{"|Ethernet5|true":{"refCount":2}}}}}},
         "boundVni":{"7|Ethernet1|a\\|b":true}},
      "qorl3/version1/global/fragmentConfig":{"red":{"flowGroup":{"5|10":{"flow":{"x":{
         "match":{"ipSrc":"10.0.0.0/8"}}}}}}}})" );
   Kel::Value const state = device.dump();
   device.patch( parseJson( R"({"bridging/status":null,"bridging/l2Rib/qor/hostInput":null,
      "pinflow/dyninput/qor":null,"qorclient/status":null,
      "qorl3/version1/global/fragmentConfig":null})" ) );
   EXPECT_EQ( device.expect( state ).size(), 7U );
   device.patch( state );
   EXPECT_EQ( Corestore::jsonSorted( device.dump() ), Corestore::jsonSorted( state ) );
   device.restart();
   EXPECT_EQ( Corestore::jsonSorted( device.dump() ), Corestore::jsonSorted( state ) );
   EXPECT_EQ( device.expect( state ).size(), 0U );
}

TEST_F( SwitchTest, ExpectReportsEachMemberThatDiffers ) {
   patch( R"({"mlag/hostTable":{"hostEntry":{"7|02:00:00:00:00:01":{"intf":"Ethernet1"}}},
      "mlag/config":{"peerLinkIntfId":"Port-Channel10"},
      "qorclient/status":{"policyFragmentInfo":{"f":{}},"boundHost":{"02:00:00:00:00:01|7":false}}})" );
   EXPECT_THAT(
      unmet( R"({
         "mlag/hostTable":{"hostEntry":{
            "7|02:00:00:00:00:01":{"intf":"Ethernet2","unusable":false},
            "8|02:00:00:00:00:01":{"intf":null,"unusable":null},
            "9|02:00:00:00:00:01":{"unusable":false}}},
         "mlag/config":{"peerLinkIntfId":null},
         "qorclient/status":{
            "active":false,
            "policyFragmentInfo":{"f":null,"g":{},"h":{"flowInfo":{"a":null}},"i":null},
            "boundHost":null},
         "qor/version1/policy":null})" ),
      ElementsAre( R"(/mlag~1hostTable/hostEntry/7|02:00:00:00:00:01/intf "Ethernet2" "Ethernet1")",
                   R"(/mlag~1hostTable/hostEntry/9|02:00:00:00:00:01 {"unusable":false} nothing)",
                   R"(/mlag~1config/peerLinkIntfId nothing "Port-Channel10")",
                   R"(/qorclient~1status/policyFragmentInfo/f nothing {})",
                   R"(/qorclient~1status/policyFragmentInfo/g {} nothing)",
                   R"(/qorclient~1status/boundHost/02:00:00:00:00:01|7 nothing false)" ) );
   // Another text for the same value is no difference.
   patch( R"({"qorclient/status":{"warmHost":{"02:00:00:00:00:0a|7":"Ethernet1"}}})" );
   EXPECT_THAT( unmet( R"({"qorclient/status":{"warmHost":{"02:00:00:00:00:0A|7":"Ethernet1"}}})" ),
                testing::SizeIs( 0 ) );
}

TEST_F( SwitchTest, DamagedRowIsAbsentUntilItIsWritten ) {
   char const * const host = R"({"bridging/status":{"fdbStatus":{"7|02:00:00:00:00:01":)"
                             R"({"intf":"Ethernet1"}}}})";
   patch( host );
   EXPECT_FALSE( device.corrupt( "bridging/status", "fdbStatus", "8|02:00:00:00:00:01" ) );
   EXPECT_TRUE( device.corrupt( "bridging/status", "fdbStatus", "7|02:00:00:00:00:01" ) );
   EXPECT_THAT( unmet( host ), testing::SizeIs( 1 ) );
   patch( host );
   EXPECT_THAT( unmet( host ), testing::SizeIs( 0 ) );
   EXPECT_FALSE( device.corrupt( "mlag/hostTable", "hostEntry", "7|02:00:00:00:00:01" ) );
}

TEST_F( SwitchTest, AFullTableTakesNoPatchThatNeedsMoreRoom ) {
   constexpr char const * path = "bridging/l2Rib/qor/hostInput";
   auto const table = Kel::ptrCast< Slab::TableEntity >( device.entityManager().standing( path ) );
   table->capacityIs( 2 );
   auto const hosts = [&]( std::string const & members ) {
      return refusal(
         ( R"({"mlag/status":{"mlagState":1},"bridging/l2Rib/qor/hostInput":{"host":{)" + members +
           "}}}" )
            .c_str() );
   };
   std::string const a = R"("02:00:00:00:00:0a|1":)";
   std::string const b = R"("02:00:00:00:00:0b|1":)";
   std::string const c = R"("02:00:00:00:00:0c|1":)";
   EXPECT_EQ( hosts( a + "{}," + b + "{}," + c + "{}" ),
              "/bridging~1l2Rib~1qor~1hostInput/host/02:00:00:00:00:0c|1: finds the table full" );
   EXPECT_EQ( at( "mlag/status" ), "{}" );
   EXPECT_EQ( hosts( a + "{}," + b + "{}" ), "none" );
   EXPECT_NE( hosts( b + "{}," + c + "{}," + a + "null" ), "none" );
   EXPECT_EQ( hosts( a + "null," + b + "{}," + c + "{}" ), "none" );
   // What does not fit a smaller table stays in the one that there is.
   EXPECT_THROW( table->capacityIs( 1 ), Kel::RangeException );
   EXPECT_EQ( hosts( a + "{}," + b + "null" ).substr( 0, 5 ), "/brid" );
   table->capacityIs( 3 );
   EXPECT_EQ( hosts( a + "{}," + b + "{}," + c + "{}" ), "none" );
}

/** Stands for an agent: writes its output when its input changes. */
class CopySm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( CopySm )
   KEL_REACTOR( KelMlagConfig, Mlag::Config const, mlagConfig,
                KEL_ON( peerLinkIntfId, handlePeerLinkIntfId ) )
   KEL_GIVEN( Kel::Ptr< QorClient::Status >, agentStatus )

   void handlePeerLinkIntfId() {
      bool const present = !mlagConfig()->peerLinkIntfId().stringValue().empty();
      agentStatus()->cachedPeerLinkIntfIdIs( mlagConfig()->peerLinkIntfId() );
      if ( present ) {
         agentStatus()->policyFragmentInfoIs( "f" )->flowInfoIs( "a" )->rulePrefixIs( "f_a" );
         agentStatus()->boundHostIs( {}, false );
      } else {
         agentStatus()->policyFragmentInfoDel( "f" );
         agentStatus()->boundHostDel( {} );
      }
   }
};

TEST_F( SwitchTest, JournalHoldsTheAgentsChangesOfItsOutputsAlone ) {
   Corestore::EntityManager & em = device.entityManager();
   em.mount( { "qorclient/status", "QorClient::Status", "w" } );
   em.mount( { "mlag/config", "Mlag::Config", "r" } );
   auto const sm = Kel::create< CopySm >(
      device.entity< Mlag::Config >( "mlag/config" ),
      Kel::ptrCast< QorClient::Status >( em.getWritableEntity( "qorclient/status" ) ) );
   std::vector< std::string > lines;
   device.outputObserverIs( [&lines]( Scenarios::OutputChange const & change ) {
      lines.push_back( journalLine( 3, change ) );
   } );
   // The patch writes an output of the agent's too; that and a write of what stands are not its.
   patch( R"({"qorclient/status":{"active":true,"policyFragmentInfo":{"g":{"flowInfo":{"b":{}}}}},
      "mlag/config":{"peerLinkIntfId":"Ethernet1"}})" );
   patch( R"({"mlag/config":{"peerLinkIntfId":"Ethernet1"},"qorclient/status":{"active":true}})" );
   patch( R"({"mlag/config":{"peerLinkIntfId":null}})" );
   EXPECT_THAT(
      lines,
      ElementsAre(
         R"({"step":3,"path":"qorclient/status","attribute":"cachedPeerLinkIntfId","op":"set","value":"Ethernet1"})",
         R"({"step":3,"path":"qorclient/status","attribute":"policyFragmentInfo","key":"f","op":"set","value":{}})",
         R"({"step":3,"path":"qorclient/status/policyFragmentInfo/f","attribute":"flowInfo","key":"a","op":"set","value":{}})",
         R"({"step":3,"path":"qorclient/status/policyFragmentInfo/f/flowInfo/a","attribute":"rulePrefix","op":"set","value":"f_a"})",
         R"({"step":3,"path":"qorclient/status","attribute":"boundHost","key":"00:00:00:00:00:00|1","op":"set","value":false})",
         R"({"step":3,"path":"qorclient/status","attribute":"cachedPeerLinkIntfId","op":"set","value":""})",
         R"({"step":3,"path":"qorclient/status","attribute":"policyFragmentInfo","key":"f","op":"del","value":null})",
         R"({"step":3,"path":"qorclient/status","attribute":"boundHost","key":"00:00:00:00:00:00|1","op":"del","value":null})" ) );
}

/** Records what a watcher of a fragment collection finds when a fragment is announced. */
class AnnouncedSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( AnnouncedSm )
   KEL_REACTOR( KelPolicy, Qor::V1::QorPolicyFragment const, policy,
                KEL_ON( policyFragment, handlePolicyFragment ) )
   KEL_OWN( std::string, found )

   void handlePolicyFragment( Kel::String const & name ) {
      auto const fragment = policy()->policyFragment( name );
      foundIs( found() + std::to_string( fragment->originalVni().value() ) + " " +
               std::to_string( fragment->flowCount() ) +
               ( fragment->grCookie() ? " cookie" : " none" ) );
   }
};

TEST_F( SwitchTest, NewEntityIsAnnouncedWithItsScalarsAlone ) {
   patch( R"({"qor/version1/policy":{"policy":{}}})" );
   auto const policy = Kel::ptrCast< Qor::V1::QorPolicyFragment const >(
      device.entity< Kel::Dir >( policyPath )->entity( "policy" ) );
   auto const sm = Kel::create< AnnouncedSm >( policy );
   patch( R"({"qor/version1/policy":{"policy":{"policyFragment":{
      "f":{"flow":{"a":{}},"grCookie":{},"originalVni":70}}}}})" );
   EXPECT_EQ( sm->found(), "70 0 none" );
   EXPECT_EQ( policy->policyFragment( "f" )->flowCount(), 1U );
   EXPECT_TRUE( policy->policyFragment( "f" )->grCookie() );
}

TEST_F( SwitchTest, RestartKeepsTimeAndTheOrderOfCollections ) {
   patch( R"({"bridging/config":{"vidToFidMap":{"9":1,"3":1,"5":1}}})" );
   device.advance( 2.5 );
   EXPECT_THROW( device.advance( 1e12 ), Kel::ValueError );
   device.restart();
   EXPECT_EQ( device.scheduler().now(), 2.5 );
   EXPECT_EQ( at( "bridging/config" ), R"({"vidToFidMap":{"9":1,"3":1,"5":1}})" );
}

}  // namespace
