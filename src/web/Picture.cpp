#include "web/Picture.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/agent/Status.h"
#include "records/catalog/Catalog.h"
#include "records/mlag/Config.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "views/packet/Ports.h"
#include "views/tables/Places.h"
#include "views/tables/PortFacts.h"
#include "views/tables/TunnelFacts.h"
#include "views/tables/Words.h"
#include "web/Counts.h"

namespace Web {

namespace {

using Kel::Value;
using Wirekit::IntfId;
using Numbers = Views::VlanNumbers;

/** Of each kind so many are named; of all there is a count. */
constexpr std::size_t namedFlows = 3;
constexpr std::size_t namedPorts = 16;
constexpr std::size_t namedEnds = 16;
constexpr std::size_t namedSets = 8;
constexpr std::size_t namedSetsOfPort = 4;
constexpr std::size_t namedWays = 24;

Value number( std::uint64_t n ) {
   return Value( n );
}

Value vlanOfVni( QorClient::Status const & agent, Vxlan::VniOrNone vni ) {
   auto const key = QorClientUtils::convertVniToVniExt( vni );
   return !vni.isNone() && agent.vlanForVniHas( key ) ? number( agent.vlanForVni( key ).value() )
                                                      : Value();
}

Value vniValue( Vxlan::VniOrNone vni ) {
   return vni.isNone() ? Value() : number( vni.value() );
}

/** Traffic that is treated alike: caught at these ports, and going on in another segment. */
struct Way {
   std::set< std::string > ports;
   std::map< std::string, std::uint64_t > states;
   Value::Array flows;
   std::uint64_t count = 0;
};
/** The set or nothing, whether frames enter there, and the two VNIs. */
using WayKey = std::tuple< std::string, bool, std::uint32_t, std::uint32_t >;
using Ways = std::map< WayKey, Way >;

Ways waysOf( Corestore::EntityManager const & em,
             Qor::V1::ServicePolicyFragment const & fragment ) {
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   auto const infos = agent->policyFragmentInfo( fragment.name() );
   auto const statuses =
      em.entity< Qor::V1::QorPolicyFragmentStatus >( Catalog::pathOf( "polFragStatus" ) );
   auto const status = statuses->policyFragment( fragment.name() );
   Ways ways;
   for ( auto const & flow : fragment.flow() ) {
      bool const enters = flow.value.interceptPoint == Qor::V1::InterceptPoint::interceptIngress;
      Way & way = ways[{ flow.value.serviceIntfKey.stringValue(), enters,
                         flow.value.match.vni.value(), flow.value.action.vni.value() }];
      ++way.count;
      ++way.states[status && status->flowStatusHas( flow.key )
                      ? Views::stateWord( status->flowStatus( flow.key ).flowState )
                      : "not reported"];
      if ( way.flows.size() < namedFlows ) {
         way.flows.emplace_back( flow.key.stringValue() );
      }
      auto const info = infos ? infos->flowInfo( flow.key ) : nullptr;
      if ( info && way.ports.size() < namedPorts ) {
         for ( auto const & rule : info->ruleInfo() ) {
            IntfId const intf = enters ? rule.key.inIntf : rule.key.outIntf;
            if ( intf && rule.value->published() ) {
               way.ports.insert( intf.stringValue() );
            }
         }
      }
   }
   return ways;
}

/** Drops those of many ways that are least worth a look: those on which all is well. */
void keepFew( Ways & ways ) {
   auto const rank = [&ways]( WayKey const & key ) {
      auto const & states = ways[key].states;
      return states.contains( "rejected" )                   ? 0
             : states.size() == states.count( "programmed" ) ? 2
                                                             : 1;
   };
   std::vector< WayKey > order;
   for ( auto const & [key, way] : ways ) {
      order.push_back( key );
   }
   std::ranges::stable_sort( order, {}, rank );
   for ( std::size_t i = namedWays; i < order.size(); ++i ) {
      ways.erase( order[i] );
   }
}

Value::Array waysValue( Ways const & ways ) {
   Value::Array values;
   for ( auto const & [key, way] : ways ) {
      auto const & [set, enters, from, to] = key;
      Value::Object states;
      for ( auto const & [state, count] : way.states ) {
         states.emplace_back( state, count );
      }
      values.emplace_back(
         Value::Object{ { "set", set.empty() ? Value() : Value( set ) },
                        { "point", enters ? "in" : "out" },
                        { "from", vniValue( Vxlan::VniOrNone( from ) ) },
                        { "to", vniValue( Vxlan::VniOrNone( to ) ) },
                        { "ports", Value::Array( way.ports.begin(), way.ports.end() ) },
                        { "states", std::move( states ) },
                        { "flows", way.flows },
                        { "count", number( way.count ) } } );
   }
   return values;
}

/** Those that its ways lead through, and the first ones of the others. */
Value::Array setsOf( Qor::V1::ServicePolicyFragment const & fragment, Ways const & ways ) {
   std::set< std::string > used;
   for ( auto const & [key, way] : ways ) {
      if ( fragment.serviceIntfSet( std::get< 0 >( key ) ) ) {
         used.insert( std::get< 0 >( key ) );
      }
   }
   std::size_t others = namedSets - std::min( namedSets, used.size() );
   Value::Array sets;
   for ( auto const & set : fragment.serviceIntfSet() ) {
      if ( !used.contains( set.key.stringValue() ) ) {
         if ( others == 0 ) {
            continue;
         }
         --others;
      }
      Value::Array ports;
      for ( Kel::String const & port : set.value->intfKeys() ) {
         if ( ports.size() != namedPorts ) {
            ports.emplace_back( port.stringValue() );
         }
      }
      sets.emplace_back( Value::Object{ { "name", set.key.stringValue() },
                                        { "ports", std::move( ports ) },
                                        { "port_count", number( set.value->intfCount() ) } } );
   }
   return sets;
}

/** The segments that its ways lead through: the service's two first. */
Value::Array segmentsOf( Corestore::EntityManager const & em, Views::Ports const & ports,
                         Qor::V1::ServicePolicyFragment const & fragment, Ways const & ways ) {
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   std::vector< Vxlan::VniOrNone > vnis{ fragment.serviceVni(), fragment.originalVni() };
   for ( auto const & [key, way] : ways ) {
      for ( Vxlan::VniOrNone const vni : { Vxlan::VniOrNone( std::get< 2 >( key ) ),
                                           Vxlan::VniOrNone( std::get< 3 >( key ) ) } ) {
         if ( !vni.isNone() && std::ranges::find( vnis, vni ) == vnis.end() ) {
            vnis.push_back( vni );
         }
      }
   }
   Value::Array segments;
   for ( Vxlan::VniOrNone const vni : vnis ) {
      Value vlan = vlanOfVni( *agent, vni );
      Value tunnel;
      for ( IntfId const & name : ports.tunnels() ) {
         auto const carried = vni.isNone() ? std::nullopt : ports.segmentOf( name, vni.value() );
         if ( carried ) {
            tunnel = name.stringValue();
            vlan = vlan == Value() ? number( carried->vlan.value() ) : vlan;
         }
      }
      segments.emplace_back(
         Value::Object{ { "vni", vniValue( vni ) }, { "vlan", vlan }, { "tunnel", tunnel } } );
   }
   return segments;
}

Value fragmentValue( Corestore::EntityManager const & em, Views::Ports const & ports,
                     Qor::V1::ServicePolicyFragment const & fragment ) {
   Ways ways = waysOf( em, fragment );
   std::size_t const count = ways.size();
   keepFew( ways );
   return Value::Object{ { "name", fragment.name().stringValue() },
                         { "segments", segmentsOf( em, ports, fragment, ways ) },
                         { "sets", setsOf( fragment, ways ) },
                         { "set_count", number( fragment.serviceIntfSetCount() ) },
                         { "ways", waysValue( ways ) },
                         { "way_count", number( count ) } };
}

Value::Array tunnelsOf( Corestore::EntityManager const & em, Views::Ports const & ports ) {
   auto const ends = Views::endPointsOf( em );
   auto const tunnels = em.entity< Vxlan::VtiStatusDir >( Catalog::pathOf( "vtiStatusDir" ) );
   Value::Array values;
   for ( IntfId const & name : ports.tunnels() ) {
      auto const tunnel = tunnels->vtiStatus( name );
      Numbers vnis;
      for ( auto const & carried : tunnel->vlanToVniMap() ) {
         vnis.insert( carried.value.vni.value() );
      }
      Value::Array behind;
      std::uint64_t count = 0;
      for ( auto const & [address, end] : ends ) {
         if ( !Views::isBehind( *tunnel, address ) ) {
            continue;
         }
         ++count;
         if ( behind.size() != namedEnds ) {
            behind.emplace_back( Value::Object{ { "address", address.stringValue() },
                                                { "hosts", number( end.hosts ) },
                                                { "vnis", Views::rangesOf( end.vnis ) } } );
         }
      }
      values.emplace_back( Value::Object{
         { "name", name.stringValue() },
         { "address", tunnel->addr().isZero() ? Value() : Value( tunnel->addr().stringValue() ) },
         { "vnis", Views::rangesOf( vnis ) },
         { "ends", std::move( behind ) },
         { "end_count", number( count ) } } );
   }
   return values;
}

}  // namespace

Value::Object countsOf( Corestore::EntityManager const & em ) {
   Counts const counts( em );
   Value::Object flows;
   for ( auto const & [state, count] : counts.flows ) {
      flows.emplace_back( state, count );
   }
   Value::Object refused;
   std::uint64_t refusals = 0;
   for ( auto const & [reason, count] : counts.refused ) {
      refused.emplace_back( reason, count );
      refusals += count;
   }
   std::uint64_t routed = 0;
   for ( auto const & [state, count] : counts.routedFlows ) {
      routed += count;
   }
   return { { "flows", std::move( flows ) },
            { "routed_flows", number( routed ) },
            { "rules", number( counts.rules + counts.routedRules ) },
            { "refused", number( refusals ) },
            { "refused_by_reason", std::move( refused ) },
            { "hosts_known", number( counts.hostsKnown ) },
            { "hosts_waiting", number( counts.hostsWaiting ) },
            { "vnis_waiting", number( counts.vnisWaiting ) },
            { "active", counts.active } };
}

Value::Object pictureOf( Corestore::EntityManager const & em, PictureLimits const & limits ) {
   auto const policy = Views::policyOf( em );
   auto sets = Views::setsByPort( em, namedSetsOfPort );
   Views::Ports const ports( em );
   Value::Array fragments;
   std::size_t seen = 0;
   if ( policy ) {
      for ( auto const & fragment : policy->policyFragment() ) {
         if ( seen >= limits.firstFragment && fragments.size() < limits.fragments ) {
            fragments.push_back( fragmentValue( em, ports, *fragment.value ) );
         }
         ++seen;
      }
   }
   auto hosts = Views::hostsByPort( em, limits.hosts );
   auto vlans = Views::vlansOfPorts( em );
   auto const peerLink =
      em.entity< Mlag::Config >( Catalog::pathOf( "mlagConfig" ) )->peerLinkIntfId();
   std::set< IntfId > const all = Views::portsOf( em );
   // First those with something to show.
   std::vector< IntfId > order( all.begin(), all.end() );
   std::ranges::stable_sort( order, {}, [&]( IntfId intf ) {
      return sets.contains( intf.stringValue() ) ? 0 : hosts.contains( intf ) ? 1 : 2;
   } );
   Value::Array shown;
   order.resize( std::min< std::size_t >( order.size(), limits.ports ) );
   for ( IntfId const & intf : order ) {
      auto const native = ports.nativeVlan( intf ).value();
      auto const & setsThere = sets[intf.stringValue()];
      auto const & hostsThere = hosts[intf];
      Value::Array hostValues;
      for ( auto const & [host, how] : hostsThere.first ) {
         hostValues.emplace_back( Value::Object{ { "mac", host.mac.stringValue() },
                                                 { "vlan", number( host.vlanId.value() ) },
                                                 { "how", how } } );
      }
      shown.emplace_back(
         Value::Object{ { "name", intf.stringValue() },
                        { "short", intf.shortName() },
                        { "native", native ? number( native ) : Value() },
                        { "vlans", Views::rangesOf( vlans[intf] ) },
                        { "vlan_count", number( vlans[intf].size() ) },
                        { "peer_link", intf == peerLink },
                        { "sets", Value::Array( setsThere.first.begin(), setsThere.first.end() ) },
                        { "set_count", number( setsThere.count ) },
                        { "hosts", std::move( hostValues ) },
                        { "host_count", number( hostsThere.count ) } } );
   }
   return { { "ports", std::move( shown ) },
            { "port_count", number( all.size() ) },
            { "tunnels", tunnelsOf( em, ports ) },
            { "fragments", std::move( fragments ) },
            { "fragment_count", number( seen ) } };
}

}  // namespace Web
