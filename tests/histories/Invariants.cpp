#include "histories/Invariants.h"

#include <map>
#include <set>

#include "histories/Complaints.h"
#include "histories/RoutedInvariants.h"
#include "platform/kel/Dir.h"
#include "qorclient/agent/Status.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/l2rib/HostInput.h"
#include "records/qor/PolicyFragment.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/vxlan/VniSviConfig.h"

namespace Histories {

namespace {

using Vip = QorClient::VniAndIntfForPolicyFragment;

/** What the checks look at. */
class Check : public Complaints {
 public:
   explicit Check( Scenarios::Switch const & device )
      : status( device.entity< QorClient::Status >( "qorclient/status" ) ),
        rules( device.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" ) ),
        routedRules( device.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qorl3" ) ),
        policyStatus(
           device.entity< Qor::V1::QorPolicyFragmentStatus >( "qorclient/version1/policystatus" ) ),
        l2Rib( device.entity< L2Rib::HostInput >( "bridging/l2Rib/qor/hostInput" ) ),
        requests( device.entity< Vxlan::VniSviConfig >( "vxlan/input/vniconfig/qor" ) ),
        policy( Kel::ptrCast< Qor::V1::QorPolicyFragment const >(
           device.entity< Kel::Dir >( "qor/version1/policy" )->entity( "policy" ) ) ) {}

   Kel::Ptr< QorClient::Status const > const status;
   Kel::Ptr< OpenFlowTable::PinFlowHwConfig const > const rules;
   Kel::Ptr< OpenFlowTable::PinFlowHwConfig const > const routedRules;
   Kel::Ptr< Qor::V1::QorPolicyFragmentStatus const > const policyStatus;
   Kel::Ptr< L2Rib::HostInput const > const l2Rib;
   Kel::Ptr< Vxlan::VniSviConfig const > const requests;
   /** Null when there is none. */
   Kel::Ptr< Qor::V1::QorPolicyFragment const > const policy;
};

/** warmHostRefCount is the count of warmHost by interface, and no count of zero stands. */
void checkWarmHosts( Check & check ) {
   std::map< Wirekit::IntfId, std::uint32_t > counts;
   for ( auto const & [host, intf] : check.status->warmHost() ) {
      ++counts[intf];
   }
   for ( auto const & [intf, count] : check.status->warmHostRefCount() ) {
      check.that( counts[intf] == count, "warmHostRefCount of ", intf, " is ", count, ", not ",
                  counts[intf] );
      counts.erase( intf );
   }
   for ( auto const & [intf, count] : counts ) {
      check.that( false, "warmHostRefCount of ", intf, " is missing, should be ", count );
   }
}

/** A published rule has its entry and its names, and neither stands without it. */
void checkRules( Check & check ) {
   std::set< std::string > known;
   for ( auto const & fragment : check.status->platformFlowRefCountKeys() ) {
      known.insert( fragment.stringValue() + "-arp" );
   }
   for ( auto const & [fragment, info] : check.status->policyFragmentInfo() ) {
      for ( auto const & [flow, flowInfo] : info->flowInfo() ) {
         for ( auto const & [key, rule] : flowInfo->ruleInfo() ) {
            Kel::String const name = rule->ruleName();
            known.insert( name.stringValue() );
            check.that( rule->published(), "rule ", name, " stands unpublished" );
            check.that( check.rules->flowEntryHas( name ), "rule ", name, " has no entry" );
            check.that( check.status->flowNameForRuleName( name ) == flow, "rule ", name,
                        " lacks its flow's name" );
            check.that( check.status->fragmentNameForRuleName( name ) == fragment, "rule ", name,
                        " lacks its fragment's name" );
            check.that( rule->refCount() != 0, "rule ", name, " has no users" );
         }
      }
   }
   auto checkKnown = [&]( auto const & names, char const * where ) {
      for ( auto const & name : names ) {
         check.that( known.contains( name.stringValue() ), name, " in ", where, " has no rule" );
      }
   };
   checkKnown( check.rules->flowEntryKeys(), "the flow table" );
   checkKnown( check.status->flowNameForRuleNameKeys(), "flowNameForRuleName" );
   checkKnown( check.status->fragmentNameForRuleNameKeys(), "fragmentNameForRuleName" );
   checkKnown( check.status->ruleStateForRuleNameKeys(), "ruleStateForRuleName" );
}

/**
 * A fragment's ARP rule is counted at most once for each of its rules: one that came while the
 * service VNI had no VLAN took no count, and gives one back. Where the need for ARP rules has
 * changed, rule and count stand as they were.
 */
void checkArpRules( Check & check, PolicyMemory const & past ) {
   for ( auto const & [fragment, count] : check.status->platformFlowRefCount() ) {
      std::size_t rules = 0;
      if ( auto const info = check.status->policyFragmentInfo( fragment ) ) {
         for ( auto const & [flow, flowInfo] : info->flowInfo() ) {
            rules += flowInfo->ruleInfoCount();
         }
      }
      check.that(
         count != 0 && ( count <= rules || past.counts().isStale( fragment.stringValue() ) ),
         "ARP rule of ", fragment, " is counted ", count, ", of rules ", rules );
      check.that( check.rules->flowEntryHas( fragment.stringValue() + "-arp" ), "ARP rule of ",
                  fragment, " is counted and missing" );
   }
}

/**
 * A binding is counted once for each flow and each set that has it, and the agent has it. An
 * interface that leaves its set is the exception: it takes the agent's binding along and leaves the
 * count, and on its return the count hides that the agent has none. So a binding that the agent
 * lacks is one on an interface that is counted more often than it has users.
 */
void checkBindings( Check & check ) {
   for ( auto const & [fragment, info] : check.status->policyFragmentInfo() ) {
      std::map< std::string, std::uint32_t > users;
      auto count = [&]( auto const & bindings ) {
         for ( auto const & [vip, bound] : bindings ) {
            users[Kel::textOf( vip )] += bound && !vip.vni.isNone();
         }
      };
      for ( auto const & [flow, flowInfo] : info->flowInfo() ) {
         count( flowInfo->boundVni() );
      }
      for ( auto const & [set, setInfo] : info->serviceIntfSetInfo() ) {
         count( setInfo->boundVni() );
      }
      for ( auto const & [vip, counted] : info->boundVni() ) {
         std::uint32_t const has = users[Kel::textOf( vip )];
         bool const left = vip.intfId && !check.status->boundVniHas( vip );
         check.that( left ? has < counted : has == counted, "binding ", vip, " is counted ",
                     counted, ", has users ", has );
         check.that( left || check.status->boundVniHas( vip ), "binding ", vip,
                     " is not the agent's" );
      }
   }
}

/** An egress rule is counted once for each intercepted host on its interface, or fewer times; more
 *  often only where its flow's own binding has installed the flow of a host. */
void checkEgressRules( Check & check, PolicyMemory const & past ) {
   for ( auto const & [fragment, info] : check.status->policyFragmentInfo() ) {
      std::map< Wirekit::IntfId, std::uint32_t > users;
      for ( auto const & [flow, flowInfo] : info->flowInfo() ) {
         for ( auto const & [host, intf] : flowInfo->boundHost() ) {
            ++users[intf];
         }
      }
      for ( auto const & [flow, flowInfo] : info->flowInfo() ) {
         bool const egress = flowInfo->serviceIntfKey().empty() && !flowInfo->isInterceptIngress();
         for ( auto const & [key, rule] : flowInfo->ruleInfo() ) {
            check.that( !egress || rule->refCount() <= users[key.outIntf] ||
                           past.counts().isTooMany( rule->ruleName().stringValue() ),
                        "egress rule ", rule->ruleName(), " is counted ", rule->refCount(),
                        ", has users ", users[key.outIntf] );
         }
      }
   }
}

/**
 * The rules of a service flow are on members of its set, unless the set has been down: then a flow
 * that is written anew has its rules all the same, and nobody hears of an interface that leaves.
 */
void checkServiceRules( Check & check, PolicyMemory const & past ) {
   for ( auto const & [fragment, info] : check.status->policyFragmentInfo() ) {
      bool const hadSetDown = past.hadSetDown( fragment.stringValue() );
      auto const config = check.policy ? check.policy->policyFragment( fragment ) : nullptr;
      for ( auto const & [flow, flowInfo] : info->flowInfo() ) {
         auto const set = config ? config->serviceIntfSet( flowInfo->serviceIntfKey() ) : nullptr;
         for ( auto const & [key, rule] : flowInfo->ruleInfo() ) {
            std::string const intf = Kel::textOf( key.inIntf ) + Kel::textOf( key.outIntf );
            check.that(
               flowInfo->serviceIntfKey().empty() || hadSetDown || ( set && set->intfHas( intf ) ),
               "service rule ", rule->ruleName(), " is on no member of its set" );
         }
      }
   }
}

/** While there is policy, each VNI that is bound is asked for, and known by the VLAN that it has.
 */
void checkVnis( Check & check ) {
   std::set< std::string > bound;
   std::map< std::string, std::string > vlans;
   if ( check.policy && check.status->active() ) {
      auto const mapped = vlansOfVnis();
      for ( auto const & binding : check.status->boundVniKeys() ) {
         std::string const vni = Kel::textOf( binding.vni );
         bound.insert( vni );
         if ( auto const vlan = mapped.find( vni ); vlan != mapped.end() ) {
            vlans.insert( *vlan );
         }
      }
   }
   std::set< std::string > asked;
   for ( auto const & vni : check.requests->vniSviInfoKeys() ) {
      asked.insert( Kel::textOf( vni ) );
   }
   check.same( asked, bound, "the VNIs that are asked for" );
   std::map< std::string, std::string > known;
   for ( auto const & [vni, vlan] : check.status->vlanForVni() ) {
      known[Kel::textOf( vni )] = Kel::textOf( vlan );
   }
   check.that( known == vlans, "vlanForVni is not that of the tunnel interface" );
}

/** Each configured flow has a status row, and no other has. */
void checkStatusRows( Check & check ) {
   if ( !check.policy || !check.status->active() ) {
      return;
   }
   for ( auto const & [name, fragment] : check.policy->policyFragment() ) {
      auto const rows = check.policyStatus->policyFragment( name );
      check.that( bool( rows ), "fragment ", name, " has no status" );
      for ( auto const & flow : fragment->flowKeys() ) {
         check.that( rows && rows->flowStatusHas( flow ), "flow ", name, "/", flow,
                     " has no status row" );
      }
      if ( rows ) {
         for ( auto const & flow : rows->flowStatusKeys() ) {
            check.that( fragment->flowHas( flow ), "status row ", name, "/", flow, " has no flow" );
         }
      }
   }
   for ( auto const & name : check.policyStatus->policyFragmentKeys() ) {
      check.that( check.policy->policyFragmentHas( name ), "status of ", name, " is left" );
   }
}

}  // namespace

std::vector< std::string > brokenInvariants( Scenarios::Switch const & device,
                                             PolicyMemory const & past ) {
   Check check( device );
   checkWarmHosts( check );
   checkRules( check );
   checkArpRules( check, past );
   checkBindings( check );
   checkEgressRules( check, past );
   checkServiceRules( check, past );
   checkVnis( check );
   checkStatusRows( check );
   return check.broken;
}

std::vector< std::string > leftovers( Scenarios::Switch const & device,
                                      PolicyMemory const & past ) {
   Check check( device );
   auto none = [&]( std::size_t count, char const * what ) {
      check.that( count == 0, count, " left of ", what );
   };
   // ARP rules that nobody needs any more, and their counts, stay for ever.
   std::size_t stale = 0;
   for ( auto const & fragment : check.status->platformFlowRefCountKeys() ) {
      stale += past.counts().isStale( fragment.stringValue() );
   }
   none( check.rules->flowEntryCount() - stale, "flowEntry" );
   none( check.policyStatus->policyFragmentCount(), "policystatus" );
   none( check.status->boundHostCount(), "boundHost" );
   none( check.status->policyFragmentInfoCount(), "policyFragmentInfo" );
   // The bindings of its flows outlive a fragment until the next start of the datapath, and with
   // them what hangs on them: `boundVni`, `vlanForVni` and the VLAN lists.
   none( check.status->flowNameForRuleNameCount(), "flowNameForRuleName" );
   none( check.status->ruleStateForRuleNameCount(), "ruleStateForRuleName" );
   none( check.status->platformFlowRefCountCount() - stale, "platformFlowRefCount" );
   // A damaged row reads as absent: nobody finds it, and nobody takes it out.
   std::size_t hosts = 0;
   for ( auto const & row : check.l2Rib->host() ) {
      hosts += !row.key.mac.isZero();
   }
   none( hosts, "the L2 RIB's hosts" );
   none( check.routedRules->flowEntryCount(), "the routed flowEntry" );
   none( check.routedRules->trafficGroupCount(), "trafficGroup" );
   none( check.routedRules->trafficEndPointCount(), "trafficEndPoint" );
   return check.broken;
}

}  // namespace Histories
