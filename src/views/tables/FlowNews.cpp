#include "views/tables/FlowNews.h"

#include "platform/kel/Dir.h"
#include "qorclient/agent/Status.h"
#include "records/catalog/Catalog.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/qorl3/FragmentStatus.h"
#include "views/tables/Places.h"

namespace Views {

namespace {

void countRules( Corestore::EntityManager const & em, std::string const & fragment,
                 std::string const & flow, FlowNews & news ) {
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   auto const hardware = em.entity< OpenFlowTable::HwStatus >( Catalog::pathOf( "pfHwStatus" ) );
   auto const fragmentInfo = agent->policyFragmentInfo( fragment );
   auto const flowInfo = fragmentInfo ? fragmentInfo->flowInfo( flow ) : nullptr;
   if ( !flowInfo ) {
      return;
   }
   for ( auto const & rule : flowInfo->ruleInfo() ) {
      if ( rule.value->published() ) {
         ++news.rules;
         auto const answer = hardware->flowStats( rule.value->ruleName() );
         news.programmed += answer && answer->status() == OpenFlowTable::FlowStatus::active;
      }
   }
}

}  // namespace

std::optional< FlowNews > policyFlowNews( Corestore::EntityManager const & em,
                                          std::string const & fragment, std::string const & flow ) {
   auto const policy =
      em.entity< Qor::V1::QorPolicyFragmentStatus >( Catalog::pathOf( "polFragStatus" ) );
   auto const reported = policy->policyFragment( fragment );
   if ( !reported || !reported->flowStatusHas( flow ) ) {
      return std::nullopt;
   }
   auto const status = reported->flowStatus( flow );
   FlowNews news{ stateWord( status.flowState ),
                  detailsOf( em, fragment, flow, status.flowStateDetails ) };
   countRules( em, fragment, flow, news );
   return news;
}

std::optional< FlowNews > routedFlowNews( Corestore::EntityManager const & em,
                                          std::string const & vrf, std::string const & flow ) {
   auto const dir = em.entity< Kel::Dir >( Catalog::pathOf( "fragmentStatusDir" ) );
   auto const fragment = Kel::ptrCast< QorL3::V1::FragmentStatus const >( dir->entity( vrf ) );
   if ( fragment ) {
      for ( auto const & group : fragment->flowGroup() ) {
         if ( group.value->flowHas( flow ) ) {
            auto const status = group.value->flow( flow );
            FlowNews news{ stateWord( status.state ), status.detail.stringValue() };
            if ( status.state == QorL3::V1::State::error && news.details.empty() ) {
               news.details =
                  routedAnswer(
                     *em.entity< OpenFlowTable::HwStatus >( Catalog::pathOf( "pfHwStatusL3" ) ),
                     flow )
                     .reason;
            }
            return news;
         }
      }
   }
   return std::nullopt;
}

RuleNews ruleNews( Corestore::EntityManager const & em, std::string const & rule ) {
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   RuleNews news;
   if ( agent->flowNameForRuleNameHas( rule ) ) {
      news.fragment = agent->fragmentNameForRuleName( rule ).stringValue();
      news.flow = agent->flowNameForRuleName( rule ).stringValue();
   } else {
      news.fragment = fragmentOfSharedRule( *agent, rule );
   }
   news.answer = policyAnswer(
      *em.entity< OpenFlowTable::HwStatus >( Catalog::pathOf( "pfHwStatus" ) ), rule );
   return news;
}

}  // namespace Views
