#include "web/Picture.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <set>
#include <tuple>

#include "platform/kel/Dir.h"
#include "qorclient/agent/QorClientUtils.h"
#include "qorclient/agent/Status.h"
#include "records/bridging/AllowedVlans.h"
#include "records/bridging/Config.h"
#include "records/catalog/Catalog.h"
#include "records/l2rib/HostInput.h"
#include "records/mlag/Config.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/slab/BridgingStatus.h"
#include "records/vxlancontroller/VniFdbStatusV2.h"
#include "views/packet/Ports.h"
#include "views/tables/Places.h"
#include "views/tables/Words.h"
#include "web/Counts.h"

namespace Web {

namespace {

using Kel::Value;
using Wirekit::IntfId;
using Numbers = std::set< std::uint32_t >;

constexpr std::size_t namedFlows = 3;
constexpr std::size_t namedPorts = 16;

Value number( std::uint64_t n ) {
   return Value( n );
}

/** The VLANs of each port, configured and allowed. */
std::map< IntfId, Numbers > vlansOfPorts( Corestore::EntityManager const & em ) {
   std::map< IntfId, Numbers > vlans;
   auto const config = em.entity< Bridging::Config >( Catalog::pathOf( "bridgingConfig" ) );
   for ( auto const & vlan : config->vlanConfig() ) {
      for ( IntfId const & intf : vlan.value->intfKeys() ) {
         vlans[intf].insert( vlan.key.value() );
      }
   }
   auto const allowed =
      em.entity< Bridging::Input::AllowedVlans >( Catalog::pathOf( "dynAllowedVlans" ) );
   for ( auto const & list : allowed->vlans() ) {
      std::string_view const text = list.value.view();
      for ( std::size_t begin = 0; begin < text.size(); ) {
         std::size_t const end = std::min( text.find( ',', begin ), text.size() );
         std::uint32_t vlan{};
         if ( std::from_chars( text.data() + begin, text.data() + end, vlan ).ec == std::errc{} ) {
            vlans[list.key].insert( vlan );
         }
         begin = end + 1;
      }
   }
   return vlans;
}

/** Hosts at a place: the first ones, and how many. */
struct HostsThere {
   Value::Array first;
   std::uint64_t count = 0;
};

/** Where hosts are: first those that a flow intercepts, then those that are offered to the L2 RIB,
 *  then those that were learnt. */
class HostsByPort {
 public:
   HostsByPort( Corestore::EntityManager const & em, std::size_t most ) : most_( most ) {
      auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
      for ( auto const & host : agent->warmHost() ) {
         add( host.value, host.key, "intercepted" );
      }
      auto const offered = em.entity< L2Rib::HostInput >( Catalog::pathOf( "l2RibQorHostInput" ) );
      for ( auto const & host : offered->host() ) {
         add( host.value.ciDest.intfId, host.key, "offered" );
      }
      auto const config = em.entity< Bridging::Config >( Catalog::pathOf( "bridgingConfig" ) );
      std::map< Bridging::Fid, Bridging::VlanId > vlanOfFid;
      for ( auto const & mapped : config->vidToFidMap() ) {
         vlanOfFid.emplace( mapped.value, mapped.key );
      }
      auto const learnt =
         em.entity< Slab::Bridging::Status >( Catalog::pathOf( "slabBridgingStatus" ) );
      for ( auto const & host : learnt->fdbStatus() ) {
         auto const vlan = vlanOfFid.find( host.key.fid );
         bool const isVlan = host.key.fid < 4095;
         add( host.value.intf,
              { host.key.addr, vlan != vlanOfFid.end() ? vlan->second
                               : isVlan
                                  ? Bridging::VlanId( static_cast< std::uint16_t >( host.key.fid ) )
                                  : Bridging::VlanId() },
              "learnt" );
      }
   }

   HostsThere const & at( IntfId intf ) { return hosts_[intf]; }

