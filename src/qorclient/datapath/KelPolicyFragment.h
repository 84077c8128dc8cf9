#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/agent/Status.h"
#include "qorclient/datapath/FarIntfNimbusHostMacSm.h"
#include "qorclient/datapath/FlowHandle.h"
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
 * Its source is one file a subject: this file's own (life, reading), Adoption, RuleNames, Rules,
 * Publication, ArpRule, ServiceFlows, HostFlows, VniBindings, MacInputs and FlowState. An operation
 * on one flow takes it as a FlowHandle; some take its name as well, for callers that have no more
 * of it.
 */
class KelPolicyFragment : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::DatapathV1::KelPolicyFragment )

   // Inputs.
   KEL_REACTOR( KelFragment, Qor::V1::ServicePolicyFragment const, policyFragment,
                KEL_ROWS( KEL_ON( originalVni, handleOriginalVni )
                          KEL_ON( serviceVni, handleServiceVni )
                          KEL_ON( flow, handleFlow )
                          KEL_ON( serviceIntfSet, handleServiceIntfSet )
                          KEL_ON( grCookie, handleGrCookie ) ) )
   /** Its inputs are the fragment's too: those that have a view below, `polFragStatus`, and what
    * the machines that feed MAC addresses are given. The fragment enters itself in its maps by VNI
    * and by host, and has it note the service VLAN. */
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

   // --- Life and reading: KelPolicyFragment.cpp ---

   void createNestedReactors() override;
   void handleInitialized() override;
   /** For the owner, when the fragment has gone: nothing published for it stays. */
   void cleanup();
   void handleServiceIntfSet( Kel::Name const & setName );
   void handleGrCookie();
   /** The flow as it stands now, configured or not, read or not. */
   FlowHandle flowHandle( Kel::String const & flowName ) const;
   /** How the flow is configured now, the default when it isn't. To be read at once: a write may
    *  have the policy changed. */
   Qor::V1::PolicyFlowInfo const & configOf( FlowHandle const & flow ) const;

   // Classification of a flow that was read. By name, each asserts that its records exist.
   bool isServiceFlow( Kel::String const & flowName ) const;
   bool isHostInterceptFlow( Kel::String const & flowName ) const;
   bool isHostEgressFlow( Kel::String const & flowName ) const;
   static bool isServiceFlow( QorClient::FlowInfo const & info );
   static bool isHostInterceptFlow( QorClient::FlowInfo const & info );
   static bool isHostEgressFlow( QorClient::FlowInfo const & info );

   // --- Adoption: KelPolicyFragmentAdoption.cpp ---
   // A flow's record holds the configuration that was acted on: one that differs from it is read
   // anew, and a record without a configured flow goes.

   void handleFlow( Kel::String const & flowName );
   void handleFlow();

   // --- Rule names: KelPolicyFragmentRuleNames.cpp ---
   // The same key always gives the same name.

   Kel::String getFlowRuleName( Kel::String const & flowName,
                                QorClient::RuleKey const & ruleKey ) const;
   static Kel::String getFlowRuleName( QorClient::FlowInfo const & info,
                                       QorClient::RuleKey const & ruleKey );

   // --- Rule building: KelPolicyFragmentRules.cpp ---
   // What a rule looks like follows from flow, key, VLANs and native VLANs alone. Nothing is
   // written here.

   OpenFlowTable::TableType getTableType( Qor::V1::PolicyFlowInfo const & flowConfig ) const;
   /** The default match when what it needs is not there yet. */
   OpenFlowTable::Match buildMatch( Qor::V1::PolicyFlowInfo const & flowConfig,
                                    QorClient::RuleKey const & ruleKey ) const;
   /** The default actions when what they need is not there yet. */
   OpenFlowTable::Actions buildAction( Qor::V1::PolicyFlowInfo const & flowConfig,
                                       QorClient::RuleKey const & ruleKey,
                                       bool isHostEgress ) const;

   // --- Rule publication: KelPolicyFragmentPublication.cpp ---
   // A published rule stands in the flow table and in the books (its RuleInfo and the two maps of
   // names), or in neither. Each service and intercept rule holds a count of the ARP rule.

   /** Enters the rule in the books and the flow table; nothing while it is incomplete, or when an
    *  equal entry stands. */
   void publishFlowRule( FlowHandle & flow, QorClient::RuleKey const & ruleKey );
   /** Takes the rule out of books and table, whoever else counts on it. */
   void revokePublishedFlowRule( FlowHandle & flow, QorClient::RuleKey const & ruleKey );
   /** The same for all rules of the flow, which is proposed as initial then. */
   void revokePublishedFlow( FlowHandle & flow );
   void revokePublishedFlow( Kel::String const & flowName );
   bool isFlowPublished( FlowHandle const & flow ) const;
   bool isFlowPublished( Kel::String const & flowName ) const;
   /** A flow's rules and, for a host-intercept flow, the egress rules that it brought. */
   void removeFlowWithItsDependents( FlowHandle & flow );
   void removeFlowWithItsDependents( Kel::String const & flowName );
   /** Forgets a flow entirely. */
   void doFlowCleanup( FlowHandle & flow );

   // --- The ARP rule: KelPolicyFragmentArpRule.cpp ---
   // It stands while its count does, with the VLAN that the service VNI had as it was made.

   /** Of the rule that lets ARP through to the service of a fragment. */
   static Kel::String arpRuleName( Kel::String const & fragmentName );
   /** Takes and drops a reference on the fragment's ARP rule. */
   void configurePlatformForQor( Kel::String const & flowName );
   void unconfigurePlatformForQor( Kel::String const & flowName );
   void forwardArpOnServiceVlan();

   // --- Service flows: KelPolicyFragmentServiceFlows.cpp ---
   // A service flow has one rule for each member of its set, on the side where it intercepts; the
   // rules themselves tell where it was last installed.

   void installServiceFlow( FlowHandle & flow );
   void removeServiceFlow( FlowHandle & flow );
   void installAllServiceFlows();

   // --- Host flows: KelPolicyFragmentHostFlows.cpp ---
   // An intercept flow follows its host: the interface in `boundHost` is that of its rules, and the
   // empty one says that it has none. An egress rule counts the hosts on its interface.

   /** Routed by the owner: a host that a flow intercepts appeared, moved or went. */
   void handleWarmHost( Bridging::MacVlanPair const & host );
   void bindHostForHostInterceptFlow( FlowHandle & flow );
   void unbindHostForHostInterceptFlow( FlowHandle & flow );
   void cleanupBoundHostForFlow( FlowHandle & flow );
   void bindHostsForAllHostInterceptFlows();
   void unbindHostsForAllHostInterceptFlows();
   void cleanupBoundHostsForAllFlows();
   void installHostInterceptFlow( FlowHandle & flow );
   void installHostInterceptFlow( Kel::String const & flowName );
   void removeHostInterceptFlow( FlowHandle & flow );
   bool areHostsWarm( FlowHandle const & flow ) const;
   bool areHostsWarm( QorClient::FlowInfo const & info ) const;
   bool areHostsWarmForAnyFlow() const;
   /** Whether the flow's rules are missing, or built for another place or VLAN than the host's;
    * never while the host has no place, or is on a service interface. */
   bool needsFlowInstallation( FlowHandle const & flow, Bridging::MacVlanPair const & host ) const;
   bool didHostMove( FlowHandle const & flow, Bridging::MacVlanPair const & host ) const;
   bool didVlanChange( FlowHandle const & flow ) const;
   bool didNativeVlanChange( FlowHandle const & flow, Wirekit::IntfId intf ) const;
   bool isServiceIntf( Wirekit::IntfId intf ) const;
   /** The host whose flow this is; the zero pair if none. */
   Bridging::MacVlanPair getHostFromFlowName( FlowHandle const & flow ) const;
   std::uint32_t getHostMoveCount( Bridging::MacVlanPair const & host ) const;
   void installHostEgressFlowOnIntf( FlowHandle & flow, Wirekit::IntfId intf );
   void removeHostEgressFlowFromIntf( FlowHandle & flow, Wirekit::IntfId intf );
   void installHostEgressFlowOnAllIntfs( FlowHandle & flow );
   void installAllHostEgressFlowsOnIntf( Wirekit::IntfId intf );
   void removeAllHostEgressFlowsFromIntf( Wirekit::IntfId intf );

   // --- VNI bindings: KelPolicyFragmentVniBindings.cpp ---
   // A flow and a set count each binding at most once, and the agent is asked for it while anyone
   // does. "Bound" in the questions means mapped to a VLAN.

   void handleOriginalVni();
   void handleServiceVni();
   /** Routed by the owner: the mapping of one of the fragment's two VNIs has changed. */
   void handleVlanForVni( Vxlan::VniExtOrNone vni );
   /** Counts a user of the binding; the first asks the agent for it, the last drops it. */
   void bindVni( QorClient::VniAndIntfForPolicyFragment const & vip );
   void unbindVni( QorClient::VniAndIntfForPolicyFragment const & vip );
   void bindVniForFlow( FlowHandle & flow, QorClient::VniAndIntfForPolicyFragment const & vip );
   void unbindVnisForFlow( FlowHandle & flow );
   /** Moves the flow's interface bindings to that interface. */
   void updateVniBindingForIntf( FlowHandle & flow, Wirekit::IntfId intf );
   void removeVniBindings();
   bool isMatchVniBound( FlowHandle const & flow ) const;
   bool isActionVniBound( FlowHandle const & flow ) const;
   bool areVnisBound( FlowHandle const & flow ) const;
   bool isVniBound( Vxlan::VniOrNone vni ) const;

   // --- MAC inputs of the sets "near" and "far": KelPolicyFragmentMacInputs.cpp ---
   // A machine that feeds the L2 RIB lives while its set is initialized, and ends with its rows
   // taken back. Nothing happens for a set of another name.

   void createServiceIntfMacSm( Kel::Name const & intfType );
   void destroyServiceIntfMacSm( Kel::Name const & intfType );
   void updateServiceIntfMacSm( Kel::Name const & intfType );

   // --- Flow state: KelPolicyFragmentFlowState.cpp ---
   // What is reported follows from the proposed state and from what is open at that moment; nothing
   // is reported for a flow that isn't configured or wasn't read.

   void updateFlowStateAll( Qor::FlowState flowState );
   /** Reports what becomes of a proposed state (`calculateQorFlowState`). */
   void updateFlowState( FlowHandle & flow, Qor::FlowState flowState );
   void updateFlowState( Kel::String const & flowName, Qor::FlowState flowState );
   /** The same for one rule; it has no words. */
   void updateRuleState( FlowHandle & flow, Kel::String const & ruleName,
                         Qor::FlowState flowState );
   void updateRuleState( Kel::String const & flowName, Kel::String const & ruleName,
                         Qor::FlowState flowState );
   void setFlowRuleState( FlowHandle const & flow, Kel::String const & ruleName,
                          Qor::FlowState flowState );
   /** Where the flow is reported; null when it isn't configured, wasn't read, or its fragment has
    *  no status. */
   Kel::Ptr< Qor::V1::ServicePolicyFragmentStatus > reportOf( FlowHandle const & flow ) const;
   /** Of a flow that is reported: the state and words that a proposed state becomes; false when
    *  nothing has changed for it. */
   bool calculateFlowState( FlowHandle const & flow, Qor::FlowState & flowState,
                            Kel::String & details ) const;
   Kel::String getFlowWaitingDetails( Qor::V1::PolicyFlowInfo const & flowConfig,
                                      QorClient::FlowInfo const & info ) const;
   Kel::String getFlowWaitingDetails( Kel::String const & flowName ) const;
   Kel::String getFlowRejectedDetails( FlowHandle const & flow ) const;
   Kel::String getFlowRejectedDetails( Kel::String const & flowName ) const;

 private:
   using FlowOperation = void ( KelPolicyFragment::* )( FlowHandle & flow );
   using FlowClass = bool ( * )( QorClient::FlowInfo const & info );
   /** Runs an operation on each flow that was read and is of that class. */
   void forEachFlow( FlowClass flowClass, FlowOperation operation );

   void lookAgain( FlowHandle & flow ) const;
   /** The record of a flow that was read; asserts that it exists. */
   QorClient::FlowInfo const & readFlowInfo( FlowHandle & flow ) const;
   /** Adopts an intercept flow that stands from before a restart. */
   void populateTransientStates( FlowHandle & flow );
   void noteHostEgressFlow( FlowHandle & flow );
   void readFlow( Kel::String const & flowName, Qor::V1::PolicyFlowInfo const & flowConfig );

   /** The name of the rule of that key; that of `standing` where it is the same, which saves making
    * it. Null when no rule stands. */
   static Kel::String ruleNameOf( QorClient::FlowInfo const & info,
                                  QorClient::RuleKey const & ruleKey,
                                  Kel::Ptr< QorClient::RuleInfo > const & standing );

   Vxlan::VniExtOrNone matchVni( FlowHandle const & flow ) const;
   Vxlan::VniExtOrNone actionVni( FlowHandle const & flow ) const;
   /** The VLAN that a VNI is mapped to, if it is. */
   Bridging::VlanIdOrNone vlanOf( Vxlan::VniExtOrNone vni ) const;

   void installServiceFlowOnSet( FlowHandle & flow,
                                 Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet,
                                 Wirekit::IntfId QorClient::RuleKey::*side );
   void installIngressServiceFlow( FlowHandle & flow,
                                   Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet );
   void installEgressServiceFlow( FlowHandle & flow,
                                  Kel::Ptr< Qor::V1::ServiceIntfSet const > const & intfSet );
   bool hasServiceFlowInterceptChanged( FlowHandle const & flow ) const;

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
