#include "qorclient/l3/FlowGroupConfigSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientL3FragmentSm", "QorClientL3FragmentSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::FlowGroupConfigSm )

namespace QorClientL3::V1 {

void FlowGroupConfigSm::handleInitialized() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue() );
   initializedIs( true );
   handleFlow();
}

void FlowGroupConfigSm::handleFlow( Kel::String const & name ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue(), " Flow: ", name );
   QorL3::V1::FlowConfig const flowConfig = flowGroupConfig()->flow( name );
   if ( !flowConfig ) {
      KEL_TRACE_INFO( "Flow ", name, " has been removed" );
      uninstallFlow( name );
      return;
   }
   if ( !flowConfig.enabled ) {
      KEL_TRACE_INFO( "Flow ", name, " is not enabled" );
      uninstallFlow( name );
      return;
   }
   if ( pfHwConfig()->flowEntryHas( name ) &&
        isFlowConfigModified( flowConfig, pfHwConfig()->flowEntry( name ) ) ) {
      KEL_TRACE_INFO( "Flow ", name, " is modified" );
      uninstallFlow( name );
   }
   // An unchanged flow is written again, in place.
   installFlow( flowConfig );
}

void FlowGroupConfigSm::handleFlow() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue() );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( Kel::String const & name : flowGroupConfig()->flowKeys() ) {
      handleFlow( name );
      // Disabled ones too: they have no entry by now.
      cachedFlowConfig()->flowIs( name );
   }
}

void FlowGroupConfigSm::handleVlanToVniMap( Vxlan::VniExt vniExt ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( "VNI: ", vniExt );
   Vxlan::VniOrNone const vni( vniExt );
   bool const isMapped = vtepInfo()->vniToVlanMapHas( vniExt );
   if ( isMapped ) {
      KEL_TRACE_INFO( "VNI ", vni, " added" );
   } else {
      KEL_TRACE_INFO( "VNI ", vni, " removed" );
   }
   for ( auto const & [name, flowConfig] : flowGroupConfig()->flow() ) {
      if ( flowConfig.match.vni != vniExt ) {
         continue;
      }
      if ( !isMapped ) {
         uninstallFlow( name );
      } else if ( !pfHwConfig()->flowEntryHas( name ) ) {
         handleFlow( name );
      }
   }
}

void FlowGroupConfigSm::installFlow( QorL3::V1::FlowConfig const & flowConfig ) {
   KEL_TRACE_SCOPE( " Flow: ", flowConfig.name );
   KEL_TRACE_INFO( "Installing flow ", flowConfig.name );
   OpenFlowTable::Match const match = buildMatch( flowConfig.match, flowConfig.matchFieldSet );
   OpenFlowTable::Actions const actions =
      buildActions( flowConfig.action, flowConfig.actionFieldSet );
   OpenFlowTable::Priority const priority( static_cast< std::int32_t >( flowConfig.priority ) );
   if ( match == OpenFlowTable::Match{} ) {
      KEL_TRACE_INFO( "Could not create match for flow ", flowConfig.name );
      return;
   }
   if ( actions == OpenFlowTable::Actions{} ) {
      KEL_TRACE_INFO( "Could not create actions for flow ", flowConfig.name );
      return;
   }
   pfHwConfig()->flowEntryIs( flowConfig.name, match, actions, priority,
                              OpenFlowTable::PriorityGroupType::normal,
                              OpenFlowTable::TableType::lookup, 0, 0.0, 0.0, false );
}

void FlowGroupConfigSm::uninstallFlow( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " Flow: ", flowName );
   KEL_TRACE_INFO( "Removing flow ", flowName );
   pfHwConfig()->flowEntryDel( flowName );
}

void FlowGroupConfigSm::cleanup() {
   KEL_TRACE_SCOPE( "VRF: ", vrf(), " Order: ", order().stringValue() );
   for ( Kel::String const & name : flowGroupConfig()->flowKeys() ) {
      uninstallFlow( name );
   }
   initializedIs( false );
}

}  // namespace QorClientL3::V1
