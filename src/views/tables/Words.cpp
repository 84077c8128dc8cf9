#include "views/tables/Words.h"

#include <sstream>

#include "qorclient/datapath/PfHwStatusSm.h"
#include "qorclient/l3/FlowStatusSm.h"

namespace Views {

namespace {

HardwareAnswer answer( OpenFlowTable::HwStatus const & hardware, Kel::Name const & rule,
                       bool ( *isRejection )( OpenFlowTable::FlowStatus ), bool othersRejected ) {
   using enum HardwareAnswer::Kind;
   auto const stats = hardware.flowStats( rule );
   if ( !stats ) {
      return {};
   }
   auto const number = static_cast< std::uint32_t >( stats->status() );
   std::string const inBrackets = " (" + std::to_string( number ) + ")";
   if ( stats->status() == OpenFlowTable::FlowStatus::pending ) {
      return { inProgress, "pending" };
   }
   if ( stats->status() == OpenFlowTable::FlowStatus::active ) {
      return { programmed, "programmed" };
   }
   if ( isRejection( stats->status() ) ) {
      std::string const meaning = stats->status() == OpenFlowTable::FlowStatus::tableFull
                                     ? "no room in the flow table"
                                     : "refused by the platform";
      return { rejected, "rejected (" + std::to_string( number ) + ": " + meaning + ")",
               meaning + inBrackets };
   }
   return othersRejected ? HardwareAnswer{ rejected, "unknown" + inBrackets }
                         : HardwareAnswer{ inProgress, "in progress" + inBrackets };
}

}  // namespace

std::string joined( std::vector< std::string > const & texts ) {
   std::string all;
   for ( std::string const & text : texts ) {
      all += ( all.empty() ? "" : ", " ) + text;
   }
   return all;
}

std::string flowPath( Kel::String const & place, Kel::String const & flow ) {
   return place.stringValue() + "/" + flow.stringValue();
}

std::string sharedName( std::string const & fragment ) {
   return fragment + " (shared)";
}

std::string kindWord( Qor::V1::PolicyFlowInfo const & flow ) {
   if ( !flow.serviceIntfKey.empty() ) {
      return "service " + flow.serviceIntfKey.stringValue();
   }
   switch ( flow.interceptPoint ) {
      case Qor::V1::InterceptPoint::interceptIngress:
         return "intercept";
      case Qor::V1::InterceptPoint::interceptEgress:
         return "egress";
   }
   return "unknown";
}

std::string stateWord( Qor::FlowState state ) {
   switch ( state ) {
      case Qor::FlowState::flowInitial:
         return "initial";
      case Qor::FlowState::flowWaiting:
         return "waiting";
      case Qor::FlowState::flowProgrammed:
         return "programmed";
      case Qor::FlowState::flowRejected:
         return "rejected";
   }
   return std::to_string( static_cast< std::uint32_t >( state ) );
}

std::string stateWord( QorL3::V1::State state ) {
   std::ostringstream text;
   text << state;
   return text.str();
}

HardwareAnswer policyAnswer( OpenFlowTable::HwStatus const & hardware, Kel::Name const & rule ) {
   return answer( hardware, rule, QorClient::DatapathV1::KelFlowStats::isFlowRejected, false );
}

HardwareAnswer routedAnswer( OpenFlowTable::HwStatus const & hardware, Kel::Name const & rule ) {
   return answer( hardware, rule, QorClientL3::V1::FlowStatusSm::isFlowError, true );
}

}  // namespace Views
