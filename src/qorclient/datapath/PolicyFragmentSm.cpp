#include "qorclient/datapath/PolicyFragmentSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

KEL_MACHINE_TYPE( QorClient::DatapathV1::PolicyFragmentSm )

namespace QorClient::DatapathV1 {

void PolicyFragmentSm::createNestedReactors() {
   for ( auto const & [name, fragment] : polFragConfig()->policyFragment() ) {
      policyFragmentIs( fragment );
   }
}

void PolicyFragmentSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   deleteStaleStatus();
   deleteStaleBindings();
   for ( auto const & [name, fragment] : policyFragment() ) {
      fragment->handleInitialized();
   }
   pfHwStatusSmIs( pfHwStatus(), agentStatus(), polFragStatus(), this );
   handleVlanForVni();
   handleWarmHost();
   handleSwitchIntfConfig();
   deleteStaleL2RibHosts();
}

void PolicyFragmentSm::deleteStaleL2RibHosts() {
   for ( auto const & [key, host] : l2RibQorHostInput()->host() ) {
      if ( !isL2RibHostWanted( host ) ) {
         KEL_TRACE_INFO( "Deleting stale host: ", key.mac, " on vlan ", key.vlanId );
         l2RibQorHostInput()->hostDel( key );
      }
   }
}

bool PolicyFragmentSm::isL2RibHostWanted( L2Rib::Host const & host ) const {
   if ( host.key.mac == fhrpGlideMacStatus()->virtualRouterMac() &&
        localData()->serviceToOriginalVlanHas( host.key.vlanId ) ) {
      return true;
   }
   if ( !policyFragmentForHostHas( host.key ) ) {
      return false;
   }
   auto const fragment = kelPolicyFragment( policyFragmentForHost( host.key ) );
   auto const far = fragment ? fragment->farIntfNimbusHostMacSm() : nullptr;
   return far && far->interceptedHostHas( host.key ) && host.ciDest.intfId == far->intfId();
}

void PolicyFragmentSm::deleteStaleStatus() {
   for ( Kel::String const & name : polFragStatus()->policyFragmentKeys() ) {
      if ( !polFragConfig()->policyFragmentHas( name ) ) {
         polFragStatus()->policyFragmentDel( name );
      }
   }
}

void PolicyFragmentSm::deleteStaleBindings() {
   for ( auto const & key : agentStatus()->boundVniKeys() ) {
      if ( !polFragConfig()->policyFragmentHas( key.fragmentName ) ) {
         agentStatus()->boundVniDel( key );
      }
   }
}

void PolicyFragmentSm::handlePolicyFragment( Kel::String const & fragmentName ) {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName );
   if ( auto fragment = polFragConfig()->policyFragment( fragmentName ) ) {
      policyFragmentIs( fragment );
   } else {
      deletePolicyFragment( fragmentName );
   }
}

void PolicyFragmentSm::deletePolicyFragment( Kel::String const & fragmentName ) {
   if ( auto gone = policyFragmentDel( fragmentName ) ) {
      gone->cleanup();
   }
}

void PolicyFragmentSm::doPrepareToDie() {
   KEL_TRACE_SCOPE();
   pfHwStatusSmDel();
   qorIntfConfigSmDelAll();
   // What the fragments have published must not outlive them.
   for ( auto const & [name, fragment] : policyFragment() ) {
      deletePolicyFragment( name );
   }
   // A fragment leaves its flows' own bindings behind, which hold VLANs on interfaces. With all of
   // them gone nothing needs a VLAN, and the VLAN helper is still there to take them off.
   agentStatus()->boundVniDelAll();
}

Kel::Ptr< KelPolicyFragment > PolicyFragmentSm::routedFragment(
   Kel::String const & fragmentName ) const {
   auto fragment = kelPolicyFragment( fragmentName );
   if ( !fragment ) {
      KEL_TRACE_INFO( "Could not find sm for fragment ", fragmentName );
   }
   return fragment;
}

void PolicyFragmentSm::handleVlanForVni( Vxlan::VniExtOrNone vni ) {
   KEL_TRACE_SCOPE( " vni: ", vni );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   if ( !policyFragmentForVniHas( vni ) ) {
      KEL_TRACE_INFO( "No policy fragment found for vni ", vni );
   } else if ( auto fragment = routedFragment( policyFragmentForVni( vni ) ) ) {
      fragment->handleVlanForVni( vni );
   }
}

void PolicyFragmentSm::handleVlanForVni() {
   KEL_TRACE_SCOPE();
   for ( Vxlan::VniExtOrNone vni : agentStatus()->vlanForVniKeys() ) {
      handleVlanForVni( vni );
   }
}

