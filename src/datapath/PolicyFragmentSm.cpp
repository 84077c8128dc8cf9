#include "datapath/PolicyFragmentSm.h"

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
   KEL_TRACE_ENTRY();
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
   KEL_TRACE_RETURN();
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
   KEL_TRACE_ENTRY( " fragment: ", fragmentName );
   if ( auto fragment = polFragConfig()->policyFragment( fragmentName ) ) {
      policyFragmentIs( fragment );
   } else {
      deletePolicyFragment( fragmentName );
   }
   KEL_TRACE_RETURN();
}

void PolicyFragmentSm::deletePolicyFragment( Kel::String const & fragmentName ) {
   if ( auto gone = policyFragmentDel( fragmentName ) ) {
      gone->cleanup();
   }
}

void PolicyFragmentSm::doPrepareToDie() {
   KEL_TRACE_ENTRY();
   pfHwStatusSmDel();
   qorIntfConfigSmDelAll();
   // What the fragments have published must not outlive them.
   for ( auto const & [name, fragment] : policyFragment() ) {
      deletePolicyFragment( name );
   }
   // A fragment leaves its flows' own bindings behind, which hold VLANs on interfaces. With all of
   // them gone nothing needs a VLAN, and the VLAN helper is still there to take them off.
   agentStatus()->boundVniDelAll();
   KEL_TRACE_RETURN();
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
   KEL_TRACE_ENTRY( " vni: ", vni );
   if ( !initialized() ) {
      return;
   }
   if ( !policyFragmentForVniHas( vni ) ) {
      KEL_TRACE_INFO( "No policy fragment found for vni ", vni );
   } else if ( auto fragment = routedFragment( policyFragmentForVni( vni ) ) ) {
      fragment->handleVlanForVni( vni );
   }
   KEL_TRACE_RETURN();
}

void PolicyFragmentSm::handleVlanForVni() {
   for ( Vxlan::VniExtOrNone vni : agentStatus()->vlanForVniKeys() ) {
      handleVlanForVni( vni );
   }
}

void PolicyFragmentSm::handleWarmHost( Bridging::MacVlanPair const & host ) {
   KEL_TRACE_ENTRY( " host: ", host.mac, " vlan: ", host.vlanId );
   if ( !initialized() ) {
      return;
   }
   if ( !policyFragmentForHostHas( host ) ) {
      KEL_TRACE_INFO( "No policy fragment found for host ", host.mac, host.vlanId );
   } else if ( auto fragment = routedFragment( policyFragmentForHost( host ) ) ) {
      fragment->handleWarmHost( host );
   }
   KEL_TRACE_RETURN();
}

void PolicyFragmentSm::handleWarmHost() {
   for ( Bridging::MacVlanPair const & host : agentStatus()->warmHostKeys() ) {
      handleWarmHost( host );
   }
}

void PolicyFragmentSm::handleWarmHostRefCount( Wirekit::IntfId intfId ) {
   KEL_TRACE_INFO( intfId, " on ", " : ", agentStatus()->warmHostRefCount( intfId ) );
   handleSwitchIntfConfig( intfId );
}

void PolicyFragmentSm::handleSwitchIntfConfig( Wirekit::IntfId intfId ) {
   KEL_TRACE_ENTRY( " intfId: ", intfId );
   if ( !initialized() ) {
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
   KEL_TRACE_RETURN();
}

void PolicyFragmentSm::handleSwitchIntfConfig() {
   for ( Wirekit::IntfId intfId : switchIntfConfigDir()->switchIntfConfigKeys() ) {
      handleSwitchIntfConfig( intfId );
   }
}

void PolicyFragmentSm::handleRuleState( Kel::String const & ruleName ) {
   KEL_TRACE_INFO( ruleName, " on ", " : ", agentStatus()->ruleStateForRuleName( ruleName ) );
}

void PolicyFragmentSm::addServiceVlanToOriginalVlan( Vxlan::VniExtOrNone serviceVni,
                                                     Vxlan::VniExtOrNone originalVni ) {
   KEL_TRACE_ENTRY( " serviceVni: ", serviceVni, " originalVni: ", originalVni );
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
   KEL_TRACE_RETURN();
}

void PolicyFragmentSm::removeServiceVlanToOriginalVlan( Vxlan::VniExtOrNone serviceVni ) {
   KEL_TRACE_ENTRY( " serviceVni: ", serviceVni );
   if ( shadowServiceVniToVlanHas( serviceVni ) ) {
      Bridging::VlanId const vlan = shadowServiceVniToVlan( serviceVni );
      KEL_TRACE_INFO( "Removing serviceVlan: ", vlan );
      localData()->serviceToOriginalVlanDel( vlan );
      shadowServiceVniToVlanDel( serviceVni );
   }
   KEL_TRACE_RETURN();
}

}  // namespace QorClient::DatapathV1
