#pragma once

#include "platform/kel/StateMachine.h"
#include "qorclient/agent/Status.h"
#include "qorclient/flowtable/HwStatus.h"
#include "records/qor/FlowState.h"
#include "records/qor/PolicyFragmentStatus.h"

namespace QorClient::DatapathV1 {

class KelPolicyFragment;
class PfHwStatusSm;
class PolicyFragmentSm;

/**
 * The reactor on the hardware's answer to one rule. It tells the rule's fragment how the rule and,
 * from the states of all its rules, the flow has fared. It reports on no rule that the agent has
 * not published itself.
 */
class KelFlowStats : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::DatapathV1::KelFlowStats )

   // Inputs.
   KEL_REACTOR( KelStats, OpenFlowTable::FlowStats const, flowStats,
                KEL_ON( status, handleStatus ) )
   /** Through it `agentStatus`, `pfHwStatus` and `polFragStatus` are read and the rule's fragment
    * is reached. */
   KEL_OWNER( PfHwStatusSm, pfHwStatusSm )

   // Own state.
   KEL_OWN( bool, initialized )

   static Kel::Name keyOf( Kel::Ptr< OpenFlowTable::FlowStats const > const & stats ) {
      return stats->name();
   }
   /** The rule's name. */
   Kel::Name name() const { return flowStats()->name(); }

   static bool isFlowRejected( OpenFlowTable::FlowStatus flowStatus );
   bool isAnyFlowRuleProgrammed( Kel::String const & fragmentName,
                                 Kel::String const & flowName ) const;
   /** True also for a flow none of whose rules has an answer yet. */
   bool areAllFlowRulesRejected( Kel::String const & fragmentName,
                                 Kel::String const & flowName ) const;
   void updateRuleState( Kel::String const & fragmentName, Kel::String const & flowName,
                         Kel::String const & ruleName, Qor::FlowState flowState );
   void updateFlowState( Kel::String const & fragmentName, Kel::String const & flowName,
                         Qor::FlowState flowState );

   void handleInitialized() override;
   /** For the owner, when the hardware's row has gone. */
   void doCleanup();

   // Handlers.
   void handleStatus();

 private:
   Kel::Ptr< QorClient::FlowInfo > flowInfo( Kel::String const & fragmentName,
                                             Kel::String const & flowName ) const;
   /** The fragment of that name; traces and yields null when there is none. */
   Kel::Ptr< KelPolicyFragment > fragment( Kel::String const & fragmentName ) const;
};

/** Watches which rules the hardware has answered for, and keeps a KelFlowStats for each row. */
class PfHwStatusSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::DatapathV1::PfHwStatusSm )

   // Inputs.
   KEL_REACTOR( KelPfHwStatus, OpenFlowTable::HwStatus const, pfHwStatus,
                KEL_ON( flowStats, handleFlowStats ) )
   KEL_GIVEN( Kel::Ptr< QorClient::Status const >, agentStatus )
   KEL_GIVEN( Kel::Ptr< Qor::V1::QorPolicyFragmentStatus const >, polFragStatus )
   /** Owns this machine. Through it the fragments are reached, which are told what became of their
    *  flows, and `pfHwConfig`. */
   KEL_GIVEN( PolicyFragmentSm *, parent )

   // Children and own state.
   using KelFlowStats = DatapathV1::KelFlowStats;
   KEL_NESTED( Kel::Name, KelFlowStats, flowStats )
   KEL_OWN( bool, initialized )

   bool isFlowRuleInteresting( Kel::String const & ruleName ) const;

   void createNestedReactors() override;
   void handleInitialized() override;
   /** Drops the watchers; nothing is written. */
   void doCleanup();

   // Handlers.
   void handleFlowStats( Kel::Name const & name );

 protected:
   void handleEnd() override { doCleanup(); }
};
KEL_FACTORY( pfHwStatusSmFactory, PfHwStatusSm )

}  // namespace QorClient::DatapathV1
