#include "qorclient/agent/Status.h"
#include "records/catalog/Catalog.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "views/tables/Places.h"
#include "views/tables/Tables.h"
#include "views/tables/Words.h"

namespace Views {

namespace {

using Qor::V1::PolicyFlowStatus;

std::size_t publishedRules( QorClient::Status const & agent, Kel::String const & fragment,
                            Kel::String const & flow ) {
   auto const fragmentInfo = agent.policyFragmentInfo( fragment );
   auto const flowInfo = fragmentInfo ? fragmentInfo->flowInfo( flow ) : nullptr;
   std::size_t count = 0;
   if ( flowInfo ) {
      for ( auto const & rule : flowInfo->ruleInfo() ) {
         count += rule.value->published();
      }
   }
   return count;
}

class FlowRows {
 public:
   FlowRows( Corestore::EntityManager const & em, Choice const & choice )
      : em_( em ),
        agent_( em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) ) ),
        statuses_(
           em.entity< Qor::V1::QorPolicyFragmentStatus >( Catalog::pathOf( "polFragStatus" ) ) ),
        table_( { "FRAGMENT", "FLOW", "KIND", "STATE", "RULES", "DETAILS" }, choice ) {}

   void addConfigured( Qor::V1::ServicePolicyFragment const & fragment ) {
      auto const status = statuses_->policyFragment( fragment.name() );
      for ( auto const & flow : fragment.flow() ) {
         bool const reported = status && status->flowStatusHas( flow.key );
         add( fragment.name(), flow.key, kindWord( flow.value ),
              reported ? std::optional( status->flowStatus( flow.key ) ) : std::nullopt );
      }
   }

   /** Flows that are reported and have left the configuration. */
   void addOthers( Kel::Ptr< Qor::V1::QorPolicyFragment const > const & policy ) {
      for ( auto const & status : statuses_->policyFragment() ) {
         auto const fragment = policy ? policy->policyFragment( status.key ) : nullptr;
         for ( auto const & flow : status.value->flowStatus() ) {
            if ( !fragment || !fragment->flowHas( flow.key ) ) {
               add( status.key, flow.key, "not configured", flow.value );
            }
         }
      }
   }

   TextTable take() { return std::move( table_ ); }

 private:
   void add( Kel::String const & fragment, Kel::String const & flow, std::string const & kind,
             std::optional< PolicyFlowStatus > const & status ) {
      auto const state = [&] {
         return status ? stateWord( status->flowState ) : std::string( "not reported" );
      };
      table_.row( state, [&] {
         return cellsOf(
            fragment.stringValue(), flow.stringValue(), kind, state(),
            publishedRules( *agent_, fragment, flow ),
            status ? detailsOf( em_, fragment, flow, status->flowStateDetails ) : std::string() );
      } );
   }

   Corestore::EntityManager const & em_;
   Kel::Ptr< QorClient::Status const > agent_;
   Kel::Ptr< Qor::V1::QorPolicyFragmentStatus const > statuses_;
   TextTable table_;
};

}  // namespace

TextTable flowsTable( Corestore::EntityManager const & em, Choice const & choice ) {
   auto const policy = policyOf( em );
   FlowRows rows( em, choice );
   if ( policy ) {
      for ( auto const & fragment : policy->policyFragment() ) {
         rows.addConfigured( *fragment.value );
      }
   }
   rows.addOthers( policy );
   return rows.take();
}

}  // namespace Views