 private:
   void add( IntfId intf, Bridging::MacVlanPair const & host, char const * how ) {
      if ( !intf || !known_.insert( host ).second ) {
         return;
      }
      HostsThere & there = hosts_[intf];
      ++there.count;
      if ( there.first.size() < most_ ) {
         there.first.emplace_back( Value::Object{ { "mac", host.mac.stringValue() },
                                                  { "vlan", number( host.vlanId.value() ) },
                                                  { "how", how } } );
      }
   }

   std::size_t most_;
   std::map< IntfId, HostsThere > hosts_;
   std::set< Bridging::MacVlanPair > known_;
};

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

Value::Array waysOf( Corestore::EntityManager const & em,
                     Qor::V1::ServicePolicyFragment const & fragment ) {
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   auto const infos = agent->policyFragmentInfo( fragment.name() );
   auto const statuses =
      em.entity< Qor::V1::QorPolicyFragmentStatus >( Catalog::pathOf( "polFragStatus" ) );
   auto const status = statuses->policyFragment( fragment.name() );
   std::map< WayKey, Way > ways;
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

Value fragmentValue( Corestore::EntityManager const & em,
                     Qor::V1::ServicePolicyFragment const & fragment ) {
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   Value::Array sets;
   for ( auto const & set : fragment.serviceIntfSet() ) {
      Value::Array ports;
      for ( Kel::String const & port : set.value->intfKeys() ) {
         ports.emplace_back( port.stringValue() );
      }
      sets.emplace_back(
         Value::Object{ { "name", set.key.stringValue() }, { "ports", std::move( ports ) } } );
   }
   return Value::Object{ { "name", fragment.name().stringValue() },
                         { "original", vniValue( fragment.originalVni() ) },
                         { "original_vlan", vlanOfVni( *agent, fragment.originalVni() ) },
                         { "service", vniValue( fragment.serviceVni() ) },
                         { "service_vlan", vlanOfVni( *agent, fragment.serviceVni() ) },
                         { "sets", std::move( sets ) },
                         { "ways", waysOf( em, fragment ) } };
}

struct EndPoint {
   std::uint64_t hosts = 0;
   Numbers vnis;
};

Value::Array tunnelsOf( Corestore::EntityManager const & em, Views::Ports const & ports ) {
   std::map< Wirekit::IpAddr, EndPoint > ends;
   auto const remote = em.entity< Kel::Dir >( Catalog::pathOf( "nimbusVniBaseDir" ) );
   auto const tunnels = em.entity< Vxlan::VtiStatusDir >( Catalog::pathOf( "vtiStatusDir" ) );
   for ( auto const & vni : remote->entity() ) {
      auto const hosts = Kel::ptrCast< VxlanController::VniFdbStatusV2 const >( vni.value );
      std::uint32_t number{};
      std::string const name = vni.key.stringValue();
      std::from_chars( name.data(), name.data() + name.size(), number );
      for ( auto const & host : hosts->macVtepTable() ) {
         EndPoint & end = ends[host.value.vtepAddr];
         ++end.hosts;
         end.vnis.insert( number );
      }
   }
   Value::Array values;
   for ( IntfId const & name : ports.tunnels() ) {
      auto const tunnel = tunnels->vtiStatus( name );
      Numbers vnis;
      Value::Array segments;
      for ( auto const & carried : tunnel->vlanToVniMap() ) {
         vnis.insert( carried.value.vni.value() );
         if ( segments.size() < namedPorts ) {
            segments.emplace_back(
               Value::Object{ { "vlan", number( carried.key.value() ) },
                              { "vni", number( carried.value.vni.value() ) },
                              { "source", Vxlan::stringValue( carried.value.source ) } } );
         }
      }
      Value::Array behind;
      for ( auto const & [address, end] : ends ) {
         if ( address != tunnel->addr() && !address.isZero() && behind.size() < namedPorts ) {
            behind.emplace_back( Value::Object{ { "address", address.stringValue() },
                                                { "hosts", number( end.hosts ) },
                                                { "vnis", rangesOf( end.vnis ) } } );
         }
      }
      values.emplace_back( Value::Object{
         { "name", name.stringValue() },
         { "address", tunnel->addr().isZero() ? Value() : Value( tunnel->addr().stringValue() ) },
         { "vnis", rangesOf( vnis ) },
         { "segments", std::move( segments ) },
         { "ends", std::move( behind ) } } );
   }
   return values;
}

/** The sets of service interfaces that a port is in, "web/near". */
std::map< std::string, Value::Array > setsByPort( Qor::V1::QorPolicyFragment const & policy ) {
   std::map< std::string, Value::Array > sets;
   for ( auto const & fragment : policy.policyFragment() ) {
      for ( auto const & set : fragment.value->serviceIntfSet() ) {
         for ( Kel::String const & port : set.value->intfKeys() ) {
            sets[port.stringValue()].emplace_back( Views::flowPath( fragment.key, set.key ) );
         }
      }
   }
   return sets;
}

}  // namespace

std::string rangesOf( Numbers const & numbers ) {
   std::string text;
   for ( auto at = numbers.begin(); at != numbers.end(); ) {
      auto const first = *at;
      auto last = first;
      while ( ++at != numbers.end() && *at == last + 1 ) {
         ++last;
      }
      text += ( text.empty() ? "" : "," ) + std::to_string( first );
      if ( last != first ) {
         text += ( last == first + 1 ? "," : "-" ) + std::to_string( last );
      }
   }
   return text;
}

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
   return { { "flows", std::move( flows ) },
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
   auto sets = policy ? setsByPort( *policy ) : std::map< std::string, Value::Array >();
   Value::Array fragments;
   std::size_t seen = 0;
   if ( policy ) {
      for ( auto const & fragment : policy->policyFragment() ) {
         if ( seen >= limits.firstFragment && fragments.size() < limits.fragments ) {
            fragments.push_back( fragmentValue( em, *fragment.value ) );
         }
         ++seen;
      }
   }
   Views::Ports const ports( em );
   HostsByPort hosts( em, limits.hosts );
   auto vlans = vlansOfPorts( em );
   auto const peerLink =
      em.entity< Mlag::Config >( Catalog::pathOf( "mlagConfig" ) )->peerLinkIntfId();
   std::set< IntfId > all = ports.all();
   for ( auto const & set : sets ) {
      all.insert( IntfId( set.first ) );
   }
   // First those with something to show.
   std::vector< IntfId > order( all.begin(), all.end() );
   std::ranges::stable_sort( order, {}, [&]( IntfId intf ) {
      return sets.contains( intf.stringValue() ) ? 0 : hosts.at( intf ).count != 0 ? 1 : 2;
   } );
   Value::Array shown;
   order.resize( std::min< std::size_t >( order.size(), limits.ports ) );
   for ( IntfId const & intf : order ) {
      auto const native = ports.nativeVlan( intf ).value();
      shown.emplace_back( Value::Object{ { "name", intf.stringValue() },
                                         { "short", intf.shortName() },
                                         { "native", native ? number( native ) : Value() },
                                         { "vlans", rangesOf( vlans[intf] ) },
                                         { "vlan_count", number( vlans[intf].size() ) },
                                         { "peer_link", intf == peerLink },
                                         { "sets", sets[intf.stringValue()] },
                                         { "hosts", hosts.at( intf ).first },
                                         { "host_count", number( hosts.at( intf ).count ) } } );
   }
   return { { "ports", std::move( shown ) },
            { "port_count", number( all.size() ) },
            { "tunnels", tunnelsOf( em, ports ) },
            { "fragments", std::move( fragments ) },
            { "fragment_count", number( seen ) } };
}

}  // namespace Web
