#include <gtest/gtest.h>

#include "platform/corestore/ValueText.h"
#include "qorclient/datapath/PolicyFragmentSm.h"

/* What a fragment makes of a flow's configuration alone, in tables of cases. Records stand as they
 * do in documents. */

namespace {

using Kel::Ptr;
using QorClient::DatapathV1::KelPolicyFragment;
using QorClient::DatapathV1::PolicyFragmentSm;

template < class T >
T record( char const * text ) {
   T value{};
   Kel::patchValue( value, Corestore::parseJson( text ) );
   return value;
}

/** The fragment "web" of VNI 1 in VLAN 100, the native one of Ethernet1, and VNI 2 in VLAN 200. */
class BuildersTest : public testing::Test {
 protected:
   BuildersTest() {
      intfs->switchIntfConfigIs( Wirekit::IntfId( "Ethernet1" ) )
         ->trunkNativeVlanIs( Bridging::VlanId( 100 ) );
      mapVnis();
   }
   static Ptr< Qor::V1::QorPolicyFragment > newPolicy() {
      Ptr< Qor::V1::QorPolicyFragment > policy( new Qor::V1::QorPolicyFragment( "policy" ) );
      auto const web = policy->policyFragmentIs( "web" );
      web->originalVniIs( Vxlan::VniOrNone( 1 ) );
      web->serviceVniIs( Vxlan::VniOrNone( 2 ) );
      web->serviceIntfSetIs( "near" )->intfIs( "Ethernet3", true );
      web->serviceIntfSetIs( "far" );
      return policy;
   }
   void mapVnis() {
      status->vlanForVniIs( Vxlan::VniExtOrNone( 1 ), Bridging::VlanId( 100 ) );
      status->vlanForVniIs( Vxlan::VniExtOrNone( 2 ), Bridging::VlanId( 200 ) );
   }

