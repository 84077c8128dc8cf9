#include "histories/RuleCounts.h"

#include <algorithm>

#include "qorclient/agent/Status.h"
#include "qorclient/datapath/KelPolicyFragment.h"
#include "qorclient/flowtable/HwStatus.h"

namespace Histories {

using QorClient::DatapathV1::KelPolicyFragment;
using Wirekit::IntfId;

namespace {

/** How many flows and sets have bound a VNI, on whatever interfaces. */
std::uint64_t bindingsOf( QorClient::Status const & status, std::string const & vni ) {
   std::uint64_t count = 0;
   for ( auto const & [fragment, info] : status.policyFragmentInfo() ) {
      for ( auto const & [key, users] : info->boundVni() ) {
         count += Kel::textOf( key.vni ) == vni ? users : 0;
      }
   }
   return count;
}

}  // namespace

void RuleCounts::observe( Scenarios::Switch const & device ) {
   auto const status = device.entity< QorClient::Status >( "qorclient/status" );
   bool const needed =
      device.entity< OpenFlowTable::HwStatus >( "openflow/hwstatus" )->arpRuleRequired();
   bool const needChanged = arpNeeded_.value_or( needed ) != needed;
   arpNeeded_ = needed;
   std::set< std::string > mapped;
   for ( auto const & vni : status->vlanForVniKeys() ) {
      mapped.insert( Kel::textOf( vni ) );
   }
   auto const flows = std::exchange( flows_, {} );
   auto const intfs = std::exchange( intfs_, {} );
   auto const thinned = std::exchange( thinned_, {} );
   auto const few = std::exchange( few_, {} );
   auto const many = std::exchange( many_, {} );
   std::set< std::string > counted;
   for ( auto const & fragment : status->platformFlowRefCountKeys() ) {
      counted.insert( fragment.stringValue() );
   }
   for ( auto const & [fragment, info] : status->policyFragmentInfo() ) {
      std::map< IntfId, std::uint32_t > hosts;
      for ( auto const & [name, flow] : info->flowInfo() ) {
         for ( auto const & [host, intf] : flow->boundHost() ) {
            // One without a place has no rule to be counted for.
            if ( intf ) {
               ++hosts[intf];
            }
         }
         if ( flow->ruleInfoCount() != 0 ) {
            counted.insert( fragment.stringValue() );
         }
      }
      for ( auto const & [name, flow] : info->flowInfo() ) {
         if ( !KelPolicyFragment::isHostEgressFlow( *flow ) ) {
            continue;
         }
         std::string const place = fragment.stringValue() + "|" + name.stringValue();
         std::string const config = Kel::textOf( flow->flowConfig() );
         auto const known = flows.find( place );
         flows_[place] = config;
         bool broughtVlan = false;
         if ( known == flows.end() || known->second != config ) {
            for ( auto const vni :
                  { flow->flowConfig().match.vni, flow->flowConfig().action.vni } ) {
               std::string const text = Kel::textOf( vni );
               // A flow that is read again has given up its VNIs, with their VLANs where nobody
               // else has bound them.
               broughtVlan = broughtVlan ||
                             ( mapped.contains( text ) &&
                               ( !mapped_.contains( text ) || bindingsOf( *status, text ) == 1 ) );
            }
         }
         std::map< IntfId, std::uint32_t > counts;
         for ( auto const & [intf, count] : hosts ) {
            counts[intf] = 0;
         }
         for ( auto const & [key, rule] : flow->ruleInfo() ) {
            counts[key.outIntf] = rule->refCount();
            intfs_[place].insert( Kel::textOf( key ) );
         }
         auto const old = intfs.find( place );
         bool const lost =
            old != intfs.end() && !std::ranges::includes( intfs_[place], old->second );
         if ( !intfs_[place].empty() && ( lost || thinned.contains( place ) ) ) {
            thinned_.insert( place );
         }
         for ( auto const & [intf, count] : counts ) {
            std::string const rule =
               KelPolicyFragment::getFlowRuleName( *flow, { {}, intf } ).stringValue();
            if ( count < hosts[intf] || ( few.contains( rule ) && count != hosts[intf] ) ) {
               few_.insert( rule );
            }
            if ( count > hosts[intf] && ( broughtVlan || many.contains( rule ) ) ) {
               many_.insert( rule );
            }
         }
      }
   }
   mapped_ = std::move( mapped );
   std::set< std::string > stale;
   for ( std::string const & fragment : counted ) {
      if ( needChanged || stale_.contains( fragment ) ) {
         stale.insert( fragment );
      }
   }
   stale_ = std::move( stale );
}

bool RuleCounts::isMiscounted( std::string const & beginning ) const {
   for ( auto const * rules : { &few_, &many_ } ) {
      auto const first = rules->lower_bound( beginning );
      if ( first != rules->end() && first->starts_with( beginning ) ) {
         return true;
      }
   }
   return false;
}

}  // namespace Histories
