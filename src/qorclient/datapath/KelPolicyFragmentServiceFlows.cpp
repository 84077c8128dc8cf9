// Service flows: one rule per member of the flow's set of service interfaces.

#include <algorithm>
#include <vector>

#include "platform/flashlog/DualLog.h"
#include "qorclient/datapath/KelPolicyFragment.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

namespace QorClient::DatapathV1 {

using Qor::V1::InterceptPoint;

namespace {

/** The members of a set as rules name them: to look each rule's interface up in the set itself
 * would make a text of it. */
std::vector< Wirekit::IntfId > membersOf( Qor::V1::ServiceIntfSet const & intfSet ) {
   std::vector< Wirekit::IntfId > members;
   members.reserve( intfSet.intfCount() );
   for ( Kel::String const & intfName : intfSet.intfKeys() ) {
      members.emplace_back( intfName );
   }
   return members;
}

}  // namespace

void KelPolicyFragment::installServiceFlow( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   if ( !initialized() || !isServiceFlow( readFlowInfo( flow ) ) ) {
      return;
   }
   InterceptPoint const interceptPoint = configOf( flow ).interceptPoint;
   auto const intfSet = policyFragment()->serviceIntfSet( configOf( flow ).serviceIntfKey );
   if ( !intfSet || !areVnisBound( flow ) || hasServiceFlowInterceptChanged( flow ) ) {
      removeServiceFlow( flow );
   }
   if ( intfSet ) {
      if ( interceptPoint == InterceptPoint::interceptIngress ) {
         installIngressServiceFlow( flow, intfSet );
      } else {
         installEgressServiceFlow( flow, intfSet );
      }
   }
}

void KelPolicyFragment::removeServiceFlow( FlowHandle & flow ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   if ( initialized() && isServiceFlow( readFlowInfo( flow ) ) && isFlowPublished( flow ) ) {
      revokePublishedFlow( flow );
   }
}

void KelPolicyFragment::installIngressServiceFlow(
   FlowHandle & flow, Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet ) {
   installServiceFlowOnSet( flow, intfSet, &QorClient::RuleKey::inIntf );
}

void KelPolicyFragment::installEgressServiceFlow(
   FlowHandle & flow, Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet ) {
   installServiceFlowOnSet( flow, intfSet, &QorClient::RuleKey::outIntf );
}

void KelPolicyFragment::installServiceFlowOnSet(
   FlowHandle & flow, Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet,
   Wirekit::IntfId QorClient::RuleKey::*side ) {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   if ( !initialized() ) {
      return;
   }
   lookAgain( flow );
   if ( auto const info = flow.info; info && info->ruleInfoCount() != 0 ) {
      std::vector< Wirekit::IntfId > members = membersOf( *intfSet );
      for ( QorClient::RuleKey const & ruleKey : info->ruleInfoKeys() ) {
         Wirekit::IntfId const intf = ruleKey.*side;
         if ( intf && std::ranges::find( members, intf ) == members.end() ) {
            revokePublishedFlowRule( flow, ruleKey );
            members = membersOf( *intfSet );
         }
      }
   }
   for ( Kel::String const & intfName : intfSet->intfKeys() ) {
      QorClient::RuleKey ruleKey;
      ruleKey.*side = Wirekit::IntfId( intfName );
      publishFlowRule( flow, ruleKey );
   }
}

bool KelPolicyFragment::hasServiceFlowInterceptChanged( FlowHandle const & flow ) const {
   KEL_TRACE_SCOPE( " flow: ", flow.name );
   if ( !flow.info ) {
      return false;
   }
   // The rules show where the flow was last installed, so no further memory is needed.
   bool const ingress = configOf( flow ).interceptPoint == InterceptPoint::interceptIngress;
   for ( QorClient::RuleKey const & ruleKey : flow.info->ruleInfoKeys() ) {
      if ( ingress ? bool( ruleKey.outIntf ) : bool( ruleKey.inIntf ) ) {
         KEL_TRACE_INFO( "Intercept point is changed" );
         KEL_TRACE_INFO( " returning true" );
         return true;
      }
   }
   KEL_TRACE_INFO( " returning false" );
   return false;
}

void KelPolicyFragment::installAllServiceFlows() {
   KEL_TRACE_SCOPE();
   if ( initialized() ) {
      forEachFlow( &KelPolicyFragment::isServiceFlow, &KelPolicyFragment::installServiceFlow );
   }
}

}  // namespace QorClient::DatapathV1
