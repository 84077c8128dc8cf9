#include "views/tables/Places.h"

#include <set>

#include "platform/kel/Dir.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/datapath/HostFdbStatus.h"
#include "qorclient/datapath/KelPolicyFragment.h"
#include "qorclient/host/ReportedPlace.h"
#include "records/bridging/Config.h"
#include "records/bridging/SwitchIntfConfig.h"
#include "records/catalog/Catalog.h"
#include "records/mlag/HostTable.h"
#include "records/vxlan/VtiStatus.h"
#include "views/tables/Words.h"

namespace Views {

namespace {

using Bridging::MacVlanPair;
using Bridging::VlanId;

/** What hinders the agent from taking up a place, in words that go on after the interface. */
Reason atPlace( Corestore::EntityManager const & em, std::string const & words, VlanId vlan,
                Wirekit::IntfId intf, char const * table ) {
   using QorClient::ReportedPlace;
   auto const ports =
      em.entity< Bridging::SwitchIntfConfigDir >( Catalog::pathOf( "switchIntfConfigDir" ) );
   switch ( QorClient::reportedPlace(
      *em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) ),
      *em.entity< Bridging::Config >( Catalog::pathOf( "bridgingConfig" ) ), *ports, vlan,
      intf ) ) {
      case ReportedPlace::serviceIntf:
         return { words + ", a service interface", table };
      case ReportedPlace::outsideVlan:
         return { words + ", which is not in VLAN " + std::to_string( vlan.value() ),
                  Catalog::pathOf( "bridgingConfig" ) };
      case ReportedPlace::withoutConfig:
         return { words + ", which has no switchport configuration",
                  Catalog::pathOf( "switchIntfConfigDir" ) };
      case ReportedPlace::peerLink:
         return { words + ", the peer link", table };
      case ReportedPlace::none:
      case ReportedPlace::usable:
         break;
   }
   return { words + ", not taken up by the agent", table };
}

/** The VLAN for which the agent takes a forwarding entry: the first that has its fid. */
std::uint32_t vlanOf( Bridging::Config const & config, Bridging::Fid fid ) {
   for ( auto const & mapped : config.vidToFidMap() ) {
      if ( mapped.value == fid ) {
         return mapped.key.value();
      }
   }
   return fid;
}

/** Nothing when the forwarding database has no such host. */
std::optional< Reason > learntReason( Corestore::EntityManager const & em,
                                      MacVlanPair const & learnt, VlanId vlan ) {
   auto const row = learntRow( em, learnt );
   if ( !row.intf ) {
      return std::nullopt;
   }
   char const * const table = Catalog::pathOf( "slabBridgingStatus" );
   std::string const words = "learnt on " + row.intf.shortName();
   if ( !QorClient::isLearntHost( row.entryType ) ) {
      return Reason{ words + ", but neither locally nor on the peer (entry type " +
                        std::to_string( static_cast< std::uint32_t >( row.entryType ) ) + ")",
                     table };
   }
   auto const config = em.entity< Bridging::Config >( Catalog::pathOf( "bridgingConfig" ) );
   auto const counts = vlanOf( *config, config->hostKey( learnt.vlanId, learnt.mac ).fid );
   if ( counts != learnt.vlanId.value() ) {
      return Reason{
         words + ", but in VLAN " + std::to_string( counts ) + ", which has the same fid",
         Catalog::pathOf( "bridgingConfig" ) };
   }
   return atPlace( em, words, vlan, row.intf, table );
}

/** Nothing when the peer says nothing of the host. */
std::optional< Reason > peerReason( Corestore::EntityManager const & em, MacVlanPair const & asked,
                                    VlanId vlan ) {
   char const * const table = Catalog::pathOf( "mlagHostTable" );
   Mlag::HostEntryKey const key{ asked.vlanId, asked.mac };
   auto const peer = em.entity< Mlag::HostTable >( table );
   if ( !peer->hostEntryHas( key ) ) {
      return std::nullopt;
   }
   Mlag::HostEntry const entry = peer->hostEntry( key );
   if ( entry.unusable ) {
      return Reason{ "known to the peer by an entry that says no place", table };
   }
   Wirekit::IntfId const intf( entry.intf.view() );
   std::string const words = "known to the peer on " + intf.shortName();
   if ( QorClient::isVti( entry.intf ) ) {
      return Reason{ words + ", behind the tunnel", table };
   }
   // The agent leaves what the peer reports there before it looks at the VLAN.
   if ( intf == em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) )
                   ->cachedPeerLinkIntfId() ) {
      return Reason{ words + ", the peer link", table };
   }
   return atPlace( em, words, vlan, intf, table );
}

}  // namespace

