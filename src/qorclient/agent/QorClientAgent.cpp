#include "qorclient/agent/QorClientAgent.h"

#include <cstdlib>
#include <string>
#include <type_traits>

#include "platform/flashlog/DualLog.h"
#include "platform/flashlog/Flashlog.h"
#include "platform/kel/Assert.h"
#include "platform/slab/KelSlab.h"
#include "records/l2rib/SourceDirEntry.h"

KEL_TRACE_UNIT( "QorClientAgent", "QorClient" )

namespace QorClient {

namespace {

struct MountPlanEntry {
   char const * path;
   char const * type;
   char const * mode;
};

constexpr MountPlanEntry mountPlan[] = {
   { "qor/version1/policy", "Kel::Dir", "ri" },
   { "qorclient/version1/policystatus", "Qor::V1::QorPolicyFragmentStatus", "w" },
   { "qorclient/status", "QorClient::Status", "w" },
   { "qorclient/mlagpluginstatus", "MlagP2p::QorClient::Status", "r" },
   { "vxlan/input/vniconfig/qor", "Vxlan::VniSviConfig", "wc" },
   { "interface/status/eth/vxlan", "Vxlan::VtiStatusDir", "r" },
   { "bridging/config", "Bridging::Config", "r" },
   { "bridging/switchIntfConfig", "Bridging::SwitchIntfConfigDir", "r" },
   { "bridging/input/dynvlan/allowedvlan/qor", "Bridging::Input::AllowedVlans", "wc" },
   { "pinflow/dyninput/qor", "OpenFlowTable::PinFlowHwConfig", "w" },
   { "openflow/platformInitConfig", "OpenFlowTable::PlatformInitConfig", "w" },
   { "pinflow/pfHwStatusDir/dyninputstatus/qor", "OpenFlowTable::HwStatus", "r" },
   { "features/pinflow/hwcapabilities/platformTableSupport", "OpenFlowTable::PlatformTableSupport",
     "r" },
   { "vxlan/clientDir", "Kel::Dir", "w" },
   { "mgmt/controller/status", "ControllerClient::Status", "r" },
   { "mlag/config", "Mlag::Config", "r" },
   { "mlag/status", "Mlag::Status", "r" },
   { "mlag/hostTable", "Mlag::HostTable", "r" },
   { "routing/fhrp/vrMacStatus", "Routing::Fhrp::VirtualRouterMacStatus", "r" },
   { "vxlancontroller/version2/vni", "Kel::Dir", "ri" },
   { "bridging/l2Rib/inputDir/qor", "L2Rib::SourceDirEntry", "w" },
   { "openflow/hwstatus", "OpenFlowTable::HwStatus", "r" },
   { "qorclient/version1/capability", "QorCommon::V1::Capability", "w" },
   { "qorl3/version1/global/groupTypeConfig", "Kel::Dir", "ri" },
   { "qorl3/version1/global/groupSetConfig", "Kel::Dir", "ri" },
   { "qorl3/version1/global/fragmentConfig", "Kel::Dir", "ri" },
   { "qorclientl3/version1/global/groupTypeStatus", "QorL3::V1::GroupTypeStatus", "wc" },
   { "qorclientl3/version1/global/groupSetStatus", "Kel::Dir", "wi" },
   { "qorclientl3/version1/global/fragmentStatus", "Kel::Dir", "wi" },
   { "pinflow/dyninput/qorl3", "OpenFlowTable::PinFlowHwConfig", "w" },
   { "pinflow/pfHwStatusDir/dyninputstatus/qorl3", "OpenFlowTable::HwStatus", "r" },
};

constexpr char trunkGroupName[] = "qor";

/** Null when the path is not mounted or holds another type. */
template < class T >
void fetch( Corestore::EntityManager const & em, char const * path, Kel::Ptr< T > & attribute ) {
   if constexpr ( std::is_const_v< T > ) {
      attribute = Kel::ptrCast< T >( em.getEntity( path ) );
   } else {
      attribute = Kel::ptrCast< T >( em.getWritableEntity( path ) );
   }
}

}  // namespace

void Agent::doInit() {
   if ( !std::getenv( "FLASHLOG_DISABLE" ) ) {
      openTrace();
   }
   KEL_TRACE_SCOPE_ENDING( " return " );
   Kel::Ptr< Corestore::MountGroup > const group = entityManager().getMountGroup( this );
   for ( MountPlanEntry const & mount : mountPlan ) {
      group->doMount( { mount.path, mount.type, mount.mode } );
   }
   group->doClose( false, "", 0.0 );
}

void Agent::openTrace() const {
   std::string fileName = name().stringValue();
   // In a folder of its own the file has a fixed name; elsewhere the process id keeps those of
   // several runs apart.
   if ( !std::getenv( "FLASHLOGDIR" ) ) {
      fileName += "-%d";
   }
   fileName += ".fl";
   Flashlog::SizeSpec sizes;
   sizes.fill( 32 );
   Flashlog::initialize( fileName, sizes, nullptr, 0, 24, Flashlog::MultiThreading::singleWriter_,
                         true, 512 );
}

void Agent::doMountsComplete( Corestore::MountStatus status,
                              Kel::Ptr< Corestore::EntityManager > em ) {
   KEL_TRACE_SCOPE();
   KEL_ASSERT_AT( status == Corestore::MountStatus::mountSuccess_,
                  "mountStatus == Corestore::mountSuccess_", "QorClientAgent", 116 );
   mountSlabTables( em );
   announceHostTable( *em );
   fetchEntities( *em );
   serviceMonitorRootSm_.is( *this, mgmtControllerStatus_ );
   launchSm_.is( *this, mgmtControllerStatus_, agentStatus_, vxlanClientDir_, polFragDir_,
                 slabBridgingStatus_, bridgingConfig_, switchIntfConfigDir_, polFragStatus_,
                 pfHwConfig_, pfHwStatus_, capability_, platformTableSupport_, vniSviConfig_,
                 vtiStatusDir_, dynAllowedVlans_, dynAllowedVlans_->trunkGroup( trunkGroupName ),
                 mlagConfig_, mlagHostTable_, platformInitConfig_, fhrpGlideMacStatus_,
                 nimbusVniBaseDir_, l2RibQorHostInput_, ofHwStatus_, mlagPluginStatus_, mlagStatus_,
                 scheduler(), groupTypeConfigDir_, groupTypeStatus_, groupSetConfigDir_,
                 groupSetStatusDir_, fragmentConfigDir_, fragmentStatusDir_, pfHwConfigL3_,
                 pfHwStatusL3_ );
}

void Agent::mountSlabTables( Kel::Ptr< Corestore::EntityManager > const & em ) {
   KelSlab::Mount slab( em );
   slab.handleInitialized();

   slab.doMount( "bridging/status", "Slab::Bridging::Status",
                 KelSlab::MountInfo( KelSlab::KelSlabType::reader_ ) );
   slabBridgingStatus_ =
      Kel::ptrCast< Slab::Bridging::Status const >( slab.getEntity( "bridging/status" ) );

   KelSlab::MountInfo hostInput( KelSlab::KelSlabType::writer_ );
   hostInput.collectionInfoIs( { "host", l2RibQorHostTableLen_ } );
   slab.doMount( l2RibQorHostTableSlabPath_, "L2Rib::HostInput", hostInput );
   l2RibQorHostInput_ =
      Kel::ptrCast< L2Rib::HostInput >( slab.getEntity( l2RibQorHostTableSlabPath_ ) );
}

/** The L2 RIB learns of the table on every start, whether or not the service is enabled. */
void Agent::announceHostTable( Corestore::EntityManager const & em ) const {
   Kel::Ptr< L2Rib::SourceDirEntry > source;
   fetch( em, "bridging/l2Rib/inputDir/qor", source );
   source->hostTableSlabPathIs( l2RibQorHostTableSlabPath_ );
   source->hostTableLenIs( l2RibQorHostTableLen_ );
   source->sourceIs( L2Rib::Source::qor );
   source->initializedIs( true );
}

void Agent::fetchEntities( Corestore::EntityManager const & em ) {
   fetch( em, "qor/version1/policy", polFragDir_ );
   fetch( em, "qorclient/version1/policystatus", polFragStatus_ );
   fetch( em, "qorclient/status", agentStatus_ );
   fetch( em, "qorclient/mlagpluginstatus", mlagPluginStatus_ );
   fetch( em, "bridging/config", bridgingConfig_ );
   fetch( em, "bridging/switchIntfConfig", switchIntfConfigDir_ );
   fetch( em, "pinflow/dyninput/qor", pfHwConfig_ );
   fetch( em, "openflow/platformInitConfig", platformInitConfig_ );
   fetch( em, "pinflow/pfHwStatusDir/dyninputstatus/qor", pfHwStatus_ );
   fetch( em, "features/pinflow/hwcapabilities/platformTableSupport", platformTableSupport_ );
   fetch( em, "vxlan/clientDir", vxlanClientDir_ );
   fetch( em, "mgmt/controller/status", mgmtControllerStatus_ );
   fetch( em, "vxlan/input/vniconfig/qor", vniSviConfig_ );
   fetch( em, "interface/status/eth/vxlan", vtiStatusDir_ );
   fetch( em, "bridging/input/dynvlan/allowedvlan/qor", dynAllowedVlans_ );
   dynAllowedVlans_->trunkGroupIs( trunkGroupName );
   fetch( em, "mlag/config", mlagConfig_ );
   fetch( em, "mlag/status", mlagStatus_ );
   fetch( em, "mlag/hostTable", mlagHostTable_ );
   fetch( em, "routing/fhrp/vrMacStatus", fhrpGlideMacStatus_ );
   fetch( em, "vxlancontroller/version2/vni", nimbusVniBaseDir_ );
   fetch( em, "openflow/hwstatus", ofHwStatus_ );
   fetch( em, "qorclient/version1/capability", capability_ );
   fetch( em, "qorl3/version1/global/groupTypeConfig", groupTypeConfigDir_ );
   fetch( em, "qorclientl3/version1/global/groupTypeStatus", groupTypeStatus_ );
   fetch( em, "qorl3/version1/global/groupSetConfig", groupSetConfigDir_ );
   fetch( em, "qorclientl3/version1/global/groupSetStatus", groupSetStatusDir_ );
   fetch( em, "qorl3/version1/global/fragmentConfig", fragmentConfigDir_ );
   fetch( em, "qorclientl3/version1/global/fragmentStatus", fragmentStatusDir_ );
   fetch( em, "pinflow/dyninput/qorl3", pfHwConfigL3_ );
   fetch( em, "pinflow/pfHwStatusDir/dyninputstatus/qorl3", pfHwStatusL3_ );
}

Agent::~Agent() {
   // A process that is ending leaves its outputs as they are, for the next start to adopt.
   if ( Kel::Ptr< LaunchSm > gate = launchSm() ) {
      serviceMonitorRootSm()->kelMakeTreeZombie();
      gate->kelMakeTreeZombie();
   }
   serviceMonitorRootSm_.del();
   launchSm_.del();
}

}  // namespace QorClient
