#include "runner/tables/Places.h"

#include "agent/QorClientUtils.h"
#include "datapath/HostFdbStatus.h"
#include "platform/kel/Dir.h"
#include "platform/records/bridging/Config.h"
#include "platform/records/bridging/SwitchIntfConfig.h"
#include "platform/records/mlag/HostTable.h"
#include "platform/records/qorclient/Status.h"
#include "platform/records/vxlan/VtiStatus.h"

namespace Runner {

namespace {

using Bridging::MacVlanPair;
using Bridging::VlanId;

bool isServiceIntf( QorClient::Status const & agent, Wirekit::IntfId intf ) {
   for ( auto const & fragment : agent.policyFragmentInfo() ) {
      for ( auto const & set : fragment.value->serviceIntfSetInfo() ) {
         for ( auto const & binding : set.value->boundVni() ) {
            if ( binding.key.intfId == intf ) {
               return true;
            }
         }
      }
   }
   return false;
}

/** Why an interface is no place for a host, as the host tracker checks it; empty if it is one. */
std::string whyNotThere( Switch const & device, VlanId vlan, Wirekit::IntfId intf ) {
   auto const agent = device.entity< QorClient::Status >( "qorclient/status" );
   auto const members = device.entity< Bridging::Config >( "bridging/config" )->vlanConfig( vlan );
   auto const ports = device.entity< Bridging::SwitchIntfConfigDir >( "bridging/switchIntfConfig" );
   if ( intf == agent->cachedPeerLinkIntfId() ) {
      return ", the peer link";
   }
   if ( isServiceIntf( *agent, intf ) ) {
      return ", a service interface";
   }
   if ( !members || !members->intfHas( intf ) ) {
      return ", which is not in VLAN " + std::to_string( vlan.value() );
   }
   return ports->switchIntfConfigHas( intf ) ? "" : ", which has no switchport configuration";
}

/** The VLAN of the service that a fragment puts before a VLAN, where hosts are looked for too. */
std::optional< VlanId > serviceVlan( Switch const & device, VlanId original ) {
   using QorClientUtils::convertVniToVniExt;
   auto const agent = device.entity< QorClient::Status >( "qorclient/status" );
   if ( auto const policy = policyOf( device ) ) {
      for ( auto const & fragment : policy->policyFragment() ) {
         auto const from = convertVniToVniExt( fragment.value->originalVni() );
         auto const to = convertVniToVniExt( fragment.value->serviceVni() );
         if ( agent->vlanForVniHas( from ) && agent->vlanForVniHas( to ) &&
              agent->vlanForVni( from ) == original ) {
            return agent->vlanForVni( to );
         }
      }
   }
   return std::nullopt;
}

/** Empty when the forwarding database has no such host. */
std::string learntWords( Switch const & device, MacVlanPair const & learnt, VlanId vlan ) {
   auto const row = learntRow( device, learnt );
   if ( !row.intf ) {
      return "";
   }
   std::string const words = "learnt on " + row.intf.shortName();
   auto const type = static_cast< std::uint32_t >( row.entryType );
   if ( type != 0 && ( type < 4 || type > 6 ) ) {
      return words + ", but neither locally nor on the peer (entry type " + std::to_string( type ) +
             ")";
   }
   std::string const trouble = whyNotThere( device, vlan, row.intf );
   return words + ( trouble.empty() ? ", not taken up by the agent" : trouble );
}

/** Empty when the peer says nothing of the host. */
std::string peerWords( Switch const & device, MacVlanPair const & asked, VlanId vlan ) {
   Mlag::HostEntryKey const key{ asked.vlanId, asked.mac };
   auto const peer = device.entity< Mlag::HostTable >( "mlag/hostTable" );
   if ( !peer->hostEntryHas( key ) ) {
      return "";
   }
   Mlag::HostEntry const entry = peer->hostEntry( key );
   if ( entry.unusable ) {
      return "known to the peer by an entry that says no place";
   }
   Wirekit::IntfId const intf( entry.intf.view() );
   std::string const words = "known to the peer on " + intf.shortName();
   if ( QorClient::isVti( entry.intf ) ) {
      return words + ", behind the tunnel";
   }
   std::string const trouble = whyNotThere( device, vlan, intf );
   return words + ( trouble.empty() ? ", not taken up by the agent" : trouble );
}

}  // namespace

Kel::Ptr< Qor::V1::QorPolicyFragment const > policyOf( Switch const & device ) {
   return Kel::ptrCast< Qor::V1::QorPolicyFragment const >(
      device.entity< Kel::Dir >( "qor/version1/policy" )->entity( "policy" ) );
}

std::optional< VlanId > tunnelVlan( Switch const & device, std::uint32_t vni ) {
   auto const tunnels = device.entity< Vxlan::VtiStatusDir >( "interface/status/eth/vxlan" );
   for ( auto const & tunnel : tunnels->vtiStatus() ) {
      for ( auto const & carried : tunnel.value->vlanToVniMap() ) {
         if ( carried.value.vni.value() == vni ) {
            return carried.key;
         }
      }
   }
   return std::nullopt;
}

Slab::Bridging::SlabFdbStatus learntRow( Switch const & device, MacVlanPair const & host ) {
   return QorClient::DatapathV1::getHostFdbStatus(
      host, device.entity< Bridging::Config >( "bridging/config" ),
      device.entity< Slab::Bridging::Status >( "bridging/status" ) );
}

std::string whyNotKnown( Switch const & device, MacVlanPair const & host ) {
   std::string words = learntWords( device, host, host.vlanId );
   auto const service = serviceVlan( device, host.vlanId );
   if ( words.empty() && service ) {
      MacVlanPair const there{ host.mac, *service };
      words = learntWords( device, there, host.vlanId );
      if ( words.empty() ) {
         words = peerWords( device, there, host.vlanId );
      }
   }
   if ( words.empty() ) {
      words = "not learnt";
   }
   bool const resync = device.entity< QorClient::Status >( "qorclient/status" )->resyncInProgress();
   return resync ? words + " (resync in progress)" : words;
}

}  // namespace Runner
