#include "web/Counts.h"

#include <set>

#include "platform/kel/Dir.h"
#include "qorclient/agent/Status.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "qorclient/l3/TrafficStreamState.h"
#include "records/catalog/Catalog.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/qorl3/FragmentConfig.h"
#include "records/qorl3/FragmentStatus.h"
#include "views/tables/Places.h"
#include "views/tables/UnplacedHosts.h"
#include "views/tables/Words.h"

namespace Web {

namespace {

template < class Answer >
void countRefused( std::map< std::string, std::uint64_t > & refused,
                   OpenFlowTable::HwStatus const & answers, Answer const & answerOf ) {
   for ( auto const & row : answers.flowStats() ) {
      if ( row.value->status() == OpenFlowTable::FlowStatus::active ) {
         continue;
      }
      auto const answer = answerOf( answers, row.key );
      if ( answer.kind == Views::HardwareAnswer::Kind::rejected ) {
         ++refused[answer.reason.empty() ? answer.words : answer.reason];
      }
   }
}

/** Groups and end points; their numbers are others than those of rules. */
void countRefusedStreams( std::map< std::string, std::uint64_t > & refused,
                          OpenFlowTable::HwStatus const & answers ) {
   using namespace QorClientL3::V1;
   auto const count = [&]( char const * what, OpenFlowTable::TrafficStreamStatus status ) {
      if ( !isTrafficStreamActive( status ) && !isTrafficStreamPending( status ) ) {
         ++refused[std::string( what ) +
                   ( isTrafficStreamError( status ) ? " refused by the platform ("
                                                    : " unknown (" ) +
                   std::to_string( static_cast< std::uint32_t >( status ) ) + ")"];
      }
   };
   for ( auto const & group : answers.trafficGroupStatus() ) {
      count( "group", group.value->status() );
   }
   for ( auto const & endPoint : answers.trafficEndPointStatus() ) {
      count( "end point", endPoint.value->status() );
   }
}

/** Routed flows of which nobody has said anything. */
void countUnreported( Corestore::EntityManager const & em,
                      std::map< std::string, std::uint64_t > & flows ) {
   auto const reported = em.entity< Kel::Dir >( Catalog::pathOf( "fragmentStatusDir" ) );
   for ( auto const & vrf :
         em.entity< Kel::Dir >( Catalog::pathOf( "fragmentConfigDir" ) )->entity() ) {
      auto const config = Kel::ptrCast< QorL3::V1::FragmentConfig >( vrf.value );
      auto const status =
         Kel::ptrCast< QorL3::V1::FragmentStatus const >( reported->entity( vrf.key ) );
      for ( auto const & group : config->flowGroup() ) {
         auto const known = status ? status->flowGroup( group.key ) : nullptr;
         for ( auto const & flow : group.value->flow() ) {
            if ( !known || !known->flowHas( flow.key ) ) {
               ++flows["not reported"];
            }
         }
      }
   }
}

}  // namespace

Counts::Counts( Corestore::EntityManager const & em ) {
   auto const statuses =
      em.entity< Qor::V1::QorPolicyFragmentStatus >( Catalog::pathOf( "polFragStatus" ) );
   for ( auto const & fragment : statuses->policyFragment() ) {
      for ( auto const & flow : fragment.value->flowStatus() ) {
         ++flows[Views::stateWord( flow.value.flowState )];
      }
   }
   if ( auto const policy = Views::policyOf( em ) ) {
      for ( auto const & fragment : policy->policyFragment() ) {
         auto const status = statuses->policyFragment( fragment.key );
         for ( auto const & flow : fragment.value->flow() ) {
            if ( !status || !status->flowStatusHas( flow.key ) ) {
               ++flows["not reported"];
            }
         }
      }
   }
   for ( auto const & vrf :
         em.entity< Kel::Dir >( Catalog::pathOf( "fragmentStatusDir" ) )->entity() ) {
      auto const fragment = Kel::ptrCast< QorL3::V1::FragmentStatus >( vrf.value );
      for ( auto const & group : fragment->flowGroup() ) {
         for ( auto const & flow : group.value->flow() ) {
            ++routedFlows[Views::stateWord( flow.value.state )];
         }
      }
   }
   countUnreported( em, routedFlows );
   auto const rulesAt = [&em]( char const * input ) {
      return em.entity< OpenFlowTable::PinFlowHwConfig >( Catalog::pathOf( input ) )
         ->flowEntryCount();
   };
   rules = rulesAt( "pfHwConfig" );
   routedRules = rulesAt( "pfHwConfigL3" );
   countRefused( refused, *em.entity< OpenFlowTable::HwStatus >( Catalog::pathOf( "pfHwStatus" ) ),
                 Views::policyAnswer );
   countRefused( refused,
                 *em.entity< OpenFlowTable::HwStatus >( Catalog::pathOf( "pfHwStatusL3" ) ),
                 Views::routedAnswer );
   countRefusedStreams(
      refused, *em.entity< OpenFlowTable::HwStatus >( Catalog::pathOf( "pfHwStatusL3" ) ) );
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   for ( auto const & host : agent->boundHost() ) {
      ++( agent->warmHostHas( host.key ) ? hostsKnown : hostsWaiting );
   }
   for ( auto const & [host, flowsOfHost] : Views::unplacedHosts( em, *agent ) ) {
      // Those without a VNI are rejected.
      hostsWaiting += !host.second.isNone();
   }
   std::set< std::uint32_t > waiting;
   for ( auto const & binding : agent->boundVni() ) {
      if ( !agent->vlanForVniHas( binding.key.vni ) ) {
         waiting.insert( binding.key.vni.value() );
      }
   }
   vnisWaiting = waiting.size();
   active = agent->active();
}

}  // namespace Web
