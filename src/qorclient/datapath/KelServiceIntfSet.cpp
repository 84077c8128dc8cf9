#include "qorclient/datapath/KelServiceIntfSet.h"

#include "platform/flashlog/DualLog.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/datapath/KelPolicyFragment.h"
#include "qorclient/datapath/PolicyFragmentSm.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

KEL_MACHINE_TYPE( QorClient::DatapathV1::KelServiceIntfSet )

using QorClientUtils::convertVniToVniExt;

namespace QorClient::DatapathV1 {

Vxlan::VniExtOrNone KelServiceIntfSet::vniToBind() const {
   Vxlan::VniExtOrNone vni;
   if ( name() == "far" ) {
      vni = convertVniToVniExt( parent()->policyFragment()->originalVni() );
   } else if ( name() == "near" ) {
      vni = convertVniToVniExt( parent()->policyFragment()->serviceVni() );
   }
   KEL_TRACE_INFO( "relevant vni is ", vni );
   return vni;
}

void KelServiceIntfSet::handleInitialized() {
   KEL_TRACE_SCOPE( " set: ", name() );
   initializedIs( parent()->initialized() && !vniToBind().isNone() );
   if ( initialized() ) {
      parent()->fragInfo()->serviceIntfSetInfoIs( name() );
      parent()->createServiceIntfMacSm( name() );
      handleIntf();
   }
}

void KelServiceIntfSet::handleIntf() {
   KEL_TRACE_SCOPE( " policyFragment:", parent()->fragmentName(), " intfType:", name() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   bool changed = removeStaleBindings();
   for ( Kel::String const & intfName : serviceIntfSet()->intfKeys() ) {
      changed = updateVniIntf( intfName ) || changed;
   }
   if ( changed ) {
      KEL_TRACE_INFO( "At least one intf is updated" );
      parent()->updateFlowStateAll( Qor::FlowState::flowInitial );
      reinstallServiceFlowsForThisIntfSet();
   }
   parent()->updateServiceIntfMacSm( name() );
}

bool KelServiceIntfSet::removeStaleBindings() {
   auto const fragment =
      parent()->parent()->polFragConfig()->policyFragment( parent()->fragmentName() );
   auto const set = fragment ? fragment->serviceIntfSet( name() ) : nullptr;
   auto const info = parent()->fragInfo()->serviceIntfSetInfo( name() );
   bool changed = false;
   for ( auto const & vip : info->boundVniKeys() ) {
      bool const member = set && set->intfHas( vip.intfId.stringValue() );
      if ( !member || vip.vni != vniToBind() ) {
         // Unlike an interface that updateVniIntf takes off, a stale one leaves the fragment's
         // count as it is: what it counted may have been bound in an earlier life.
         KEL_TRACE_INFO( "Removing VniExt binding for intf ", vip.intfId );
         parent()->agentStatus()->boundVniDel( vip );
         info->boundVniDel( vip );
         changed = true;
      }
   }
   return changed;
}

bool KelServiceIntfSet::updateVniIntf( Kel::String const & intfName ) {
   KEL_TRACE_SCOPE( " policyFragment:", parent()->fragmentName(), " intfType:", name(),
                    " intf: ", intfName );
   auto const info = parent()->fragInfo()->serviceIntfSetInfo( name() );
   bool changed = false;
   if ( serviceIntfSet()->intfHas( intfName ) ) {
      QorClient::VniAndIntfForPolicyFragment const vip{ vniToBind(), Wirekit::IntfId( intfName ),
                                                        parent()->fragmentName() };
      if ( !info->boundVni( vip ) ) {
         KEL_TRACE_INFO( "Adding VniExt binding for intf ", intfName );
         parent()->bindVni( vip );
         info->boundVniIs( vip, true );
         changed = true;
      }
   } else {
      KEL_TRACE_INFO( "Removing VniExt binding for intf ", intfName );
      for ( auto const & vip : info->boundVniKeys() ) {
         if ( vip.intfId == Wirekit::IntfId( intfName ) ) {
            parent()->unbindVni( vip );
            info->boundVniDel( vip );
            changed = true;
         }
      }
   }
   return changed;
}

void KelServiceIntfSet::reinstallServiceFlowsForThisIntfSet() {
   KEL_TRACE_SCOPE( " set: ", name() );
   if ( !initialized() ) {
      return;
   }
   auto const fragInfo = parent()->fragInfo();
   for ( Kel::String const & flowName : fragInfo->flowInfoKeys() ) {
      FlowHandle flow{ flowName, fragInfo };
      if ( parent()->configOf( flow ).serviceIntfKey == name() ) {
         parent()->installServiceFlow( flow );
      }
   }
}

void KelServiceIntfSet::cleanup() {
   KEL_TRACE_SCOPE( " set: ", name() );
   if ( !initialized() ) {
      return;
   }
   if ( auto const fragInfo = parent()->fragInfo() ) {
      if ( auto const info = fragInfo->serviceIntfSetInfo( name() ) ) {
         for ( auto const & vip : info->boundVniKeys() ) {
            parent()->unbindVni( vip );
         }
      }
      fragInfo->serviceIntfSetInfoDel( name() );
      for ( auto const & [flowName, flow] : fragInfo->flowInfo() ) {
         if ( flow->serviceIntfKey() == name() && parent()->isFlowPublished( flowName ) ) {
            parent()->revokePublishedFlow( flowName );
         }
      }
   }
   parent()->destroyServiceIntfMacSm( name() );
   initializedIs( false );
}

}  // namespace QorClient::DatapathV1