   Ptr< QorClient::Status > status{ new QorClient::Status( "status" ) };
   Ptr< Bridging::SwitchIntfConfigDir > intfs{ new Bridging::SwitchIntfConfigDir( "intfs" ) };
   Ptr< OpenFlowTable::HwStatus > hardware{ new OpenFlowTable::HwStatus( "hardware" ) };
   Ptr< Qor::V1::QorPolicyFragment > policy = newPolicy();
   /** Never started, so that nothing but what is asked of the fragment happens. */
   Ptr< PolicyFragmentSm > owner =
      Kel::construct< PolicyFragmentSm >( policy, nullptr, nullptr, intfs, nullptr, status, nullptr,
                                          hardware, nullptr, nullptr, nullptr, nullptr, nullptr );
   Ptr< KelPolicyFragment > fragment = owner->policyFragmentIs( policy->policyFragment( "web" ) );
};

TEST_F( BuildersTest, RuleNames ) {
   struct Case {
      char const * key;
      char const * name;
   };
   auto const info = status->policyFragmentInfoIs( "web" )->flowInfoIs( "f" );
   info->rulePrefixIs( "web_f" );
   for ( auto const & [key, name] :
         { Case{ "||true", "web_f-from-any-to-any" },
           Case{ "Ethernet1||true", "web_f-from-Et1-to-any" },
           Case{ "Port-Channel10||false", "web_f-from-Po10-to-any-untagged" },
           Case{ "|Ethernet49/1|true", "web_f-from-any-to-Et49/1" },
           Case{ "Ethernet1|Vlan7|false", "web_f-from-Et1-to-Vl7-untagged" } } ) {
      EXPECT_EQ( fragment->getFlowRuleName( "f", Kel::fromText< QorClient::RuleKey >( key ) ),
                 name );
   }
   // More places than are remembered.
   for ( int i = 0; i != 300; ++i ) {
      std::string const port = std::to_string( i % 150 );
      EXPECT_EQ(
         fragment->getFlowRuleName( "f", { {}, Wirekit::IntfId( "Ethernet" + port ), true } ),
         Kel::String( "web_f-from-any-to-Et" + port ) );
   }
}

TEST_F( BuildersTest, MatchesAndActions ) {
   struct Case {
      char const * what;
      char const * flow;
      char const * key;
      bool isHostEgress;
      char const * match;
      char const * actions;
   };
   for (
      Case const & row :
      { Case{ "an intercepted host",
              R"({"match":{"srcMac":"02:00:00:00:00:01","vni":1},"action":{"vni":2}})",
              "Ethernet2||true", false,
              R"({"matchFieldSet":265,"inIntf":["Ethernet2"],"ethSrc":"02:00:00:00:00:01",
                      "ethSrcMask":"ff:ff:ff:ff:ff:ff","vlanId":100,"vlanIdMask":4095})",
              R"({"actionFieldSet":33554440,"vlanId":200})" },
        Case{ "its untagged frames",
              R"({"match":{"srcMac":"02:00:00:00:00:01","vni":1},"action":{"vni":2}})",
              "Ethernet1||false", false,
              R"({"matchFieldSet":9,"inIntf":["Ethernet1"],"ethSrc":"02:00:00:00:00:01",
                      "ethSrcMask":"ff:ff:ff:ff:ff:ff"})",
              R"({"actionFieldSet":33554440,"vlanId":200})" },
        Case{ "no MAC and no VLAN, as it enters", R"({"match":{"vni":0},"action":{"vni":0}})",
              "Ethernet2||true", false, R"({"matchFieldSet":1,"inIntf":["Ethernet2"]})",
              R"({"actionFieldSet":33554432})" },
        Case{ "no MAC and no VLAN, as it leaves: nothing to match",
              R"({"interceptPoint":1,"match":{"vni":0},"action":{"vni":0}})", "|Ethernet2|true",
              false, "{}", R"({"actionFieldSet":4194304,"outputIntf":["Ethernet2"]})" },
        Case{
           "an egress rule where its VLAN is the native one",
           R"({"interceptPoint":1,"match":{"dstMac":"02:00:00:00:00:01","vni":2},"action":{"vni":1}})",
           "|Ethernet1|true", true,
           R"({"matchFieldSet":288,"ethDst":"02:00:00:00:00:01",
                      "ethDstMask":"ff:ff:ff:ff:ff:ff","vlanId":200,"vlanIdMask":4095})",
           R"({"actionFieldSet":17184063496,"outputIntf":["Ethernet1"],"vlanId":100})" },
        Case{ "a service rule there keeps the tag",
              R"({"interceptPoint":1,"match":{"vni":2},"action":{"vni":1}})", "|Ethernet1|true",
              false, R"({"matchFieldSet":256,"vlanId":200,"vlanIdMask":4095})",
              R"({"actionFieldSet":4194312,"outputIntf":["Ethernet1"],"vlanId":100})" },
        Case{ "an interface without configuration drops nothing",
              R"({"interceptPoint":1,"match":{"vni":2},"action":{"vni":1}})", "|Ethernet2|true",
              true, R"({"matchFieldSet":256,"vlanId":200,"vlanIdMask":4095})",
              R"({"actionFieldSet":4194312,"outputIntf":["Ethernet2"],"vlanId":100})" },
        Case{ "VNIs without VLAN make nothing, whatever else is there",
              R"({"match":{"srcMac":"02:00:00:00:00:01","vni":3},"action":{"vni":3}})",
              "Ethernet1||false", false, "{}", "{}" },
        Case{ "nor do VNIs that are none", R"({"match":{"srcMac":"02:00:00:00:00:01"}})",
              "Ethernet1||true", false, "{}", "{}" } } ) {
      auto const flow = record< Qor::V1::PolicyFlowInfo >( row.flow );
      auto const key = Kel::fromText< QorClient::RuleKey >( row.key );
      EXPECT_EQ( fragment->buildMatch( flow, key ), record< OpenFlowTable::Match >( row.match ) )
         << row.what;
      EXPECT_EQ( fragment->buildAction( flow, key, row.isHostEgress ),
                 record< OpenFlowTable::Actions >( row.actions ) )
         << row.what;
      EXPECT_EQ( static_cast< int >( fragment->getTableType( flow ) ),
                 flow.interceptPoint == Qor::V1::InterceptPoint::interceptIngress ? 2 : 3 );
   }
}

