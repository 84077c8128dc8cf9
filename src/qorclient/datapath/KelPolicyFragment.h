#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/agent/Status.h"
#include "qorclient/datapath/FarIntfNimbusHostMacSm.h"
#include "qorclient/datapath/KelServiceIntfSet.h"
#include "qorclient/datapath/NearIntfGlideMacSm.h"
#include "qorclient/datapath/QorClientGrCookieSm.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/bridging/MacVlanPair.h"
#include "records/bridging/SwitchIntfConfig.h"
#include "records/qor/PolicyFragment.h"
#include "records/qor/PolicyFragmentStatus.h"

namespace QorClient::DatapathV1 {

class PolicyFragmentSm;

/**
 * The heart of the datapath: the reactor on one service policy fragment. It turns each flow of the
 * fragment into rules of the flow table and says in the fragment's status what became of it.
 *
 * A flow is one of three: a service flow (through a set of service interfaces), a host-intercept
 * flow (on the interface where its host is learnt) or a host-egress flow (on every interface that
 * carries an intercepted host). A changed flow is removed whole and read afresh, never patched.
 * What it must remember over a restart stands in `agentStatus`; it adopts what it finds there.
 *
 * Its source is one file a subject: this file's own (life, reconciliation), Rules, Publication,
 * ServiceFlows, HostFlows, VniBindings, MacInputs and FlowState.
 */
class KelPolicyFragment : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::DatapathV1::KelPolicyFragment )

   // Inputs.
   KEL_REACTOR( KelFragment, Qor::V1::ServicePolicyFragment const, policyFragment,
                KEL_ON( originalVni, handleOriginalVni ) KEL_ON( serviceVni, handleServiceVni )
                   KEL_ON( flow, handleFlow ) KEL_ON( serviceIntfSet, handleServiceIntfSet )
                      KEL_ON( grCookie, handleGrCookie ) )
   KEL_OWNER( PolicyFragmentSm, parent )

   // Own state.
   KEL_OWN( bool, initialized )
   /** The host-intercept flow of a host; lost with the process and filled again as flows are read.
    */
   KEL_OWN_MAP( Bridging::MacVlanPair, Kel::String, flowForHost )
   /** Flows whose host a start has entered in `flowForHost` without finding it bound. */
   KEL_OWN_SET( Kel::String, flowWithUnboundHost )
   /** The host-egress flows that were read: every move of a host concerns all of them. */
   KEL_OWN_SET( Kel::String, hostEgressFlow )
   /** Flows that are being forgotten: whatever their unbinding sets off must not bring them back.
    */
   KEL_OWN_SET( Kel::String, flowInCleanup )

   // Children.
   KEL_CHILD( NearIntfGlideMacSm, nearIntfGlideMacSm )
   KEL_CHILD( FarIntfNimbusHostMacSm, farIntfNimbusHostMacSm )
   using KelServiceIntfSet = DatapathV1::KelServiceIntfSet;
   KEL_NESTED( Kel::Name, KelServiceIntfSet, serviceIntfSet )
   KEL_CHILD( PolicyGrCookieSm, policyGrCookieSm )

   static Kel::String keyOf( Kel::Ptr< Qor::V1::ServicePolicyFragment const > const & fragment ) {
      return fragment->name();
   }
   Kel::String fragmentName() const { return policyFragment()->name(); }
   Kel::Ptr< KelServiceIntfSet > kelServiceIntfSet( Kel::Name const & name ) const {
      return serviceIntfSet( name );
   }

   // Views of the owner's inputs.
   Kel::Ptr< QorClient::Status > agentStatus() const;
   Kel::Ptr< OpenFlowTable::PinFlowHwConfig > pfHwConfig() const;
   Kel::Ptr< OpenFlowTable::HwStatus const > pfHwStatus() const;
   Kel::Ptr< OpenFlowTable::HwStatus const > ofHwStatus() const;
   Kel::Ptr< Bridging::SwitchIntfConfigDir const > switchIntfConfigDir() const;
   /** The fragment's records; null before it was initialized and after its end. */
   Kel::Ptr< QorClient::PolicyFragmentInfo > fragInfo() const;
   Kel::Ptr< QorClient::FlowInfo > flowInfo( Kel::String const & flowName ) const;
   Kel::Ptr< Qor::V1::ServicePolicyFragmentStatus > fragmentStatus() const;

   // Classification of a flow that was read. By name, each asserts that its records exist.
   bool isServiceFlow( Kel::String const & flowName ) const;
   bool isHostInterceptFlow( Kel::String const & flowName ) const;
   bool isHostEgressFlow( Kel::String const & flowName ) const;
   static bool isServiceFlow( QorClient::FlowInfo const & info );
   static bool isHostInterceptFlow( QorClient::FlowInfo const & info );
   static bool isHostEgressFlow( QorClient::FlowInfo const & info );

   // Life.
   void createNestedReactors() override;
   void handleInitialized() override;
   /** For the owner, when the fragment has gone: nothing published for it stays. */
   void cleanup();

   // Handlers.
   void handleOriginalVni();
   void handleServiceVni();
   void handleFlow( Kel::String const & flowName );
   void handleFlow();
   void handleServiceIntfSet( Kel::Name const & setName );
   void handleGrCookie();
   /** Routed by the owner: the mapping of one of the fragment's two VNIs has changed. */
   void handleVlanForVni( Vxlan::VniExtOrNone vni );
   /** Routed by the owner: a host that a flow intercepts appeared, moved or went. */
   void handleWarmHost( Bridging::MacVlanPair const & host );

   // Rule building.
   Kel::String getFlowRuleName( Kel::String const & flowName,
                                QorClient::RuleKey const & ruleKey ) const;
   static Kel::String getFlowRuleName( QorClient::FlowInfo const & info,
                                       QorClient::RuleKey const & ruleKey );
   /** Of the rule that lets ARP through to the service of a fragment. */
   static Kel::String arpRuleName( Kel::String const & fragmentName );
   OpenFlowTable::TableType getTableType( Qor::V1::PolicyFlowInfo const & flowConfig ) const;
   /** The default match when what it needs is not there yet. */
   OpenFlowTable::Match buildMatch( Qor::V1::PolicyFlowInfo const & flowConfig,
                                    QorClient::RuleKey const & ruleKey ) const;
   /** The default actions when what they need is not there yet. */
   OpenFlowTable::Actions buildAction( Qor::V1::PolicyFlowInfo const & flowConfig,
                                       QorClient::RuleKey const & ruleKey,
                                       bool isHostEgress ) const;

   // Rule publication.
   /** Enters the rule in the books and the flow table; nothing while it is incomplete, or when an
    *  equal entry stands. */
   void publishFlowRule( Kel::String const & flowName, QorClient::RuleKey const & ruleKey );
   /** Takes the rule out of books and table, whoever else counts on it. */
   void revokePublishedFlowRule( Kel::String const & flowName, QorClient::RuleKey const & ruleKey );
   /** The same for all rules of the flow, which is proposed as initial then. */
   void revokePublishedFlow( Kel::String const & flowName );
   bool isFlowPublished( Kel::String const & flowName ) const;
   /** A flow's rules and, for a host-intercept flow, the egress rules that it brought. */
   void removeFlowWithItsDependents( Kel::String const & flowName );
   /** Forgets a flow entirely. */
   void doFlowCleanup( Kel::String const & flowName );
   /** Takes and drops a reference on the fragment's ARP rule. */
   void configurePlatformForQor( Kel::String const & flowName );
   void unconfigurePlatformForQor( Kel::String const & flowName );
   void forwardArpOnServiceVlan();

   // Service flows.
   void installServiceFlow( Kel::String const & flowName );
   void removeServiceFlow( Kel::String const & flowName );
   void installAllServiceFlows();

   // Host flows.
   void bindHostForHostInterceptFlow( Kel::String const & flowName );
   void unbindHostForHostInterceptFlow( Kel::String const & flowName );
   void cleanupBoundHostForFlow( Kel::String const & flowName );
   void bindHostsForAllHostInterceptFlows();
   void unbindHostsForAllHostInterceptFlows();
   void cleanupBoundHostsForAllFlows();
   void installHostInterceptFlow( Kel::String const & flowName );
   void removeHostInterceptFlow( Kel::String const & flowName );
   bool areHostsWarm( Kel::String const & flowName ) const;
   bool areHostsWarm( QorClient::FlowInfo const & info ) const;
   bool areHostsWarmForAnyFlow() const;
   /** Whether the flow's rules are missing, or built for another place or VLAN than the host's;
    * never while the host has no place, or is on a service interface. */
   bool needsFlowInstallation( Kel::String const & flowName,
                               Bridging::MacVlanPair const & host ) const;
   bool didHostMove( Kel::String const & flowName, Bridging::MacVlanPair const & host ) const;
   bool didVlanChange( Kel::String const & flowName ) const;
   bool didNativeVlanChange( Kel::String const & flowName, Wirekit::IntfId intf ) const;
   bool isServiceIntf( Wirekit::IntfId intf ) const;
   /** The host whose flow this is; the zero pair if none. */
   Bridging::MacVlanPair getHostFromFlowName( Kel::String const & flowName ) const;
   std::uint32_t getHostMoveCount( Bridging::MacVlanPair const & host ) const;
   void installHostEgressFlowOnIntf( Kel::String const & flowName, Wirekit::IntfId intf );
   void removeHostEgressFlowFromIntf( Kel::String const & flowName, Wirekit::IntfId intf );
   void installHostEgressFlowOnAllIntfs( Kel::String const & flowName );
   void installAllHostEgressFlowsOnIntf( Wirekit::IntfId intf );
   void removeAllHostEgressFlowsFromIntf( Wirekit::IntfId intf );

   // VNI bindings. "Bound" in the questions means mapped to a VLAN.
   /** Counts a user of the binding; the first asks the agent for it, the last drops it. */
   void bindVni( QorClient::VniAndIntfForPolicyFragment const & vip );
   void unbindVni( QorClient::VniAndIntfForPolicyFragment const & vip );
   void bindVniForFlow( Kel::String const & flowName,
                        QorClient::VniAndIntfForPolicyFragment const & vip );
   void unbindVnisForFlow( Kel::String const & flowName );
   /** Moves the flow's interface bindings to that interface. */
   void updateVniBindingForIntf( Kel::String const & flowName, Wirekit::IntfId intf );
   void removeVniBindings();
   bool isMatchVniBound( Kel::String const & flowName ) const;
   bool isActionVniBound( Kel::String const & flowName ) const;
   bool areVnisBound( Kel::String const & flowName ) const;
   bool isVniBound( Vxlan::VniOrNone vni ) const;

   // MAC inputs of the sets "near" and "far"; nothing for a set of another name.
   void createServiceIntfMacSm( Kel::Name const & intfType );
   void destroyServiceIntfMacSm( Kel::Name const & intfType );
   void updateServiceIntfMacSm( Kel::Name const & intfType );

   // Flow state.
   void updateFlowStateAll( Qor::FlowState flowState );
   /** Reports what becomes of a proposed state (`calculateQorFlowState`). */
   void updateFlowState( Kel::String const & flowName, Qor::FlowState flowState );
   /** The same for one rule; it has no words. */
   void updateRuleState( Kel::String const & flowName, Kel::String const & ruleName,
                         Qor::FlowState flowState );
   void setFlowRuleState( Kel::String const & flowName, Kel::String const & ruleName,
                          Qor::FlowState flowState );
   Kel::String getFlowWaitingDetails( Kel::String const & flowName ) const;
   Kel::String getFlowWaitingDetails( Qor::V1::PolicyFlowInfo const & flowConfig,
                                      QorClient::FlowInfo const & info ) const;
   Kel::String getFlowRejectedDetails( Kel::String const & flowName ) const;

 private:
   using FlowOperation = void ( KelPolicyFragment::* )( Kel::String const & flowName );
   using FlowClass = bool ( * )( QorClient::FlowInfo const & info );
   /** Runs an operation on each flow that was read and is of that class. */
   void forEachFlow( FlowClass flowClass, FlowOperation operation );

   /** The record of a flow that was read; asserts that it exists. */
   Kel::Ptr< QorClient::FlowInfo > readFlowInfo( Kel::String const & flowName ) const;
   void populateTransientStates( Kel::String const & flowName );
   void readFlow( Kel::String const & flowName, Qor::V1::PolicyFlowInfo const & flowConfig );

   Vxlan::VniExtOrNone matchVni( Kel::String const & flowName ) const;
   Vxlan::VniExtOrNone actionVni( Kel::String const & flowName ) const;

   void installServiceFlowOnSet( Kel::String const & flowName,
                                 Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet,
                                 Wirekit::IntfId QorClient::RuleKey::*side );
   void installIngressServiceFlow( Kel::String const & flowName,
                                   Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet );
   void installEgressServiceFlow( Kel::String const & flowName,
                                  Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet );
   bool hasServiceFlowInterceptChanged( Kel::String const & flowName ) const;

   void takeOverVni(
      Vxlan::VniOrNone wanted, Vxlan::VniOrNone known,
      void ( Qor::V1::ServicePolicyFragmentStatus::*store )( Vxlan::VniOrNone const & ),
      Kel::Name const & setName, Vxlan::VniExtOrNone staleServiceVni );
};

/**
 * The state and words to report for a flow, from the state that the caller proposes. False when
 * there is nothing to report: the flow has gone, was never read, or nothing has changed for it.
 */
bool calculateQorFlowState( Kel::Ptr< KelPolicyFragment const > const & polFrag,
                            Kel::String const & flowName, Qor::FlowState & flowState,
                            Kel::String & details );

}  // namespace QorClient::DatapathV1
