#pragma once

#include <string>
#include <vector>

#include "qorclient/flowtable/HwStatus.h"
#include "records/qor/FlowState.h"
#include "records/qor/PolicyFlowInfo.h"
#include "records/qorl3/State.h"

namespace Views {

/** Texts one after another with a comma between them. */
std::string joined( std::vector< std::string > const & texts );

/** "PLACE/FLOW": a flow and its fragment or VRF, as a person names it. */
std::string flowPath( Kel::String const & place, Kel::String const & flow );

/** "FRAGMENT (shared)": whose a rule is that the flows of a fragment share. */
std::string sharedName( std::string const & fragment );

/** "service near", "intercept", "egress". */
std::string kindWord( Qor::V1::PolicyFlowInfo const & flow );

std::string stateWord( Qor::FlowState state );
std::string stateWord( QorL3::V1::State state );

/** What the hardware says of a rule. */
struct HardwareAnswer {
   enum class Kind { none, inProgress, programmed, rejected };
   Kind kind = Kind::none;
   std::string words = "no answer";
   /** For a rejection: what its number means, and the number. */
   std::string reason = {};
};
/** Its answer to a rule of the policy, and to one for routed traffic: the two sides of the agent
 *  count different numbers as rejections. */
HardwareAnswer policyAnswer( OpenFlowTable::HwStatus const & hardware, Kel::Name const & rule );
HardwareAnswer routedAnswer( OpenFlowTable::HwStatus const & hardware, Kel::Name const & rule );

}  // namespace Views