TEST_F( BuildersTest, WordsOfWaiting ) {
   struct Case {
      char const * flow;
      char const * place;
      bool mapped;
      bool ruled;
      bool answered;
      char const * words;
   };
   fragment->initializedIs( true );
   auto const records = status->policyFragmentInfoIs( "web" );
   Bridging::MacVlanPair const host{ *Wirekit::EthAddr::parse( "02:00:00:00:00:01" ),
                                     Bridging::VlanId( 100 ) };
   for ( Case const & row :
         { Case{ R"({"match":{"vni":1},"action":{"vni":2}})", "Ethernet1", true, true, true, "" },
           Case{ R"({"match":{"vni":1},"action":{"vni":2}})", "Ethernet1", true, true, false,
                 "Waiting for: PinFlow status" },
           Case{ R"({"match":{"vni":1},"action":{"vni":2}})", "", true, false, false,
                 "Waiting for: Host to be learnt, PinFlow rule" },
           Case{ R"({"match":{"vni":1},"action":{"vni":2}})", "", false, true, false,
                 "Waiting for: Original VNI to be mapped to a VLAN, Service VNI to be mapped to a "
                 "VLAN, Host to be learnt, PinFlow status" },
           Case{ R"({"match":{"vni":3},"action":{"vni":4}})", "Ethernet1", true, false, false,
                 "Waiting for: Match VNI programmed (or to be programmed) and original/service "
                 "VNI to be the same, Action VNI programmed (or to be programmed) and "
                 "original/service VNI to be the same, PinFlow rule" },
           Case{ R"({"interceptPoint":1,"match":{"vni":2},"action":{"vni":1}})", "Ethernet1", true,
                 false, false, "Waiting for: Host to be learnt, PinFlow rule" },
           Case{ R"({"serviceIntfKey":"near","match":{"vni":2},"action":{"vni":1}})", "", true,
                 false, false, "Waiting for: PinFlow rule" },
           Case{ R"({"serviceIntfKey":"far","match":{"vni":1},"action":{"vni":2}})", "", false,
                 false, false,
                 "Waiting for: Original VNI to be mapped to a VLAN, Service VNI to be mapped to a "
                 "VLAN, Service Interfaces to become available, PinFlow rule" },
           Case{ R"({"serviceIntfKey":"gone","match":{"vni":1},"action":{"vni":2}})", "", true,
                 true, true, "Waiting for: Service Interfaces to become available" } } ) {
      auto const flow = record< Qor::V1::PolicyFlowInfo >( row.flow );
      // The egress flow's own hosts don't count, those of others do.
      records->flowInfoDel( "f" );
      auto const info = records->flowInfoIs( "f" );
      info->serviceIntfKeyIs( flow.serviceIntfKey );
      info->isInterceptIngressIs( flow.interceptPoint ==
                                  Qor::V1::InterceptPoint::interceptIngress );
      info->boundHostIs( host, {} );
      status->warmHostDelAll();
      if ( *row.place ) {
         status->warmHostIs( host, Wirekit::IntfId( row.place ) );
      }
      status->vlanForVniDelAll();
      if ( row.mapped ) {
         mapVnis();
      }
      if ( row.ruled ) {
         info->ruleInfoIs( {} )->ruleNameIs( "rule" );
      }
      hardware->flowStatsDelAll();
      if ( row.answered ) {
         hardware->flowStatsIs( "rule" );
      }
      EXPECT_EQ( fragment->getFlowWaitingDetails( flow, *info ), row.words ) << row.flow;
   }
}

TEST_F( BuildersTest, WordsOfRejection ) {
   struct Case {
      char const * flow;
      char const * words;
   };
   for ( auto const & [text, words] :
         { Case{ R"({"match":{"vni":1},"action":{"vni":2}})", "Rejected because: " },
           Case{ R"({"action":{"vni":2}})", "Rejected because: Match VNI invalid" },
           Case{ R"({"match":{"vni":1}})", "Rejected because: Action VNI invalid" },
           Case{ "{}", "Rejected because: Match VNI invalid, Action VNI invalid" } } ) {
      auto flow = record< Qor::V1::PolicyFlowInfo >( text );
      flow.flowName = "f";
      policy->policyFragment( "web" )->flowIs( flow );
      EXPECT_EQ( fragment->getFlowRejectedDetails( "f" ), words );
   }
}

}  // namespace
