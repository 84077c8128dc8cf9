#include "histories/Scratch.h"

#include <algorithm>
#include <functional>
#include <set>

#include "histories/Complaints.h"
#include "platform/corestore/ValueText.h"

namespace Histories {

namespace {

using Kel::Value;

/** The members of the object at the end of a path through objects. */
Value::Object const & rowsOf( Value const & value,
                              std::initializer_list< std::string_view > path ) {
   static Value::Object const none;
   Value const * found = &value;
   for ( std::string_view const name : path ) {
      found = found->member( name );
      if ( !found ) {
         return none;
      }
   }
   auto const * rows = found->as< Value::Object >();
   return rows ? *rows : none;
}

/** Whether a host of the flow is known on a member of a set of its own fragment. */
bool isOnServiceIntf( Value const & state, std::string const & fragment,
                      std::string const & flow ) {
   std::set< std::string > members;
   for ( auto const & [name, set] : rowsOf(
            state,
            { "qor/version1/policy", "policy", "policyFragment", fragment, "serviceIntfSet" } ) ) {
      for ( auto const & [intf, value] : rowsOf( set, { "intf" } ) ) {
         members.insert( Corestore::jsonLine( Value( intf ) ) );
      }
   }
   auto const & bound = rowsOf( state, { "qorclient/status", "policyFragmentInfo", fragment,
                                         "flowInfo", flow, "boundHost" } );
   for ( auto const & [host, intf] : rowsOf( state, { "qorclient/status", "warmHost" } ) ) {
      for ( auto const & [wanted, installed] : bound ) {
         if ( wanted == host && members.contains( Corestore::jsonLine( intf ) ) ) {
            return true;
         }
      }
   }
   return false;
}

/**
 * What a fragment's flows are reported as, by flow. The words are those of the moment in which the
 * flow was last looked at: while a VNI lacks its VLAN, nothing makes them anew over hosts and
 * interfaces, those of an egress flow never over the hosts of others, nor those of a flow whose
 * host comes on a service interface; and a set that empties is told before its last rule goes.
 * `unheard` gets the flows
 * of which the report depends on the order of answers: one is owed to some rule, or was when that
 * rule went, or the one that stands is older than the rule, which nobody tells again.
 */
Value::Object reportsOf( Value const & state, std::string const & fragment,
                         std::set< std::string > & unheard ) {
   Value::Object reports;
   for ( auto const & [flow, row] : rowsOf(
            state,
            { "qorclient/version1/policystatus", "policyFragment", fragment, "flowStatus" } ) ) {
      std::string words = *row.member( "flowStateDetails" )->as< std::string >();
      std::string const number = Corestore::jsonLine( *row.member( "flowState" ) );
      if ( words.ends_with( "PinFlow status" ) || ( number == "1" && words.empty() ) ) {
         unheard.insert( flow );
      }
      auto leaveOut = [&words]( std::string_view condition ) {
         if ( auto const place = words.find( condition ); place != std::string::npos ) {
            words.erase( place, condition.size() );
         }
      };
      bool const lacksVlan = words.find( "to be mapped to a VLAN" ) != std::string::npos;
      if ( lacksVlan || flow.starts_with( 'e' ) || isOnServiceIntf( state, fragment, flow ) ) {
         leaveOut( "Host to be learnt, " );
      }
      if ( lacksVlan ) {
         leaveOut( "Service Interfaces to become available, " );
      } else if ( words.find( "Service Interfaces to become available" ) != std::string::npos ) {
         leaveOut( ", PinFlow rule" );
      }
      reports.emplace_back( flow, Value( number + " " + words ) );
   }
   return reports;
}

/** Compares two tables, but for the rows that are left out. */
void compare( Complaints & complaints, Value::Object const & lived, Value::Object const & fresh,
              auto const & isLeftOut ) {
   std::map< std::string, std::pair< std::string, std::string > > rows;
   for ( auto const & [key, value] : lived ) {
      rows[key].first = Corestore::jsonLine( value );
   }
   for ( auto const & [key, value] : fresh ) {
      rows[key].second = Corestore::jsonLine( value );
   }
   for ( auto const & [key, row] : rows ) {
      complaints.that( row.first == row.second || isLeftOut( key ), key, " is ", row.first,
                       ", from scratch ", row.second );
   }
}

bool allows( Value const & state, std::string const & intf, std::string const & vlan ) {
   for ( auto const & [name, list] :
         rowsOf( state, { "bridging/input/dynvlan/allowedvlan/qor", "vlans" } ) ) {
      if ( name == intf ) {
         return ( "," + *list.as< std::string >() + "," ).find( "," + vlan + "," ) !=
                std::string::npos;
      }
   }
   return false;
}

}  // namespace

Scratch::Scratch( Scenarios::Switch const & device, PolicyMemory policy, RoutedInvariants routed )
   : state_( device.dump() ),
     policy_( std::move( policy ) ),
     routed_( std::move( routed ) ),
     vlans_( vlansOfVnis() ) {
   // Before anything else, and in a time when hosts that nobody asks for yet are kept.
   Value::Object status{ { "resyncInProgress", Value( true ) } };
   for ( char const * table : { "warmHost", "warmHostRefCount" } ) {
      status.emplace_back( table, rowsOf( state_, { "qorclient/status", table } ) );
   }
   // An agent learns of its own end point after its VLANs: the hosts behind it are offered by the
   // one that is known before.
   if ( Value const * address = state_.member( "qorclient/status" )->member( "myVtepAddr" ) ) {
      status.emplace_back( "myVtepAddr", *address );
   }
   inputs_.emplace_back( "qorclient/status", Value( std::move( status ) ) );
   for ( auto const & [path, entity] : *state_.as< Value::Object >() ) {
      if ( path == "pinflow/pfHwStatusDir/dyninputstatus/qor" ) {
         Value::Object capability = *entity.as< Value::Object >();
         std::erase_if( capability,
                        []( auto const & member ) { return member.first == "flowStats"; } );
         inputs_.emplace_back( path, Value( std::move( capability ) ) );
         answers_.emplace_back( path, entity );
      } else if ( path != "runner/clock" && path != "bridging/l2Rib/qor/hostInput" &&
                  !device.entityManager().isMountedForWrite( path ) ) {
         inputs_.emplace_back( path, entity );
      }
   }
   // The gate opens on all of it, or what comes first would be taken for the whole.
   std::stable_partition( inputs_.begin(), inputs_.end(), []( auto const & member ) {
      return member.first != "mgmt/controller/status";
   } );
}

std::vector< std::string > Scratch::differences() const {
   Scenarios::Switch device;
   device.patch( Value( inputs_ ) );
   // The hardware answers for what stands already.
   device.patch( Value( answers_ ) );
   Value const fresh = device.dump();
   Complaints complaints;

   // Of two VLANs with one VNI the agent uses neither, but the first after a start.
   std::set< std::string > otherVnis;
   std::set< std::string > otherVlans;
   auto const freshVlans = vlansOfVnis();
   for ( auto const * vlans : { &vlans_, &freshVlans } ) {
      for ( auto const & [vni, vlan] : *vlans ) {
         auto const & others = vlans == &vlans_ ? freshVlans : vlans_;
         if ( auto const other = others.find( vni );
              other == others.end() || other->second != vlan ) {
            otherVnis.insert( vni );
            otherVlans.insert( vlan );
         }
      }
   }

   auto routed = [&]( char const * table, auto const & isLeftOut ) {
      compare( complaints, rowsOf( state_, { "pinflow/dyninput/qorl3", table } ),
               rowsOf( fresh, { "pinflow/dyninput/qorl3", table } ),
               [&]( auto const & key ) { return routed_.isUnsettled( key ) || isLeftOut( key ); } );
   };
   routed( "trafficGroup", []( auto const & ) { return false; } );
   routed( "trafficEndPoint", [&]( std::string const & id ) {
      std::string const rest = id.substr( 0, id.rfind( '|' ) );
      return otherVlans.contains( rest.substr( rest.rfind( '|' ) + 1 ) );
   } );
   std::set< std::string > otherFlows;
   for ( auto const & [vrf, fragment] :
         rowsOf( state_, { "qorl3/version1/global/fragmentConfig" } ) ) {
      for ( auto const & [order, group] : rowsOf( fragment, { "flowGroup" } ) ) {
         for ( auto const & [name, flow] : rowsOf( group, { "flow" } ) ) {
            Value const * match = flow.member( "match" );
            Value const * vni = match ? match->member( "vni" ) : nullptr;
            if ( vni && otherVnis.contains( Corestore::jsonLine( *vni ) ) ) {
               otherFlows.insert( name );
            }
         }
      }
   }
   routed( "flowEntry", [&]( auto const & name ) { return otherFlows.contains( name ); } );
   // The datapath, by fragment.
   auto const warm = std::pair( rowsOf( state_, { "qorclient/status", "warmHost" } ),
                                rowsOf( fresh, { "qorclient/status", "warmHost" } ) );
   auto placeOf = []( Value::Object const & hosts, std::string const & host ) {
      for ( auto const & [key, intf] : hosts ) {
         if ( key == host ) {
            return Corestore::jsonLine( intf );
         }
      }
      return std::string();
   };
   std::set< std::string > fragments;
   std::set< std::string > otherFragments;
   std::set< std::string > steady;
   // VLANs that the agent has no more, since the interface that bound their VNI has left its set.
   std::set< std::string > unbound;
   for ( auto const & [path, entity] :
         rowsOf( state_, { "qor/version1/policy", "policy", "policyFragment" } ) ) {
      if ( fresh.member( "qorclient/status" )->member( "active" ) ) {
         fragments.insert( path );
      }
      if ( !policy_.unsettled( path ).empty() ) {
         otherFragments.insert( path );
      }
      for ( bool const near : { false, true } ) {
         Value const * vni = entity.member( near ? "serviceVni" : "originalVni" );
         for ( auto const & [intf, value] :
               rowsOf( entity, { "serviceIntfSet", near ? "near" : "far", "intf" } ) ) {
            std::string const number = vni ? Corestore::jsonLine( *vni ) : "";
            if ( vni && !policy_.hasLeft( path, intf ) ) {
               steady.insert( number + "|" + intf + "|" + path );
            } else if ( auto const vlan = freshVlans.find( number );
                        vlan != freshVlans.end() &&
                        placeOf( rowsOf( state_, { "qorclient/status", "vlanForVni" } ), number )
                           .empty() ) {
               unbound.insert( vlan->second );
            }
         }
         if ( vni && otherVnis.contains( Corestore::jsonLine( *vni ) ) ) {
            otherFragments.insert( path );
         }
      }
      for ( auto const & [flow, info] :
            rowsOf( fresh, { "qorclient/status", "policyFragmentInfo", path, "flowInfo" } ) ) {
         for ( auto const & [host, intf] : rowsOf( info, { "boundHost" } ) ) {
            // A host that comes on a service interface leaves its rules where it was: of two places
            // that are told of it, the fresh agent has been at both.
            bool const stays = isOnServiceIntf( fresh, path, flow ) &&
                               placeOf( rowsOf( state_, { "qorclient/status", "policyFragmentInfo",
                                                          path, "flowInfo", flow, "boundHost" } ),
                                        host ) != Corestore::jsonLine( intf );
            if ( stays || placeOf( warm.first, host ) != placeOf( warm.second, host ) ) {
               otherFragments.insert( path );
            }
         }
      }
   }
   compare( complaints, rowsOf( state_, { "pinflow/dyninput/qor", "flowEntry" } ),
            rowsOf( fresh, { "pinflow/dyninput/qor", "flowEntry" } ), [&]( auto const & name ) {
               std::string const fragment = name.substr( 0, name.find_first_of( "_-" ) );
               return otherFragments.contains( fragment ) || policy_.counts().isTooFew( name ) ||
                      policy_.counts().isTooMany( name ) ||
                      ( name == fragment + "-arp" && policy_.counts().isStale( fragment ) );
            } );
   for ( std::string const & fragment : fragments ) {
      if ( !otherFragments.contains( fragment ) ) {
         std::set< std::string > unheard;
         auto const reports = reportsOf( state_, fragment, unheard );
         compare(
            complaints, reports, reportsOf( fresh, fragment, unheard ), [&]( auto const & flow ) {
               return unheard.contains( flow ) || policy_.isUntoldOfReturn( fragment, flow ) ||
                      policy_.counts().isMiscounted( fragment + "_" + flow + "-" ) ||
                      policy_.counts().isThinned( fragment, flow );
            } );
      }
   }
   std::set< std::string > leftOut = otherVlans;
   leftOut.merge( unbound );
   for ( std::string const & fragment : otherFragments ) {
      for ( auto const & [side, vni] :
            rowsOf( state_, { "qor/version1/policy", "policy", "policyFragment", fragment } ) ) {
         if ( side == "originalVni" || side == "serviceVni" ) {
            leftOut.merge( policy_.l2Rib().vlansOf( Corestore::jsonLine( vni ) ) );
         }
      }
   }
   policy_.l2Rib().compare( complaints, device, leftOut );
   // The bindings of a fragment outlive it until the next start of the datapath, those of a flow on
   // an interface the host's stay there, and an interface that has left a set never has them again.
   compare( complaints, rowsOf( state_, { "qorclient/status", "boundVni" } ),
            rowsOf( fresh, { "qorclient/status", "boundVni" } ), [&]( auto const & binding ) {
               auto const first = binding.find( '|' );
               auto const last = binding.rfind( '|' );
               std::string const fragment = binding.substr( last + 1 );
               return ( first + 1 != last && !steady.contains( binding ) ) ||
                      !fragments.contains( fragment ) || otherFragments.contains( fragment ) ||
                      policy_.hasGone( fragment );
            } );
   // A VLAN is off an interface while a host of it is there, as it was when last looked at.
   for ( std::string const & binding : steady ) {
      auto const first = binding.find( '|' );
      auto const last = binding.rfind( '|' );
      std::string const intf = binding.substr( first + 1, last - first - 1 );
      auto const vlan = freshVlans.find( binding.substr( 0, first ) );
      std::string const fragment = binding.substr( last + 1 );
      if ( vlan != freshVlans.end() && fragments.contains( fragment ) &&
           !otherFragments.contains( fragment ) && !policy_.wasWarm( intf ) ) {
         complaints.that(
            allows( state_, intf, vlan->second ) == allows( fresh, intf, vlan->second ), "VLAN ",
            vlan->second, " of ", binding, " is allowed otherwise" );
      }
   }
   return complaints.broken;
}

}  // namespace Histories
