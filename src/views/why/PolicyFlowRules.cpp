// Rules: what stands for a flow in the books and in the flow table, and the hardware's answers.

#include <algorithm>

#include "qorclient/datapath/KelPolicyFragment.h"
#include "records/catalog/Catalog.h"
#include "views/tables/Words.h"
#include "views/why/Links.h"
#include "views/why/PolicyFlow.h"

namespace Views {

namespace ActionField = OpenFlowTable::ActionField;
using QorClient::RuleKey;
using QorClient::DatapathV1::KelPolicyFragment;

namespace {

std::string placeOf( RuleKey const & key ) {
   return ( key.inIntf ? "enter on " + key.inIntf.shortName()
                       : "leave by " + key.outIntf.shortName() ) +
          ( key.matchVlanTag ? "" : " untagged" );
}

}  // namespace

void PolicyFlow::addRules( Chain & chain, std::vector< RuleKey > const & wanted ) const {
   bool any = false;
   for ( RuleKey const & key : wanted ) {
      any = true;
      if ( auto const rule = info_ ? info_->ruleInfo( key ) : nullptr ) {
         addRule( chain, *rule );
      } else {
         addNoRule( chain, key );
      }
   }
   if ( info_ ) {
      for ( auto const & rule : info_->ruleInfo() ) {
         if ( std::ranges::find( wanted, rule.key ) == wanted.end() ) {
            any = true;
            chain.note( "rule", rule.value->ruleName().stringValue() + " is left over" );
            addRule( chain, *rule.value );
         }
      }
   }
   if ( !any ) {
      chain.missing( "rule", "there is no rule" );
   }
}

void PolicyFlow::addNoRule( Chain & chain, RuleKey const & key ) const {
   if ( info_ ) {
      // An equal entry of another flow's is left to that flow.
      Kel::String const name = KelPolicyFragment::getFlowRuleName( *info_, key );
      if ( std::string const owner = otherOwner( name ); !owner.empty() ) {
         chain.missing( "rule", "the entry " + name.stringValue() + " is that of " + owner );
         return;
      }
   }
   chain.missing( "rule", "there is no rule for frames that " + placeOf( key ) + whyNoRule() );
}

std::string PolicyFlow::whyNoRule() const {
   auto const & match = config_->match;
   if ( !isIngress() && match.vni.value() == 0 && match.srcMac.isZero() && match.dstMac.isZero() ) {
      return ": the flow matches nothing";
   }
   if ( isHostEgress() ) {
      return ": it is built when a flow that catches hosts is installed there";
   }
   // What catches a host was told of the match VNI, or would not have the host.
   std::string const words = config_->serviceIntfKey.empty() ? "" : whyNotTold( match.vni );
   return words.empty() ? whyNotTold( config_->action.vni ) : words;
}

void PolicyFlow::addRule( Chain & chain, QorClient::RuleInfo const & rule ) const {
   std::string const name = rule.ruleName().stringValue();
   if ( std::string const owner = otherOwner( rule.ruleName() ); !owner.empty() ) {
      chain.missing( "rule", "the entry " + name + " is that of " + owner );
      return;
   }
   if ( !rule.published() ) {
      chain.missing( "rule", name + " is not published" );
   } else if ( !flowTable()->flowEntryHas( rule.ruleName() ) ) {
      chain.missing( "rule", name + " is not in the flow table" );
   } else if ( std::string const outdated =
                  whyOutdated( rule.ruleKey(), flowTable()->flowEntry( rule.ruleName() ) );
               !outdated.empty() ) {
      chain.missing( "rule", name + outdated );
   } else {
      chain.good( "rule", name );
   }
   addAnswer( chain, name, policyAnswer( *hardware(), rule.ruleName() ), hardwarePath );
}

std::string PolicyFlow::otherOwner( Kel::String const & rule ) const {
   if ( !agent_->flowNameForRuleNameHas( rule ) ) {
      return "";
   }
   Kel::String const fragment = agent_->fragmentNameForRuleName( rule );
   Kel::String const flow = agent_->flowNameForRuleName( rule );
   return fragment == place_.place && flow == place_.flow ? "" : flowPath( fragment, flow );
}

std::string PolicyFlow::whyOutdated( RuleKey const & key,
                                     OpenFlowTable::FlowEntry const & entry ) const {
   if ( !config_ ) {
      return "";
   }
   auto const moved = [this]( char const * does, std::uint16_t vlan, Vxlan::VniOrNone vni ) {
      auto const now = vlanOf( vni );
      return now && now->value() != vlan
                ? does + std::to_string( vlan ) + ", and VNI " + std::to_string( vni.value() ) +
                     " is VLAN " + std::to_string( now->value() ) + " by now"
                : std::string();
   };
   std::string words;
   if ( entry.match.matchFieldSet & OpenFlowTable::MatchField::vlanId ) {
      words = moved( " matches VLAN ", entry.match.vlanId, config_->match.vni );
   }
   bool const rewrites = entry.actions.actionFieldSet & ActionField::vlanId;
   if ( words.empty() && rewrites ) {
      words = moved( " rewrites to VLAN ", entry.actions.vlanId, config_->action.vni );
   }
   auto const vlan = vlanOf( config_->action.vni );
   if ( words.empty() && rewrites && vlan && isHostEgress() ) {
      bool const drops = entry.actions.actionFieldSet & ActionField::dropTag;
      bool const native = isNative( key.outIntf, *vlan );
      if ( drops != native ) {
         words = ( drops ? " drops the tag, and VLAN " : " keeps the tag, and VLAN " ) +
                 std::to_string( vlan->value() ) +
                 ( native ? " is native on " : " isn't native on " ) + key.outIntf.shortName() +
                 " by now";
      }
   }
   return words;
}

Kel::Ptr< OpenFlowTable::PinFlowHwConfig const > PolicyFlow::flowTable() const {
   return em_.entity< OpenFlowTable::PinFlowHwConfig >( Catalog::pathOf( "pfHwConfig" ) );
}

Kel::Ptr< OpenFlowTable::HwStatus const > PolicyFlow::hardware() const {
   return em_.entity< OpenFlowTable::HwStatus >( hardwarePath );
}

void PolicyFlow::addArp( Chain & chain ) const {
   bool const needed =
      em_.entity< OpenFlowTable::HwStatus >( Catalog::pathOf( "ofHwStatus" ) )->arpRuleRequired();
   if ( !needed || !config_ || isHostEgress() ) {
      return;
   }
   Kel::Name const rule = KelPolicyFragment::arpRuleName( place_.place );
   if ( !flowTable()->flowEntryHas( rule ) ) {
      chain.lacking( "ARP", "there is no rule for ARP in the service VLAN" );
      return;
   }
   std::uint16_t const vlan = flowTable()->flowEntry( rule ).match.vlanId;
   auto const now = vlanOf( fragment_->serviceVni() );
   auto const answer = policyAnswer( *hardware(), rule );
   std::string const words = answerWords( rule.stringValue(), answer );
   if ( !now || now->value() != vlan ) {
      chain.lacking( "ARP", rule.stringValue() + " is for VLAN " + std::to_string( vlan ) +
                               ", which is not that of the service VNI (" +
                               vniWord( fragment_->serviceVni() ) + ")" );
   } else if ( answer.kind != HardwareAnswer::Kind::programmed ) {
      chain.lacking( "ARP", words,
                     answer.kind == HardwareAnswer::Kind::rejected ? nullptr : hardwarePath );
   } else {
      chain.good( "ARP", words );
   }
}

}  // namespace Views
