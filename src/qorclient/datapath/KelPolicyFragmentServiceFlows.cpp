// Service flows: one rule per member of the flow's set of service interfaces.

#include "platform/flashlog/DualLog.h"
#include "qorclient/datapath/KelPolicyFragment.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

namespace QorClient::DatapathV1 {

using Qor::V1::InterceptPoint;

void KelPolicyFragment::installServiceFlow( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !initialized() || !isServiceFlow( flowName ) ) {
      return;
   }
   Qor::V1::PolicyFlowInfo const flowConfig = policyFragment()->flow( flowName );
   auto const intfSet = policyFragment()->serviceIntfSet( flowConfig.serviceIntfKey );
   if ( !intfSet || !areVnisBound( flowName ) || hasServiceFlowInterceptChanged( flowName ) ) {
      removeServiceFlow( flowName );
   }
   if ( intfSet ) {
      if ( flowConfig.interceptPoint == InterceptPoint::interceptIngress ) {
         installIngressServiceFlow( flowName, intfSet );
      } else {
         installEgressServiceFlow( flowName, intfSet );
      }
   }
}

void KelPolicyFragment::removeServiceFlow( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( initialized() && isServiceFlow( flowName ) && isFlowPublished( flowName ) ) {
      revokePublishedFlow( flowName );
   }
}

void KelPolicyFragment::installIngressServiceFlow(
   Kel::String const & flowName, Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet ) {
   installServiceFlowOnSet( flowName, intfSet, &QorClient::RuleKey::inIntf );
}

void KelPolicyFragment::installEgressServiceFlow(
   Kel::String const & flowName, Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet ) {
   installServiceFlowOnSet( flowName, intfSet, &QorClient::RuleKey::outIntf );
}

void KelPolicyFragment::installServiceFlowOnSet(
   Kel::String const & flowName, Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet,
   Wirekit::IntfId QorClient::RuleKey::*side ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !initialized() ) {
      return;
   }
   if ( auto info = flowInfo( flowName ) ) {
      for ( QorClient::RuleKey const & ruleKey : info->ruleInfoKeys() ) {
         Wirekit::IntfId const intf = ruleKey.*side;
         if ( intf && !intfSet->intfHas( intf.name() ) ) {
            revokePublishedFlowRule( flowName, ruleKey );
         }
      }
   }
   for ( Kel::String const & intfName : intfSet->intfKeys() ) {
      QorClient::RuleKey ruleKey;
      ruleKey.*side = Wirekit::IntfId( intfName );
      publishFlowRule( flowName, ruleKey );
   }
}

bool KelPolicyFragment::hasServiceFlowInterceptChanged( Kel::String const & flowName ) const {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   auto info = flowInfo( flowName );
   if ( !info ) {
      return false;
   }
   // The rules show where the flow was last installed, so no further memory is needed.
   bool const ingress =
      policyFragment()->flow( flowName ).interceptPoint == InterceptPoint::interceptIngress;
   for ( QorClient::RuleKey const & ruleKey : info->ruleInfoKeys() ) {
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
