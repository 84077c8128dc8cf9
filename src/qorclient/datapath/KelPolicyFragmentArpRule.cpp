// The ARP rule: one a fragment, for as long as rules of it count on it.

#include "platform/flashlog/DualLog.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/datapath/KelPolicyFragment.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

using QorClientUtils::convertVniToVniExt;

namespace QorClient::DatapathV1 {

Kel::String KelPolicyFragment::arpRuleName( Kel::String const & fragmentName ) {
   return Kel::String::concat( { fragmentName, "-arp" } );
}

void KelPolicyFragment::configurePlatformForQor( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !ofHwStatus()->arpRuleRequired() ) {
      KEL_TRACE_INFO( "ARP forwarding rule not needed" );
      return;
   }
   if ( agentStatus()->platformFlowRefCountHas( fragmentName() ) ) {
      agentStatus()->platformFlowRefCountIs(
         fragmentName(), agentStatus()->platformFlowRefCount( fragmentName() ) + 1 );
   } else {
      Vxlan::VniOrNone const serviceVni = policyFragment()->serviceVni();
      if ( !agentStatus()->vlanForVniHas( convertVniToVniExt( serviceVni ) ) ) {
         // No count is taken; the rule's drop gives one back all the same, that of another rule if
         // one has been counted since.
         KEL_TRACE_INFO( fragmentName(), " will not be configured as serviceVni ", serviceVni,
                         " is not mapped to any vlan" );
         return;
      }
      forwardArpOnServiceVlan();
      agentStatus()->platformFlowRefCountIs( fragmentName(), 1 );
   }
}

void KelPolicyFragment::unconfigurePlatformForQor( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !ofHwStatus()->arpRuleRequired() ) {
      // A need that ends before the last rule goes leaves the ARP rule and its count as they stand:
      // it is looked at only as rules come and go.
      KEL_TRACE_INFO( "ARP forwarding rule not needed" );
      return;
   }
   if ( agentStatus()->platformFlowRefCountHas( fragmentName() ) ) {
      std::uint32_t const count = agentStatus()->platformFlowRefCount( fragmentName() ) - 1;
      agentStatus()->platformFlowRefCountIs( fragmentName(), count );
      if ( count == 0 ) {
         pfHwConfig()->flowEntryDel( arpRuleName( fragmentName() ) );
         agentStatus()->platformFlowRefCountDel( fragmentName() );
      }
   }
}

void KelPolicyFragment::forwardArpOnServiceVlan() {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   OpenFlowTable::Match match;
   match.matchFieldSet = OpenFlowTable::MatchField::vlanId | OpenFlowTable::MatchField::arp;
   match.vlanId =
      agentStatus()->vlanForVni( convertVniToVniExt( policyFragment()->serviceVni() ) ).value();
   match.vlanIdMask = OpenFlowTable::wholeVlanId;
   OpenFlowTable::Actions actions;
   actions.actionFieldSet = OpenFlowTable::ActionField::outputNormal;
   pfHwConfig()->flowEntryIs( arpRuleName( fragmentName() ), match, actions,
                              OpenFlowTable::Priority( 0 ),
                              OpenFlowTable::PriorityGroupType::normal,
                              OpenFlowTable::TableType::lookup, 0, 0.0, 0.0, false );
}

}  // namespace QorClient::DatapathV1