void PolicyFragmentSm::handleWarmHost( Bridging::MacVlanPair const & host ) {
   KEL_TRACE_SCOPE( " host: ", host.mac, " vlan: ", host.vlanId );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   if ( !policyFragmentForHostHas( host ) ) {
      KEL_TRACE_INFO( "No policy fragment found for host ", host.mac, host.vlanId );
   } else if ( auto fragment = routedFragment( policyFragmentForHost( host ) ) ) {
      fragment->handleWarmHost( host );
   }
}

void PolicyFragmentSm::handleWarmHost() {
   KEL_TRACE_SCOPE();
   for ( Bridging::MacVlanPair const & host : agentStatus()->warmHostKeys() ) {
      handleWarmHost( host );
   }
}

void PolicyFragmentSm::handleWarmHostRefCount( Wirekit::IntfId intfId ) {
   KEL_TRACE_SCOPE( " intfId: ", intfId );
   KEL_TRACE_INFO( intfId, " on ", " : ", agentStatus()->warmHostRefCount( intfId ) );
   handleSwitchIntfConfig( intfId );
}

void PolicyFragmentSm::handleSwitchIntfConfig( Wirekit::IntfId intfId ) {
   KEL_TRACE_SCOPE( " intfId: ", intfId );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   auto const intfConfig = switchIntfConfigDir()->switchIntfConfig( intfId );
   if ( intfConfig && agentStatus()->warmHostRefCount( intfId ) != 0 ) {
      KEL_TRACE_INFO( "Creating qorIntfConfigSm for interface: ", intfId );
      qorIntfConfigSmIs( intfId, intfConfig, polFragConfig(), agentStatus(), this );
   } else {
      KEL_TRACE_INFO( "Deleting qorIntfConfigSm for interface: ", intfId );
      qorIntfConfigSmDel( intfId );
   }
}

void PolicyFragmentSm::handleSwitchIntfConfig() {
   KEL_TRACE_SCOPE();
   for ( Wirekit::IntfId intfId : switchIntfConfigDir()->switchIntfConfigKeys() ) {
      handleSwitchIntfConfig( intfId );
   }
}

void PolicyFragmentSm::handleRuleState( Kel::String const & ruleName ) {
   KEL_TRACE_SCOPE( " rule: ", ruleName );
   KEL_TRACE_INFO( ruleName, " on ", " : ", agentStatus()->ruleStateForRuleName( ruleName ) );
}

void PolicyFragmentSm::addServiceVlanToOriginalVlan( Vxlan::VniExtOrNone serviceVni,
                                                     Vxlan::VniExtOrNone originalVni ) {
   KEL_TRACE_SCOPE( " serviceVni: ", serviceVni, " originalVni: ", originalVni );
   if ( !agentStatus()->vlanForVniHas( serviceVni ) ||
        !agentStatus()->vlanForVniHas( originalVni ) ) {
      return;
   }
   Bridging::VlanId const serviceVlan = agentStatus()->vlanForVni( serviceVni );
   Bridging::VlanId const originalVlan = agentStatus()->vlanForVni( originalVni );
   if ( shadowServiceVniToVlanHas( serviceVni ) &&
        shadowServiceVniToVlan( serviceVni ) != serviceVlan ) {
      KEL_TRACE_INFO( "Service Vlan changed",
                      " old service vlan: ", shadowServiceVniToVlan( serviceVni ),
                      " new service vlan: ", serviceVlan );
      removeServiceVlanToOriginalVlan( serviceVni );
   }
   KEL_TRACE_INFO( "Adding serviceVlan: ", serviceVlan, " to originalVlan: ", originalVlan );
   localData()->serviceToOriginalVlanIs( serviceVlan, originalVlan );
   shadowServiceVniToVlanIs( serviceVni, serviceVlan );
}

void PolicyFragmentSm::removeServiceVlanToOriginalVlan( Vxlan::VniExtOrNone serviceVni ) {
   KEL_TRACE_SCOPE( " serviceVni: ", serviceVni );
   if ( shadowServiceVniToVlanHas( serviceVni ) ) {
      Bridging::VlanId const vlan = shadowServiceVniToVlan( serviceVni );
      KEL_TRACE_INFO( "Removing serviceVlan: ", vlan );
      localData()->serviceToOriginalVlanDel( vlan );
      shadowServiceVniToVlanDel( serviceVni );
   }
}

}  // namespace QorClient::DatapathV1
