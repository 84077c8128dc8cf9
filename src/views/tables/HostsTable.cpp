#include <map>

#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/agent/Status.h"
#include "records/catalog/Catalog.h"
#include "views/tables/Places.h"
#include "views/tables/Tables.h"
#include "views/tables/Words.h"

namespace Views {

namespace {

using Bridging::MacVlanPair;
using Flows = std::vector< std::string >;

/** The hosts in a known VLAN, each with the flows that intercept it. */
std::map< MacVlanPair, Flows > placedHosts( QorClient::Status const & agent ) {
   std::map< MacVlanPair, Flows > hosts;
   for ( auto const & fragment : agent.policyFragmentInfo() ) {
      for ( auto const & flow : fragment.value->flowInfo() ) {
         for ( auto const & host : flow.value->boundHost() ) {
            hosts[host.key].push_back( flowPath( fragment.key, flow.key ) );
         }
      }
   }
   for ( auto const & host : agent.boundHost() ) {
      hosts[host.key];
   }
   for ( auto const & host : agent.warmHost() ) {
      hosts[host.key];
   }
   return hosts;
}

bool isBound( QorClient::Status const & agent, Kel::String const & fragment,
              Kel::String const & flow ) {
   auto const fragmentInfo = agent.policyFragmentInfo( fragment );
   auto const flowInfo = fragmentInfo ? fragmentInfo->flowInfo( flow ) : nullptr;
   return flowInfo && flowInfo->boundHostCount() != 0;
}

/** The hosts of intercept flows that the agent doesn't look for yet, each with its VNI. */
std::map< std::pair< Wirekit::EthAddr, Vxlan::VniOrNone >, Flows > unplacedHosts(
   Corestore::EntityManager const & em, QorClient::Status const & agent ) {
   std::map< std::pair< Wirekit::EthAddr, Vxlan::VniOrNone >, Flows > hosts;
   if ( auto const policy = policyOf( em ) ) {
      for ( auto const & fragment : policy->policyFragment() ) {
         for ( auto const & flow : fragment.value->flow() ) {
            if ( flow.value.serviceIntfKey.empty() &&
                 flow.value.interceptPoint == Qor::V1::InterceptPoint::interceptIngress &&
                 !isBound( agent, fragment.key, flow.key ) ) {
               hosts[{ flow.value.match.srcMac, flow.value.match.vni }].push_back(
                  flowPath( fragment.key, flow.key ) );
            }
         }
      }
   }
   return hosts;
}

std::string whyUnplaced( QorClient::Status const & agent, Vxlan::VniOrNone vni ) {
   if ( vni.isNone() ) {
      return "rejected: no match VNI";
   }
   if ( !agent.active() ) {
      return "waiting: the agent is not active";
   }
   std::string const words = "VNI " + std::to_string( vni.value() );
   auto const key = QorClientUtils::convertVniToVniExt( vni );
   return agent.vlanForVniHas( key )
             ? "waiting: not looked for by the agent, though " + words + " is VLAN " +
                  std::to_string( agent.vlanForVni( key ).value() )
             : "waiting: " + words + " has no VLAN";
}

}  // namespace

TextTable hostsTable( Corestore::EntityManager const & em ) {
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   TextTable table( { "HOST", "VLAN", "FLOWS", "INTERFACE", "MOVES", "STATE" } );
   for ( auto const & [host, flows] : placedHosts( *agent ) ) {
      bool const warm = agent->warmHostHas( host );
      std::string const state = !warm ? "waiting: " + whyNotKnown( em, host ).words
                                : agent->boundHostHas( host ) ? "known"
                                                              : "known, no longer wanted";
      table.row( { host.mac.stringValue(), host.vlanId.value(), flows,
                   agent->warmHost( host ).shortName(), learntRow( em, host ).moveCount, state } );
   }
   for ( auto const & [host, flows] : unplacedHosts( em, *agent ) ) {
      auto const & [mac, vni] = host;
      table.row( { mac.stringValue(), Cell(), flows, Cell(), Cell(), whyUnplaced( *agent, vni ) } );
   }
   return table;
}

}  // namespace Views
