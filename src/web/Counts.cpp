#include "web/Counts.h"

#include <set>

#include "platform/kel/Dir.h"
#include "qorclient/agent/Status.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/catalog/Catalog.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/qorl3/FragmentStatus.h"
#include "views/tables/Places.h"
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
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   for ( auto const & host : agent->boundHost() ) {
      ++( agent->warmHostHas( host.key ) ? hostsKnown : hostsWaiting );
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
