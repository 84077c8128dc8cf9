// Rule building: what a flow and a rule's key make of name, table, match and action.

#include <initializer_list>
#include <string_view>

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

std::string_view shortNameOrAny( Wirekit::IntfId intf ) {
   return intf ? intf.shortNameView() : std::string_view( "any" );
}

bool isJoined( std::string_view text, std::initializer_list< std::string_view > parts ) {
   for ( std::string_view part : parts ) {
      if ( !text.starts_with( part ) ) {
         return false;
      }
      text.remove_prefix( part.size() );
   }
   return text.empty();
}

}  // namespace

Kel::String KelPolicyFragment::getFlowRuleName( Kel::String const & flowName,
                                                QorClient::RuleKey const & ruleKey ) const {
   return getFlowRuleName( *flowInfo( flowName ), ruleKey );
}

Kel::String KelPolicyFragment::getFlowRuleName( QorClient::FlowInfo const & info,
                                                QorClient::RuleKey const & ruleKey ) {
   return ruleNameOf( info, ruleKey, nullptr );
}

Kel::String KelPolicyFragment::ruleNameOf( QorClient::FlowInfo const & info,
                                           QorClient::RuleKey const & ruleKey,
                                           Kel::Ptr< QorClient::RuleInfo > const & standing ) {
   // The same key always gives the same name, which makes a second publication recognisable.
   Kel::String const prefix = info.rulePrefix();
   std::initializer_list< std::string_view > const parts = {
      prefix,
      "-from-",
      shortNameOrAny( ruleKey.inIntf ),
      "-to-",
      shortNameOrAny( ruleKey.outIntf ),
      ruleKey.matchVlanTag ? "" : "-untagged" };
   if ( standing ) {
      if ( Kel::String name = standing->ruleName(); isJoined( name, parts ) ) {
         return name;
      }
   }
   return Kel::String::concat( parts );
}

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
         return {};
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
      return {};
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
