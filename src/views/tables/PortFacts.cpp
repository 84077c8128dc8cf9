#include "views/tables/PortFacts.h"

#include <algorithm>
#include <charconv>

#include "qorclient/agent/Status.h"
#include "records/bridging/AllowedVlans.h"
#include "records/bridging/Config.h"
#include "records/catalog/Catalog.h"
#include "records/l2rib/HostInput.h"
#include "records/slab/BridgingStatus.h"
#include "records/vxlan/VtiStatus.h"
#include "views/packet/Ports.h"
#include "views/tables/Places.h"
#include "views/tables/Words.h"

namespace Views {

namespace {

using Wirekit::IntfId;

/** The numbers of a list that are joined by commas. */
void addNumbers( std::string_view list, VlanNumbers & numbers ) {
   for ( std::size_t begin = 0; begin < list.size(); ) {
      std::size_t const end = std::min( list.find( ',', begin ), list.size() );
      std::uint32_t number{};
      if ( std::from_chars( list.data() + begin, list.data() + end, number ).ec == std::errc{} ) {
         numbers.insert( number );
      }
      begin = end + 1;
   }
}

/** The VLANs of the VNIs that the agent has asked for. */
VlanNumbers askedVlans( Corestore::EntityManager const & em ) {
   VlanNumbers vlans;
   auto const tunnels = em.entity< Vxlan::VtiStatusDir >( Catalog::pathOf( "vtiStatusDir" ) );
   for ( auto const & tunnel : tunnels->vtiStatus() ) {
      for ( auto const & mapped : tunnel.value->vlanToVniMap() ) {
         if ( mapped.value.source == Vxlan::VniSource::qor ) {
            vlans.insert( mapped.key.value() );
         }
      }
   }
   return vlans;
}

class Hosts {
 public:
   explicit Hosts( std::size_t most ) : most_( most ) {}

   void add( IntfId intf, Bridging::MacVlanPair const & host, char const * how ) {
      if ( intf && known_.insert( host ).second ) {
         there_[intf].add( { host, how }, most_ );
      }
   }
   auto take() { return std::move( there_ ); }

 private:
   std::size_t most_;
   std::map< IntfId, FewOf< HostThere > > there_;
   std::set< Bridging::MacVlanPair > known_;
};

}  // namespace

std::string rangesOf( VlanNumbers const & numbers ) {
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

std::map< IntfId, VlanNumbers > vlansOfPorts( Corestore::EntityManager const & em ) {
   std::map< IntfId, VlanNumbers > vlans;
   auto const config = em.entity< Bridging::Config >( Catalog::pathOf( "bridgingConfig" ) );
   for ( auto const & vlan : config->vlanConfig() ) {
      for ( IntfId const & intf : vlan.value->intfKeys() ) {
         vlans[intf].insert( vlan.key.value() );
      }
   }
   auto const allowed =
      em.entity< Bridging::Input::AllowedVlans >( Catalog::pathOf( "dynAllowedVlans" ) );
   for ( auto const & list : allowed->vlans() ) {
      addNumbers( list.value.view(), vlans[list.key] );
   }
   if ( auto const group = allowed->trunkGroup( "qor" ) ) {
      VlanNumbers const asked = askedVlans( em );
      for ( IntfId const & intf : group->intfListKeys() ) {
         if ( !allowed->vlansHas( intf ) ) {
            vlans[intf].insert( asked.begin(), asked.end() );
         }
      }
   }
   return vlans;
}

std::map< IntfId, FewOf< HostThere > > hostsByPort( Corestore::EntityManager const & em,
                                                    std::size_t most ) {
   Hosts hosts( most );
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   for ( auto const & host : agent->warmHost() ) {
      hosts.add( host.value, host.key, "intercepted" );
   }
   auto const offered = em.entity< L2Rib::HostInput >( Catalog::pathOf( "l2RibQorHostInput" ) );
   for ( auto const & host : offered->host() ) {
      hosts.add( host.value.ciDest.intfId, host.key, "offered" );
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
      hosts.add( host.value.intf,
                 { host.key.addr,
                   vlan != vlanOfFid.end() ? vlan->second
                   : isVlan ? Bridging::VlanId( static_cast< std::uint16_t >( host.key.fid ) )
                            : Bridging::VlanId() },
                 "learnt" );
   }
   return hosts.take();
}

std::map< std::string, FewOf< std::string > > setsByPort( Corestore::EntityManager const & em,
                                                          std::size_t most ) {
   std::map< std::string, FewOf< std::string > > sets;
   if ( auto const policy = policyOf( em ) ) {
      for ( auto const & fragment : policy->policyFragment() ) {
         for ( auto const & set : fragment.value->serviceIntfSet() ) {
            for ( Kel::String const & port : set.value->intfKeys() ) {
               sets[port.stringValue()].add( flowPath( fragment.key, set.key ), most );
            }
         }
      }
   }
   return sets;
}

std::set< IntfId > portsOf( Corestore::EntityManager const & em ) {
   std::set< IntfId > all = Ports( em ).all();
   for ( auto const & [name, sets] : setsByPort( em, 0 ) ) {
      all.insert( IntfId( name ) );
   }
   return all;
}

}  // namespace Views
