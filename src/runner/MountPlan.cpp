#include "runner/MountPlan.h"

#include <algorithm>

#include "platform/kel/Exceptions.h"
#include "platform/kel/ValueTraits.h"
#include "platform/records/l3/VrfName.h"
#include "platform/records/vxlan/Vni.h"

namespace Runner {

namespace {

template < class T >
void checkName( std::string_view name ) {
   Kel::Detail::checked( [&] { return Kel::fromText< T >( name ); } );
}

constexpr MountPoint plan[] = {
   { "bridging/config", "Bridging::Config" },
   { "bridging/input/dynvlan/allowedvlan/qor", "Bridging::Input::AllowedVlans" },
   { "bridging/l2Rib/inputDir/qor", "L2Rib::SourceDirEntry" },
   { "bridging/l2Rib/qor/hostInput", "L2Rib::HostInput" },
   { "bridging/status", "Slab::Bridging::Status" },
   { "bridging/switchIntfConfig", "Bridging::SwitchIntfConfigDir" },
   { "features/pinflow/hwcapabilities/platformTableSupport",
     "OpenFlowTable::PlatformTableSupport" },
   { "interface/status/eth/vxlan", "Vxlan::VtiStatusDir" },
   { "mgmt/controller/status", "ControllerClient::Status" },
   { "mlag/config", "Mlag::Config" },
   { "mlag/hostTable", "Mlag::HostTable" },
   { "mlag/status", "Mlag::Status" },
   { "openflow/hwstatus", "OpenFlowTable::HwStatus" },
   { "openflow/platformInitConfig", "OpenFlowTable::PlatformInitConfig" },
   { "pinflow/dyninput/qor", "OpenFlowTable::PinFlowHwConfig" },
   { "pinflow/dyninput/qorl3", "OpenFlowTable::PinFlowHwConfig" },
   { "pinflow/pfHwStatusDir/dyninputstatus/qor", "OpenFlowTable::HwStatus" },
   { "pinflow/pfHwStatusDir/dyninputstatus/qorl3", "OpenFlowTable::HwStatus" },
   { "qor/version1/policy", "Kel::Dir", "Qor::V1::QorPolicyFragment" },
   { "qorclient/mlagpluginstatus", "MlagP2p::QorClient::Status" },
   { "qorclient/status", "QorClient::Status" },
   { "qorclient/version1/capability", "QorCommon::V1::Capability" },
   { "qorclient/version1/policystatus", "Qor::V1::QorPolicyFragmentStatus" },
   { "qorclientl3/version1/global/fragmentStatus", "Kel::Dir", "QorL3::V1::FragmentStatus",
     &checkName< L3::VrfName > },
   { "qorclientl3/version1/global/groupSetStatus", "Kel::Dir", "QorL3::V1::GroupSetStatus",
     &checkName< L3::VrfName > },
   { "qorclientl3/version1/global/groupTypeStatus", "QorL3::V1::GroupTypeStatus" },
   { "qorl3/version1/global/fragmentConfig", "Kel::Dir", "QorL3::V1::FragmentConfig",
     &checkName< L3::VrfName > },
   { "qorl3/version1/global/groupSetConfig", "Kel::Dir", "QorL3::V1::GroupSetConfig",
     &checkName< L3::VrfName > },
   { "qorl3/version1/global/groupTypeConfig", "Kel::Dir", "QorL3::V1::GroupTypeConfig" },
   { "routing/fhrp/vrMacStatus", "Routing::Fhrp::VirtualRouterMacStatus" },
   { "vxlan/clientDir", "Kel::Dir", "Vxlan::VxlanClientConfig" },
   { "vxlan/input/vniconfig/qor", "Vxlan::VniSviConfig" },
   { "vxlancontroller/version2/vni", "Kel::Dir", "VxlanController::VniFdbStatusV2",
     &checkName< Vxlan::Vni > },
};

constexpr auto pathOf = []( MountPoint const & point ) { return std::string_view( point.path ); };
static_assert( std::ranges::is_sorted( plan, {}, pathOf ) );

Kel::TypeRecord const & typeOf( char const * name ) {
   Kel::TypeRecord const * type = Kel::typeNode( name );
   if ( !type ) {
      throw Kel::NoTypeNodeException( "unable to find type " + std::string( name ) );
   }
   return *type;
}

}  // namespace

std::span< MountPoint const > mountPlan() {
   return plan;
}

MountPoint const * mountPoint( std::string_view path ) {
   auto const * point = std::ranges::lower_bound( plan, path, {}, pathOf );
   return point != std::end( plan ) && path == point->path ? point : nullptr;
}

Kel::TypeRecord const & entityType( MountPoint const & point ) {
   return typeOf( point.type );
}

Kel::TypeRecord const & entryType( MountPoint const & point ) {
   return typeOf( point.entryType );
}

void createMountPlan( Corestore::EntityManager & em ) {
   for ( MountPoint const & point : plan ) {
      em.entityIs( point.path, point.type );
   }
}

}  // namespace Runner
