#include "documents/MountPlan.h"

#include <algorithm>

#include "platform/kel/Dir.h"
#include "platform/kel/ValueTraits.h"
#include "qorclient/agent/Status.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "qorclient/flowtable/PlatformConfig.h"
#include "records/bridging/AllowedVlans.h"
#include "records/bridging/Config.h"
#include "records/bridging/SwitchIntfConfig.h"
#include "records/controllerclient/Status.h"
#include "records/l2rib/HostInput.h"
#include "records/l2rib/SourceDirEntry.h"
#include "records/l3/VrfName.h"
#include "records/mlag/Config.h"
#include "records/mlag/HostTable.h"
#include "records/mlag/Status.h"
#include "records/mlagp2p/Status.h"
#include "records/qor/PolicyFragment.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/qorcommon/Capability.h"
#include "records/qorl3/FragmentConfig.h"
#include "records/qorl3/FragmentStatus.h"
#include "records/qorl3/GroupSetConfig.h"
#include "records/qorl3/GroupSetStatus.h"
#include "records/qorl3/GroupType.h"
#include "records/routing/VirtualRouterMacStatus.h"
#include "records/slab/BridgingStatus.h"
#include "records/vxlan/Vni.h"
#include "records/vxlan/VniSviConfig.h"
#include "records/vxlan/VtiStatus.h"
#include "records/vxlan/VxlanClientConfig.h"
#include "records/vxlancontroller/VniFdbStatusV2.h"

namespace Runner {

namespace {

void checkVrfName( std::string_view name ) {
   Kel::Detail::checked( [&] { return L3::VrfName( name ); } );
}

void checkVni( std::string_view name ) {
   Kel::fromText< Vxlan::Vni >( name );
}

// Naming the classes here also links them, which a look-up by their names would not.
constexpr MountPoint plan[] = {
   { "bridging/config", &Bridging::Config::kelType },
   { "bridging/input/dynvlan/allowedvlan/qor", &Bridging::Input::AllowedVlans::kelType },
   { "bridging/l2Rib/inputDir/qor", &L2Rib::SourceDirEntry::kelType },
   { "bridging/l2Rib/qor/hostInput", &L2Rib::HostInput::kelType },
   { "bridging/status", &Slab::Bridging::Status::kelType },
   { "bridging/switchIntfConfig", &Bridging::SwitchIntfConfigDir::kelType },
   { "features/pinflow/hwcapabilities/platformTableSupport",
     &OpenFlowTable::PlatformTableSupport::kelType },
   { "interface/status/eth/vxlan", &Vxlan::VtiStatusDir::kelType },
   { "mgmt/controller/status", &ControllerClient::Status::kelType },
   { "mlag/config", &Mlag::Config::kelType },
   { "mlag/hostTable", &Mlag::HostTable::kelType },
   { "mlag/status", &Mlag::Status::kelType },
   { "openflow/hwstatus", &OpenFlowTable::HwStatus::kelType },
   { "openflow/platformInitConfig", &OpenFlowTable::PlatformInitConfig::kelType },
   { "pinflow/dyninput/qor", &OpenFlowTable::PinFlowHwConfig::kelType },
   { "pinflow/dyninput/qorl3", &OpenFlowTable::PinFlowHwConfig::kelType },
   { "pinflow/pfHwStatusDir/dyninputstatus/qor", &OpenFlowTable::HwStatus::kelType },
   { "pinflow/pfHwStatusDir/dyninputstatus/qorl3", &OpenFlowTable::HwStatus::kelType },
   { "qor/version1/policy", &Kel::Dir::kelType, &Qor::V1::QorPolicyFragment::kelType },
   { "qorclient/mlagpluginstatus", &MlagP2p::QorClient::Status::kelType },
   { "qorclient/status", &QorClient::Status::kelType },
   { "qorclient/version1/capability", &QorCommon::V1::Capability::kelType },
   { "qorclient/version1/policystatus", &Qor::V1::QorPolicyFragmentStatus::kelType },
   { "qorclientl3/version1/global/fragmentStatus", &Kel::Dir::kelType,
     &QorL3::V1::FragmentStatus::kelType, &checkVrfName },
   { "qorclientl3/version1/global/groupSetStatus", &Kel::Dir::kelType,
     &QorL3::V1::GroupSetStatus::kelType, &checkVrfName },
   { "qorclientl3/version1/global/groupTypeStatus", &QorL3::V1::GroupTypeStatus::kelType },
   { "qorl3/version1/global/fragmentConfig", &Kel::Dir::kelType,
     &QorL3::V1::FragmentConfig::kelType, &checkVrfName },
   { "qorl3/version1/global/groupSetConfig", &Kel::Dir::kelType,
     &QorL3::V1::GroupSetConfig::kelType, &checkVrfName },
   { "qorl3/version1/global/groupTypeConfig", &Kel::Dir::kelType,
     &QorL3::V1::GroupTypeConfig::kelType },
   { "routing/fhrp/vrMacStatus", &Routing::Fhrp::VirtualRouterMacStatus::kelType },
   { "vxlan/clientDir", &Kel::Dir::kelType, &Vxlan::VxlanClientConfig::kelType },
   { "vxlan/input/vniconfig/qor", &Vxlan::VniSviConfig::kelType },
   { "vxlancontroller/version2/vni", &Kel::Dir::kelType, &VxlanController::VniFdbStatusV2::kelType,
     &checkVni },
};

void checkEntries( Kel::Dir const & directory, MountPoint const & point ) {
   for ( auto const & [name, entry] : directory.entity() ) {
      try {
         if ( &entry->fwkType() != &point.entryType() ) {
            throw Kel::ValueError( std::string( "is no " ) + point.entryType().name );
         }
         if ( point.checkEntryName ) {
            point.checkEntryName( name.view() );
         }
      } catch ( Kel::ValueError const & e ) {
         throw e.below( name.view() );
      }
   }
}

constexpr auto pathOf = []( MountPoint const & point ) { return std::string_view( point.path ); };
static_assert( std::ranges::is_sorted( plan, {}, pathOf ) );

}  // namespace

std::span< MountPoint const > mountPlan() {
   return plan;
}

MountPoint const * mountPoint( std::string_view path ) {
   auto const * point = std::ranges::lower_bound( plan, path, {}, pathOf );
   return point != std::end( plan ) && path == point->path ? point : nullptr;
}

void createMountPlan( Corestore::EntityManager & em ) {
   for ( MountPoint const & point : plan ) {
      auto const entity = em.entityIs( point.path, point.type().name );
      try {
         if ( !entity ) {
            throw Kel::ValueError( std::string( "is no " ) + point.type().name );
         }
         if ( point.entryType ) {
            checkEntries( static_cast< Kel::Dir const & >( *entity ), point );
         }
      } catch ( Kel::ValueError const & e ) {
         throw e.below( point.path );
      }
   }
}

}  // namespace Runner
