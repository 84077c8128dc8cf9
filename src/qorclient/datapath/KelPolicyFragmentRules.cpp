// Rule building: what a flow and a rule's key make of table, match and action.

#include "platform/flashlog/DualLog.h"
#include "platform/kel/Assert.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/datapath/KelPolicyFragment.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

using QorClientUtils::convertVniToVniExt;

namespace QorClient::DatapathV1 {

namespace {

namespace MatchField = OpenFlowTable::MatchField;
namespace ActionField = OpenFlowTable::ActionField;
using Qor::V1::InterceptPoint;

}  // namespace

OpenFlowTable::TableType KelPolicyFragment::getTableType(
   Qor::V1::PolicyFlowInfo const & flowConfig ) const {
   KEL_TRACE_SCOPE( " flow: ", flowConfig.flowName );
   switch ( flowConfig.interceptPoint ) {
      case InterceptPoint::interceptIngress:
         KEL_TRACE_INFO( " returning preLookup" );
         return OpenFlowTable::TableType::preLookup;
      case InterceptPoint::interceptEgress:
         KEL_TRACE_INFO( " returning preTransmit" );
         return OpenFlowTable::TableType::preTransmit;
   }
   Kel::assertFail( "false && \"Unsupported intercept type\"", "QorClientDatapathV1", __LINE__,
                    __PRETTY_FUNCTION__ );
}

OpenFlowTable::Match KelPolicyFragment::buildMatch( Qor::V1::PolicyFlowInfo const & flowConfig,
                                                    QorClient::RuleKey const & ruleKey ) const {
   KEL_TRACE_SCOPE( " flow: ", flowConfig.flowName );
   OpenFlowTable::Match match;
   if ( !flowConfig.match.srcMac.isZero() ) {
      match.matchFieldSet |= MatchField::ethSrc;
      match.ethSrc = flowConfig.match.srcMac;
      match.ethSrcMask = Wirekit::EthAddr::allOnes();
      KEL_TRACE_INFO( "Matches on Source MAC ", match.ethSrc );
   }
   if ( !flowConfig.match.dstMac.isZero() ) {
      match.matchFieldSet |= MatchField::ethDst;
      match.ethDst = flowConfig.match.dstMac;
      match.ethDstMask = Wirekit::EthAddr::allOnes();
      KEL_TRACE_INFO( "Matches on Dest MAC ", match.ethDst );
   }
   // VNI 0 asks for no VLAN; none is not 0, and has no VLAN to be found.
   if ( flowConfig.match.vni.value() != 0 ) {
      Vxlan::VniExtOrNone const vni = convertVniToVniExt( flowConfig.match.vni );
      Bridging::VlanIdOrNone const vlan = vlanOf( vni );
      if ( vlan.isNone() ) {
         KEL_TRACE_INFO( "Match vni ", flowConfig.match.vni, " is not mapped to any vlan" );
         match = {};  // one object to return, so that it is built in place
         return match;
      }
      if ( ruleKey.matchVlanTag ) {
         match.matchFieldSet |= MatchField::vlanId;
         match.vlanId = vlan.value();
         match.vlanIdMask = OpenFlowTable::wholeVlanId;
      }
      KEL_TRACE_INFO( "Matches on VLAN ", match.vlanId );
   }
   if ( flowConfig.interceptPoint == InterceptPoint::interceptIngress ) {
      match.inIntfIs( ruleKey.inIntf, true );
      match.matchFieldSet |= MatchField::inIntf;
   }
   KEL_TRACE_INFO( " returning ", match );
   return match;
}

OpenFlowTable::Actions KelPolicyFragment::buildAction( Qor::V1::PolicyFlowInfo const & flowConfig,
                                                       QorClient::RuleKey const & ruleKey,
                                                       bool isHostEgress ) const {
   KEL_TRACE_SCOPE( " flow: ", flowConfig.flowName );
   OpenFlowTable::Actions actions;
   if ( flowConfig.interceptPoint == InterceptPoint::interceptIngress ) {
      actions.actionFieldSet |= ActionField::outputNormal;
   } else if ( flowConfig.interceptPoint == InterceptPoint::interceptEgress ) {
      actions.outputIntfIs( ruleKey.outIntf, true );
      actions.actionFieldSet |= ActionField::outputIntf;
   }
   if ( flowConfig.action.vni.value() == 0 ) {
      return actions;
   }
   Vxlan::VniExtOrNone const vni = convertVniToVniExt( flowConfig.action.vni );
   Bridging::VlanIdOrNone const vlan = vlanOf( vni );
   if ( vlan.isNone() ) {
      KEL_TRACE_INFO( "Action vni ", flowConfig.action.vni, " is not mapped to any vlan" );
      actions = {};
      return actions;
   }
   actions.actionFieldSet |= ActionField::vlanId;
   actions.vlanId = vlan.value();
   bool dropTag = false;
   if ( isHostEgress ) {
      // A packet on the output interface's native VLAN leaves untagged.
      auto const intfConfig = switchIntfConfigDir()->switchIntfConfig( ruleKey.outIntf );
      dropTag = intfConfig && Bridging::VlanIdOrNone( intfConfig->trunkNativeVlan() ) == vlan;
      if ( dropTag ) {
         actions.actionFieldSet |= ActionField::dropTag;
      }
   }
   KEL_TRACE_INFO( "Re-writes VLAN to ", vlan, ", drops tag for native vlan ",
                   dropTag ? "True" : "False" );
   KEL_TRACE_INFO( " returning ", actions );
   return actions;
}

}  // namespace QorClient::DatapathV1
