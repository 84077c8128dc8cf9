#include <gmock/gmock.h>

#include <filesystem>

#include "documents/StatePatch.h"
#include "platform/corestore/ValueText.h"
#include "platform/flashlog/Flashlog.h"
#include "qorclient/agent/AgentFixture.h"
#include "records/l2rib/SourceDirEntry.h"

namespace {

namespace fs = std::filesystem;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class AgentTest : public AgentFixture {};

TEST_F( AgentTest, TraceFileIsNamedByTheEnvironment ) {
   fs::path const directory = fs::path( testing::TempDir() ) / "qorclientAgentTrace";
   fs::remove_all( directory );
   fs::create_directories( directory / "current" );
   fs::path const before = fs::current_path();
   fs::current_path( directory / "current" );

   start();
   EXPECT_TRUE( fs::is_empty( "." ) );

   ::unsetenv( "FLASHLOG_DISABLE" );
   agent = nullptr;
   start();
   EXPECT_TRUE( fs::exists( "QorClient-" + std::to_string( ::getpid() ) + ".fl" ) );

   ::setenv( "FLASHLOGDIR", directory.c_str(), 1 );
   agent = nullptr;
   start();
   EXPECT_TRUE( fs::exists( directory / "QorClient.fl" ) );

   ::setenv( "FLASHLOGDIR", "", 1 );
   agent = nullptr;
   start();
   EXPECT_TRUE( fs::exists( "QorClient.fl" ) ) << "no name is the current folder";

   ::unsetenv( "FLASHLOGDIR" );
   Flashlog::shutdown();
   fs::current_path( before );
   fs::remove_all( directory );
}

TEST_F( AgentTest, FailedMountEndsTheProcess ) {
   at< Kel::Dir >( "mlag/config" );
   EXPECT_DEATH( start(), "QorClientAgent:116: .*`mountStatus == Corestore::mountSuccess_'" );
}

TEST_F( AgentTest, MountsComeInALaterTurn ) {
   agent =
      Kel::ptrCast< QorClient::Agent >( Warden::startAgent( "QorClient::Agent", "QorClient", em ) );
   EXPECT_FALSE( agent->launchSm() );
   scheduler->runReady();
   EXPECT_TRUE( agent->launchSm() );
}

TEST_F( AgentTest, TheEndLeavesTheOutputsAsTheyAre ) {
   start();
   enable();
   Documents::applyState( *em, Corestore::parseJson( R"({
      "pinflow/pfHwStatusDir/dyninputstatus/qor":{"supported":true},
      "interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"addr":"192.0.2.1","vlanToVniMap":{"10":{"vni":1},"20":{"vni":2}}}}},
      "bridging/config":{"vlanConfig":{"10":{"intf":{"Ethernet2":true}}}},
      "bridging/switchIntfConfig":{"switchIntfConfig":{"Ethernet2":{}}},
      "bridging/status":{"fdbStatus":{"10|02:00:00:00:00:01":{"intf":"Ethernet2","entryType":4}}},
      "mlag/config":{"peerLinkIntfId":"Port-Channel1"},
      "routing/fhrp/vrMacStatus":{"virtualRouterMac":"02:00:00:00:ff:01"},
      "qorl3/version1/global/groupTypeConfig":{"config":{"group":{"g":{"bytes":[1,0,0]}}}},
      "qorl3/version1/global/groupSetConfig":{"red":{"group":{"g":{"memberSet":{"1":{"member":{"0|10.0.0.1|02:00:00:00:00:01":{}}}}}}}},
      "qorl3/version1/global/fragmentConfig":{"red":{"flowGroup":{"1|1":{"flow":{"f":{"actionFieldSet":1,"enabled":true}}}}}},
      "qor/version1/policy":{"policy":{"policyFragment":{"web":{"originalVni":1,"serviceVni":2,
         "serviceIntfSet":{"near":{"intf":{"Ethernet1":true}}},
         "flow":{"host":{"match":{"srcMac":"02:00:00:00:00:01","vni":1},"action":{"vni":2}},
                 "out":{"serviceIntfKey":"near","match":{"vni":2},"action":{"vni":1}}}}}}}})" ),
                          []( auto const & mutator ) { mutator(); } );
   scheduler->runReady();
   ASSERT_EQ( at< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" )->flowEntryCount(), 2 );
   auto const routed = at< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qorl3" );
   ASSERT_EQ( routed->flowEntryCount() + routed->trafficEndPointCount(), 2 );

   record();
   agent = nullptr;
   EXPECT_THAT( changes, ElementsAre() );
   // What is in memory alone is gone with the process; the next one adopts the rest.
   Kel::Entity::singletonsDel();
   start();
   EXPECT_THAT( changes, Each( Not( HasSubstr( "dyninput" ) ) ) );
}

// --- The gate ---

TEST_F( AgentTest, ClosedGateAtStartEmptiesWhatAnEarlierRunLeft ) {
   at< QorClient::Status >( "qorclient/status" )->activeIs( true );
   at< Qor::V1::QorPolicyFragmentStatus >( "qorclient/version1/policystatus" )
      ->policyFragmentIs( "web" );
   at< Vxlan::VniSviConfig >( "vxlan/input/vniconfig/qor" )
      ->vniSviInfoIs( { "qor", {}, Vxlan::VniExtOrNone( 5000 ) } );
   at< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" )->trafficGroupIs( "g", {} );
   at< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" )->trafficEndPointIs( {}, "g" );
   at< Kel::Dir >( "vxlan/clientDir" )->createEntity( "Vxlan::VxlanClientConfig", "qor" );
   at< OpenFlowTable::PlatformInitConfig >( "openflow/platformInitConfig" )
      ->perVlanRoutingEnabledIs( true );
   at< QorL3::V1::GroupTypeStatus >( "qorclientl3/version1/global/groupTypeStatus" )
      ->groupIs( { "g", {}, "" } );
   at< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qorl3" )->trafficGroupIs( "g3", {} );
   at< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qorl3" )->trafficEndPointIs( {}, "g3" );
   for ( char const * name : { "a", "b" } ) {
      at< Kel::Dir >( "qorclientl3/version1/global/groupSetStatus" )
         ->createEntity( "QorL3::V1::GroupSetStatus", name );
   }
   at< Kel::Dir >( "qorclientl3/version1/global/fragmentStatus" )
      ->createEntity( "QorL3::V1::FragmentStatus", "vrf" );
   // Rules are not the gate's to remove.
   at< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" )->flowEntryIs( "rule", {} );

   record();
   start();
   EXPECT_THAT(
      changes,
      ElementsAre(
         "inputDir/qor hostTableSlabPath", "inputDir/qor hostTableLen", "inputDir/qor source",
         "inputDir/qor initialized", "allowedvlan/qor trunkGroup[qor]",
         "version1/policystatus policyFragment[web]", "vniconfig/qor vniSviInfo[5000]",
         "dyninput/qor trafficGroup[g]", "dyninput/qor trafficEndPoint[||0|00:00:00:00:00:00]",
         "vxlan/clientDir entity[qor]", "openflow/platformInitConfig perVlanRoutingEnabled",
         "global/groupTypeStatus group[g]", "dyninput/qorl3 trafficGroup[g3]",
         "dyninput/qorl3 trafficEndPoint[||0|00:00:00:00:00:00]", "global/groupSetStatus entity[a]",
         "global/groupSetStatus entity[b]", "global/fragmentStatus entity[vrf]",
         "qorclient/status active" ) );
   EXPECT_TRUE(
      at< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" )->flowEntryHas( "rule" ) );
   auto const source = at< L2Rib::SourceDirEntry >( "bridging/l2Rib/inputDir/qor" );
   EXPECT_EQ( source->hostTableSlabPath(), "bridging/l2Rib/qor/hostInput" );
   EXPECT_EQ( source->hostTableLen(), 16384u );
   EXPECT_EQ( source->source(), L2Rib::Source{ 256 } );
}

TEST_F( AgentTest, GateOpensAndClosesInItsOrder ) {
   at< OpenFlowTable::HwStatus >( "pinflow/pfHwStatusDir/dyninputstatus/qor" )->supportedIs( true );
   at< Vxlan::VtiStatusDir >( "interface/status/eth/vxlan" )
      ->vtiStatusIs( Wirekit::IntfId( "Vxlan1" ) )
      ->addrIs( Wirekit::IpAddr( 0x0a000001 ) );
   at< Kel::Dir >( "qor/version1/policy" )->createEntity( "Qor::V1::QorPolicyFragment", "policy" );
   start();
   serviceIs( "Qor", true );
   record();
   controller()->enabledIs( true );
   EXPECT_THAT(
      changes,
      ElementsAre( "controller/status enabled", "qorclient/status active",
                   "vxlan/clientDir entity[qor]", "vxlan/clientDir arpPublish",
                   "vxlan/clientDir enabled", "openflow/platformInitConfig perVlanRoutingEnabled",
                   "version1/capability feature", "qorclient/status myVtepAddr" ) );
   Kel::Ptr< QorClient::RootSm > const first = agent->launchSm()->rootSm();

   // The datapath drops its bindings and the helper takes its VNI back before the shared part goes,
   // that before the outputs.
   at< QorClient::Status >( "qorclient/status" )
      ->boundVniIs( { Vxlan::VniExtOrNone( 5000 ), {}, "web" }, true );
   at< Qor::V1::QorPolicyFragmentStatus >( "qorclient/version1/policystatus" )
      ->policyFragmentIs( "web" );
   changes.clear();
   controller()->leaderServiceStatusDirDel();
   EXPECT_THAT(
      changes,
      ElementsAre(
         "controller/status leaderServiceStatusDir", "qorclient/status boundVni[5000||web]",
         "vniconfig/qor vniSviInfo[5000]", "version1/capability feature",
         "version1/policystatus policyFragment[web]", "vxlan/clientDir entity[qor]",
         "openflow/platformInitConfig perVlanRoutingEnabled", "qorclient/status active" ) );
   EXPECT_FALSE( agent->launchSm()->rootSm() );
   EXPECT_FALSE( agent->launchSm()->commonRootSm() );

   serviceIs( "QorL3", true );
   EXPECT_TRUE( agent->launchSm()->rootSm() );
   EXPECT_NE( agent->launchSm()->rootSm(), first );
}

}  // namespace
