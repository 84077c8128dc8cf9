// Service flows: one rule per member of the flow's set of service interfaces.

#include <array>

#include "platform/flashlog/DualLog.h"
#include "qorclient/datapath/KelPolicyFragment.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

namespace QorClient::DatapathV1 {

using Qor::V1::InterceptPoint;

namespace {

/** An interface's name as a set has it: asked for again with each rule, of a switch's few
 * interfaces. It stays until the next call. */
Kel::String const & nameOf( Wirekit::IntfId intf ) {
   struct Known {
      Wirekit::IntfId intf;
      Kel::String name;
   };
   // Never destroyed: the C library ends a process that has no memory to note a thread's object.
   thread_local auto & recent = *new std::array< Known, 64 >;
   Known & known = recent[intf.hash() % recent.size()];
   if ( known.intf != intf ) {
      known = { intf, intf.name() };
   }
   return known.name;
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
      for ( QorClient::RuleKey const & ruleKey : info->ruleInfoKeys() ) {
         Wirekit::IntfId const intf = ruleKey.*side;
         if ( intf && !intfSet->intfHas( nameOf( intf ) ) ) {
            revokePublishedFlowRule( flow, ruleKey );
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
