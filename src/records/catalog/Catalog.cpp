#include "records/catalog/Catalog.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "platform/kel/Assert.h"
#include "platform/kel/Dir.h"
#include "platform/kel/ValueTraits.h"
#include "records/l2rib/HostInput.h"
#include "records/l3/VrfName.h"
#include "records/slab/BridgingStatus.h"
#include "records/vxlan/Vni.h"

namespace Catalog {

namespace {

void checkVrfName( std::string_view name ) {
   Kel::Detail::checked( [&] { return L3::VrfName( name ); } );
}

void checkVni( std::string_view name ) {
   Kel::fromText< Vxlan::Vni >( name );
}

// Who writes.
constexpr char agent[] = "the agent";
constexpr char controller[] = "the controller";
constexpr char bridging[] = "the bridging agent";
constexpr char hardware[] = "the hardware's agent";
constexpr char mlag[] = "the MLAG agent";
constexpr char vxlan[] = "the VXLAN agent";

constexpr Place catalog[] = {
   { .path = "qor/version1/policy",
     .type = "Kel::Dir",
     .mode = "ri",
     .input = "polFragDir",
     .writer = controller,
     .meaning = "the L2 policy, in its one entry \"policy\"",
     .entryType = "Qor::V1::QorPolicyFragment" },
   { .path = "qorclient/version1/policystatus",
     .type = "Qor::V1::QorPolicyFragmentStatus",
     .mode = "w",
     .input = "polFragStatus",
     .writer = agent,
     .meaning = "what became of the L2 policy" },
   { .path = "qorclient/status",
     .type = "QorClient::Status",
     .mode = "w",
     .input = "agentStatus",
     .writer = agent,
     .meaning = "the agent's own books, which outlive it",
     .isBook = true },
   { .path = "qorclient/mlagpluginstatus",
     .type = "MlagP2p::QorClient::Status",
     .mode = "r",
     .input = "mlagPluginStatus",
     .writer = "the MLAG peer's agent",
     .meaning = "the hosts that the MLAG peer has seen at its interfaces" },
   { .path = "vxlan/input/vniconfig/qor",
     .type = "Vxlan::VniSviConfig",
     .mode = "wc",
     .input = "vniSviConfig",
     .writer = agent,
     .meaning = "the VNIs for which the agent wants a VLAN" },
   { .path = "interface/status/eth/vxlan",
     .type = "Vxlan::VtiStatusDir",
     .mode = "r",
     .input = "vtiStatusDir",
     .writer = vxlan,
     .meaning = "the tunnel interfaces, and the VNI of each VLAN" },
   { .path = "bridging/config",
     .type = "Bridging::Config",
     .mode = "r",
     .input = "bridgingConfig",
     .writer = bridging,
     .meaning = "the VLANs of the switch" },
   { .path = "bridging/switchIntfConfig",
     .type = "Bridging::SwitchIntfConfigDir",
     .mode = "r",
     .input = "switchIntfConfigDir",
     .writer = bridging,
     .meaning = "the switchports, with their native VLANs" },
   { .path = "bridging/input/dynvlan/allowedvlan/qor",
     .type = "Bridging::Input::AllowedVlans",
     .mode = "wc",
     .input = "dynAllowedVlans",
     .writer = agent,
     .meaning = "the VLANs that the agent wants allowed on interfaces" },
   { .path = "pinflow/dyninput/qor",
     .type = "OpenFlowTable::PinFlowHwConfig",
     .mode = "w",
     .input = "pfHwConfig",
     .writer = agent,
     .meaning = "the rules of the L2 policy" },
   { .path = "openflow/platformInitConfig",
     .type = "OpenFlowTable::PlatformInitConfig",
     .mode = "w",
     .input = "platformInitConfig",
     .writer = agent,
     .meaning = "options that the platform takes at its start" },
   { .path = "pinflow/pfHwStatusDir/dyninputstatus/qor",
     .type = "OpenFlowTable::HwStatus",
     .mode = "r",
     .input = "pfHwStatus",
     .writer = hardware,
     .meaning = "what became of the rules of the L2 policy" },
   { .path = "features/pinflow/hwcapabilities/platformTableSupport",
     .type = "OpenFlowTable::PlatformTableSupport",
     .mode = "r",
     .input = "platformTableSupport",
     .writer = hardware,
     .meaning = "which tables the platform has" },
   { .path = "vxlan/clientDir",
     .type = "Kel::Dir",
     .mode = "w",
     .input = "vxlanClientDir",
     .writer = "each client of the VXLAN agent, the agent its own entry \"qor\"",
     .meaning = "what is asked of the VXLAN agent",
     .entryType = "Vxlan::VxlanClientConfig",
     .agentEntry = "qor" },
   { .path = "mgmt/controller/status",
     .type = "ControllerClient::Status",
     .mode = "r",
     .input = "mgmtControllerStatus",
     .writer = "the controller client",
     .meaning = "whether the controllers are in use, and which services are on" },
   { .path = "mlag/config",
     .type = "Mlag::Config",
     .mode = "r",
     .input = "mlagConfig",
     .writer = mlag,
     .meaning = "the link to the MLAG peer" },
   { .path = "mlag/status",
     .type = "Mlag::Status",
     .mode = "r",
     .input = "mlagStatus",
     .writer = mlag,
     .meaning = "the role of the switch in its MLAG pair" },
   { .path = "mlag/hostTable",
     .type = "Mlag::HostTable",
     .mode = "r",
     .input = "mlagHostTable",
     .writer = mlag,
     .meaning = "the hosts that the MLAG peer has learnt" },
   { .path = "routing/fhrp/vrMacStatus",
     .type = "Routing::Fhrp::VirtualRouterMacStatus",
     .mode = "r",
     .input = "fhrpGlideMacStatus",
     .writer = "the routing agent",
     .meaning = "the MAC address of the virtual router" },
   { .path = "vxlancontroller/version2/vni",
     .type = "Kel::Dir",
     .mode = "ri",
     .input = "nimbusVniBaseDir",
     .writer = "the VXLAN controller service",
     .meaning = "the hosts of each VNI, and behind which tunnel end point they are",
     .entryType = "VxlanController::VniFdbStatusV2",
     .checkEntryName = &checkVni },
   { .path = "bridging/l2Rib/inputDir/qor",
     .type = "L2Rib::SourceDirEntry",
     .mode = "w",
     .input = "l2RibQorSourceDirEntry",
     .writer = agent,
     .meaning = "tells the L2 RIB of the agent's table of hosts" },
   { .path = "openflow/hwstatus",
     .type = "OpenFlowTable::HwStatus",
     .mode = "r",
     .input = "ofHwStatus",
     .writer = hardware,
     .meaning = "the state of the plain flow table; whether ARP needs a rule of its own" },
   { .path = "qorclient/version1/capability",
     .type = "QorCommon::V1::Capability",
     .mode = "w",
     .input = "capability",
     .writer = agent,
     .meaning = "what the platform can do, for the controller" },
   { .path = "qorl3/version1/global/groupTypeConfig",
     .type = "Kel::Dir",
     .mode = "ri",
     .input = "groupTypeConfigDir",
     .writer = controller,
     .meaning = "the groups of routed policy and their types",
     .entryType = "QorL3::V1::GroupTypeConfig" },
   { .path = "qorl3/version1/global/groupSetConfig",
     .type = "Kel::Dir",
     .mode = "ri",
     .input = "groupSetConfigDir",
     .writer = controller,
     .meaning = "the hosts of the groups, an entry a VRF",
     .entryType = "QorL3::V1::GroupSetConfig",
     .checkEntryName = &checkVrfName },
   { .path = "qorl3/version1/global/fragmentConfig",
     .type = "Kel::Dir",
     .mode = "ri",
     .input = "fragmentConfigDir",
     .writer = controller,
     .meaning = "the flows of routed policy, an entry a VRF",
     .entryType = "QorL3::V1::FragmentConfig",
     .checkEntryName = &checkVrfName },
   { .path = "qorclientl3/version1/global/groupTypeStatus",
     .type = "QorL3::V1::GroupTypeStatus",
     .mode = "wc",
     .input = "groupTypeStatus",
     .writer = agent,
     .meaning = "what became of the groups of routed policy" },
   { .path = "qorclientl3/version1/global/groupSetStatus",
     .type = "Kel::Dir",
     .mode = "wi",
     .input = "groupSetStatusDir",
     .writer = agent,
     .meaning = "what became of the hosts of the groups, an entry a VRF",
     .entryType = "QorL3::V1::GroupSetStatus",
     .checkEntryName = &checkVrfName },
   { .path = "qorclientl3/version1/global/fragmentStatus",
     .type = "Kel::Dir",
     .mode = "wi",
     .input = "fragmentStatusDir",
     .writer = agent,
     .meaning = "what became of the flows of routed policy, an entry a VRF",
     .entryType = "QorL3::V1::FragmentStatus",
     .checkEntryName = &checkVrfName },
   { .path = "pinflow/dyninput/qorl3",
     .type = "OpenFlowTable::PinFlowHwConfig",
     .mode = "w",
     .input = "pfHwConfigL3",
     .writer = agent,
     .meaning = "the rules, groups and end points of routed policy" },
   { .path = "pinflow/pfHwStatusDir/dyninputstatus/qorl3",
     .type = "OpenFlowTable::HwStatus",
     .mode = "r",
     .input = "pfHwStatusL3",
     .writer = hardware,
     .meaning = "what became of the rules, groups and end points of routed policy" },
   { .path = "bridging/status",
     .type = "Slab::Bridging::Status",
     .mode = "r",
     .input = "slabBridgingStatus",
     .writer = bridging,
     .meaning = "the forwarding table: where each host was learnt",
     .isTable = true },
   { .path = "bridging/l2Rib/qor/hostInput",
     .type = "L2Rib::HostInput",
     .mode = "w",
     .input = "l2RibQorHostInput",
     .writer = agent,
     .meaning = "the hosts that the agent offers to the L2 RIB",
     .isTable = true },
};

constexpr auto pathText = []( Place const & place ) { return std::string_view( place.path ); };

constexpr auto sortedCatalog = [] {
   auto sorted = std::to_array( catalog );
   std::ranges::sort( sorted, {}, pathText );
   return sorted;
}();

Kel::TypeRecord const & recordOf( char const * type ) {
   Kel::TypeRecord const * const record = Kel::typeNode( type );
   KEL_ASSERT( record, "Catalog" );
   return *record;
}

}  // namespace

Kel::TypeRecord const & Place::typeRecord() const {
   return recordOf( type );
}

Kel::TypeRecord const & Place::entryTypeRecord() const {
   return recordOf( entryType );
}

std::span< Place const > places() {
   return catalog;
}

std::span< Place const > placesByPath() {
   return sortedCatalog;
}

Place const * placeAt( std::string_view path ) {
   auto const place = std::ranges::lower_bound( sortedCatalog, path, {}, pathText );
   return place != sortedCatalog.end() && path == place->path ? &*place : nullptr;
}

Place const & placeOf( std::string_view input ) {
   auto const place = std::ranges::find_if(
      catalog, [input]( Place const & known ) { return input == known.input; } );
   KEL_ASSERT( place != std::end( catalog ), "Catalog" );
   return *place;
}

char const * pathOf( std::string_view input ) {
   return placeOf( input ).path;
}

Place const * placeOfRow( std::string_view rowPath ) {
   // The place is the longest that begins the path, and mostly stands right before it.
   auto const above = std::ranges::upper_bound( sortedCatalog, rowPath, {}, pathText );
   if ( above != sortedCatalog.begin() ) {
      Place const & before = *std::prev( above );
      std::string_view const path = before.path;
      if ( rowPath.starts_with( path ) &&
           ( rowPath.size() == path.size() || rowPath[path.size()] == '/' ) ) {
         return &before;
      }
   }
   std::size_t end = rowPath.size();
   Place const * place = placeAt( rowPath );
   while ( !place && end != 0 && ( end = rowPath.rfind( '/', end - 1 ) ) != rowPath.npos ) {
      place = placeAt( rowPath.substr( 0, end ) );
   }
   return place;
}

bool isAgents( std::string_view rowPath ) {
   Place const * const place = placeOfRow( rowPath );
   if ( !place || place->mode[0] != 'w' ) {
      return false;
   }
   std::string const own = place->agentEntry ? Kel::pointerStep( place->agentEntry ) : "";
   std::string_view const below = rowPath.substr( std::string_view( place->path ).size() );
   return below.starts_with( own ) &&
          ( own.empty() || below.size() == own.size() || below[own.size()] == '/' );
}

void createPlaces( Corestore::EntityManager & em ) {
   for ( Place const & place : sortedCatalog ) {
      Corestore::RootRows const rows{ place.entryType ? &place.entryTypeRecord() : nullptr,
                                      place.checkEntryName, place.isBook };
      if ( !em.entityIs( place.path, place.type, rows ) ) {
         throw Kel::ValueError( std::string( "is no " ) + place.type ).below( place.path );
      }
   }
}

}  // namespace Catalog
