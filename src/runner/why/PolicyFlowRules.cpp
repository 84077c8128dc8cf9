// Rules: what stands for a flow in the books and in the flow table, and the hardware's answers.

#include <algorithm>

#include "platform/records/openflowtable/PinFlowHwConfig.h"

#include "runner/tables/Words.h"
#include "runner/why/Links.h"
#include "runner/why/PolicyFlow.h"

namespace Runner {

using QorClient::RuleKey;

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
      auto const rule = info_ ? info_->ruleInfo( key ) : nullptr;
      if ( !rule ) {
         chain.missing( "rule", "there is no rule for frames that " + placeOf( key ) );
      } else {
         addRule( chain, *rule );
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

void PolicyFlow::addRule( Chain & chain, QorClient::RuleInfo const & rule ) const {
   std::string const name = rule.ruleName().stringValue();
   auto const table = device_.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" );
   if ( !rule.published() ) {
      chain.missing( "rule", name + " is not published" );
   } else if ( !table->flowEntryHas( rule.ruleName() ) ) {
      chain.missing( "rule", name + " is not in the flow table" );
   } else {
      chain.good( "rule", name );
   }
   addAnswer( chain, name, policyAnswer( *hardware(), rule.ruleName() ) );
}

Kel::Ptr< OpenFlowTable::HwStatus const > PolicyFlow::hardware() const {
   return device_.entity< OpenFlowTable::HwStatus >( "pinflow/pfHwStatusDir/dyninputstatus/qor" );
}

void PolicyFlow::addArp( Chain & chain ) const {
   bool const needed =
      device_.entity< OpenFlowTable::HwStatus >( "openflow/hwstatus" )->arpRuleRequired();
   if ( !needed || !config_ || ( config_->serviceIntfKey.empty() && !isIngress() ) ) {
      return;
   }
   Kel::Name const rule( place_.place.stringValue() + "-arp" );
   if ( device_.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" )
           ->flowEntryHas( rule ) ) {
      chain.good( "ARP", rule.stringValue() + ": " + policyAnswer( *hardware(), rule ).words );
   } else {
      chain.missing( "ARP", "there is no rule for ARP in the service VLAN" );
   }
}

}  // namespace Runner