Kel::Ptr< Qor::V1::QorPolicyFragment const > policyOf( Corestore::EntityManager const & em ) {
   return Kel::ptrCast< Qor::V1::QorPolicyFragment const >(
      em.entity< Kel::Dir >( Catalog::pathOf( "polFragDir" ) )->entity( "policy" ) );
}

std::optional< VlanId > tunnelVlan( Corestore::EntityManager const & em, std::uint32_t vni ) {
   auto const tunnels = em.entity< Vxlan::VtiStatusDir >( Catalog::pathOf( "vtiStatusDir" ) );
   for ( auto const & tunnel : tunnels->vtiStatus() ) {
      for ( auto const & carried : tunnel.value->vlanToVniMap() ) {
         if ( carried.value.vni.value() == vni ) {
            return carried.key;
         }
      }
   }
   return std::nullopt;
}

std::map< std::uint32_t, VlanId > tunnelVlans( Corestore::EntityManager const & em ) {
   std::map< std::uint32_t, VlanId > vlans;
   auto const tunnels = em.entity< Vxlan::VtiStatusDir >( Catalog::pathOf( "vtiStatusDir" ) );
   for ( auto const & tunnel : tunnels->vtiStatus() ) {
      for ( auto const & carried : tunnel.value->vlanToVniMap() ) {
         vlans.emplace( carried.value.vni.value(), carried.key );
      }
   }
   return vlans;
}

Slab::Bridging::SlabFdbStatus learntRow( Corestore::EntityManager const & em,
                                         MacVlanPair const & host ) {
   return QorClient::DatapathV1::getHostFdbStatus(
      host, em.entity< Bridging::Config >( Catalog::pathOf( "bridgingConfig" ) ),
      em.entity< Slab::Bridging::Status >( Catalog::pathOf( "slabBridgingStatus" ) ) );
}

ServiceVlans serviceVlans( Corestore::EntityManager const & em ) {
   using QorClientUtils::convertVniToVniExt;
   ServiceVlans vlans;
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   if ( auto const policy = policyOf( em ) ) {
      for ( auto const & fragment : policy->policyFragment() ) {
         auto const from = convertVniToVniExt( fragment.value->originalVni() );
         auto const to = convertVniToVniExt( fragment.value->serviceVni() );
         if ( agent->vlanForVniHas( from ) && agent->vlanForVniHas( to ) ) {
            vlans.emplace( agent->vlanForVni( from ), agent->vlanForVni( to ) );
         }
      }
   }
   return vlans;
}

Reason whyNotKnown( Corestore::EntityManager const & em, MacVlanPair const & host ) {
   return whyNotKnown( em, serviceVlans( em ), host );
}

Reason whyNotKnown( Corestore::EntityManager const & em, ServiceVlans const & services,
                    MacVlanPair const & host ) {
   std::optional< Reason > reason = learntReason( em, host, host.vlanId );
   auto const service = services.find( host.vlanId );
   if ( !reason && service != services.end() ) {
      MacVlanPair const there{ host.mac, service->second };
      reason = learntReason( em, there, host.vlanId );
      if ( !reason ) {
         reason = peerReason( em, there, host.vlanId );
      }
   }
   if ( !reason ) {
      reason = Reason{ "not learnt", Catalog::pathOf( "slabBridgingStatus" ) };
   }
   if ( em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) )->resyncInProgress() ) {
      reason->words += " (resync in progress)";
   }
   return *reason;
}

std::string fragmentOfSharedRule( QorClient::Status const & agent, Kel::Name const & rule ) {
   static std::string const ending =
      QorClient::DatapathV1::KelPolicyFragment::arpRuleName( "" ).stringValue();
   std::string name = rule.stringValue();
   if ( !name.ends_with( ending ) ) {
      return "";
   }
   name.resize( name.size() - ending.size() );
   return agent.platformFlowRefCountHas( name ) ? name : "";
}

std::string detailsOf( Corestore::EntityManager const & em, Kel::String const & fragment,
                       Kel::String const & flow, Kel::String const & reported ) {
   std::string details = reported.stringValue();
   if ( !details.ends_with( ": " ) ) {
      return details;
   }
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   auto const hardware = em.entity< OpenFlowTable::HwStatus >( Catalog::pathOf( "pfHwStatus" ) );
   auto const fragmentInfo = agent->policyFragmentInfo( fragment );
   auto const flowInfo = fragmentInfo ? fragmentInfo->flowInfo( flow ) : nullptr;
   std::set< std::string > reasons;
   if ( flowInfo ) {
      for ( auto const & rule : flowInfo->ruleInfo() ) {
         auto const answer = policyAnswer( *hardware, rule.value->ruleName() );
         if ( answer.kind == HardwareAnswer::Kind::rejected ) {
            reasons.insert( answer.reason );
         }
      }
   }
   return details +
          ( reasons.empty() ? "no reason is told" : joined( { reasons.begin(), reasons.end() } ) );
}

}  // namespace Views
