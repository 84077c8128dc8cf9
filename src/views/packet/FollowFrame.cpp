#include "views/packet/FollowFrame.h"

#include "records/catalog/Catalog.h"
#include "records/routing/VirtualRouterMacStatus.h"
#include "views/packet/Hosts.h"
#include "views/packet/Ports.h"
#include "views/packet/RuleMatch.h"
#include "views/packet/RuleTable.h"

namespace Views {

namespace {

namespace ActionField = OpenFlowTable::ActionField;
namespace MatchField = OpenFlowTable::MatchField;
using Bridging::VlanId;
using OpenFlowTable::TableType;
using Kind = Step::Kind;
using Rule = RuleTable::Rule;

std::string vlanWord( VlanId vlan ) {
   return "VLAN " + std::to_string( vlan.value() );
}

std::optional< VlanId > vlanOf( std::uint16_t number ) {
   return number >= VlanId::min && number <= VlanId::max ? std::optional( VlanId( number ) )
                                                         : std::nullopt;
}

bool isGroup( Wirekit::EthAddr const & address ) {
   return address.bytes()[0] & 1;
}

/** One frame on its way, and what was told of it so far. Each stage says whether it goes on. */
class Walker {
 public:
   Walker( Corestore::EntityManager const & em, Frame const & frame )
      : em_( em ),
        frame_( frame ),
        ports_( em ),
        rules_( RuleTable::ofPolicy( em ) ),
        routedRules_( RuleTable::ofRoutedPolicy( em ) ),
        fromTunnel_( ports_.isTunnel( frame.in ) ),
        passing_{ .frame = frame } {}

   PacketWalk take() {
      if ( enter() && applyBeforeLookup() && lookUp() ) {
         forward();
      }
      return std::move( walk_ );
   }

 private:
   bool enter() {
      if ( !( fromTunnel_ ? enterFromTunnel() : enterAtPort() ) ) {
         return false;
      }
      if ( isGroup( frame_.from ) || frame_.from.isZero() ) {
         return drop( "no host sends from " + frame_.from.stringValue() );
      }
      return true;
   }

   bool enterAtPort() {
      std::string const port = frame_.in.stringValue();
      if ( !ports_.has( frame_.in ) ) {
         return drop( "there is no port " + port );
      }
      if ( frame_.isUntagged() ) {
         passing_.vlan = ports_.nativeVlan( frame_.in );
      } else if ( auto const vlan = vlanOf( *frame_.vlan ) ) {
         passing_.vlan = *vlan;
      } else {
         return drop( "there is no VLAN " + std::to_string( *frame_.vlan ) );
      }
      std::string const path = ports_.carriedBy( frame_.in, passing_.vlan );
      tell( Kind::in,
            port +
               ( !frame_.vlan          ? ", untagged: "
                 : frame_.isUntagged() ? ", tagged with a priority alone: "
                                       : ", tagged: " ) +
               vlanWord( passing_.vlan ) + ( frame_.isUntagged() ? " (native)" : "" ),
            path );
      return !path.empty() || drop( port + " does not carry " + vlanWord( passing_.vlan ) );
   }

   bool enterFromTunnel() {
      std::string const tunnel = frame_.in.stringValue();
      std::uint32_t const vni = frame_.vni.value_or( 0 );
      std::string const words = "VNI " + std::to_string( vni );
      auto const segment = ports_.segmentOf( frame_.in, vni );
      if ( !segment ) {
         return drop( tunnel + " has no VLAN for " + words );
      }
      passing_.vlan = segment->vlan;
      tell( Kind::in, tunnel + ", " + words + ": " + vlanWord( passing_.vlan ), segment->path );
      return true;
   }

   /** A rule that names the VLAN is for tagged frames; that for untagged ones has a name that says
    *  so. */
   bool isForItsTag( Kel::Name const & rule, OpenFlowTable::Match const & match ) const {
      bool const untagged = !fromTunnel_ && frame_.isUntagged();
      return match.matchFieldSet & MatchField::vlanId
                ? !untagged
                : untagged || !rule.view().ends_with( "-untagged" );
   }

   bool applyBeforeLookup() {
      auto const rule = rules_.first(
         TableType::preLookup,
         [this]( Kel::Name const & name, OpenFlowTable::FlowEntry const & entry ) {
            return isForItsTag( name, entry.match ) && matches( entry.match, passing_ );
         },
         walk_.steps );
      return !rule || ( rewrite( *rule, passing_.vlan ) && goesOn( *rule ) );
   }

   bool lookUp() {
      auto const fits = [this]( Kel::Name const &, OpenFlowTable::FlowEntry const & entry ) {
         return matches( entry.match, passing_ );
      };
      auto const rule = rules_.first( TableType::lookup, fits, walk_.steps );
      if ( rule && !( rewrite( *rule, passing_.vlan ) && goesOn( *rule ) ) ) {
         return false;
      }
      std::optional< Rule > routed;
      if ( isForRouter() ) {
         routed = routedRules_.first( TableType::lookup, fits, walk_.steps );
      }
      if ( routed ) {
         tell( Kind::rule, routed->name.stringValue() + ": " + routedWords( *routed ),
               routed->path );
      }
      learn();
      return !routed || applyRouted( *routed );
   }

   /** Rules of routed policy are for such frames alone. */
   bool isForRouter() {
      auto const router = em_.entity< Routing::Fhrp::VirtualRouterMacStatus >(
         Catalog::pathOf( "fhrpGlideMacStatus" ) );
      bool const toRouter =
         frame_.isIp() && !frame_.to.isZero() && frame_.to == router->virtualRouterMac();
      if ( toRouter && !frame_.hasAddresses() && routedRules_.config().flowEntryCount() != 0 ) {
         tell( Kind::note,
               "to the virtual router, but without the addresses that rules of routed policy match",
               Catalog::pathOf( "fhrpGlideMacStatus" ) );
      }
      passing_.routed = toRouter && frame_.hasAddresses();
      if ( passing_.routed ) {
         for ( auto const & endPoint : routedRules_.config().trafficEndPoint() ) {
            if ( endPoint.key.ip == frame_.ipFrom ) {
               passing_.fromGroups.insert( endPoint.value );
            }
            if ( endPoint.key.ip == frame_.ipTo ) {
               passing_.toGroups.insert( endPoint.value );
            }
         }
      }
      return passing_.routed;
   }

   static std::string routedWords( Rule const & rule ) {
      std::vector< std::string > places;
      if ( rule.does( ActionField::outputNexthop ) ) {
         for ( auto const & nexthop : rule.entry.actions.outputNexthop ) {
            places.push_back( nexthop.stringValue() );
         }
         return "to next hop " + joined( places );
      }
      if ( rule.does( ActionField::outputIntf ) ) {
         for ( auto const & intf : rule.entry.actions.outputIntf ) {
            places.push_back( intf.stringValue() );
         }
         return "out " + joined( places );
      }
      return rule.does( ActionField::outputNormal ) ? "goes on" : "goes nowhere";
   }

   bool applyRouted( Rule const & rule ) {
      if ( rule.does( ActionField::outputNexthop ) ) {
         for ( auto const & nexthop : rule.entry.actions.outputNexthop ) {
            leave( NextHopExit{ nexthop }, ", whose MAC is not in the state", rule.path );
         }
         return false;
      }
      if ( rule.does( ActionField::outputIntf ) ) {
         for ( auto const & intf : rule.entry.actions.outputIntf ) {
            leaveAt( intf );
         }
         return false;
      }
      return rule.does( ActionField::outputNormal ) ||
             drop( rule.name.stringValue() + " sends it nowhere", rule.path );
   }

   void learn() {
      if ( !fromTunnel_ ) {
         tell( Kind::learnt, frame_.from.stringValue() + " in " + vlanWord( passing_.vlan ) +
                                " at " + frame_.in.stringValue() );
      }
   }

   void forward() {
      std::string const host = frame_.to.stringValue() + " in " + vlanWord( passing_.vlan );
      if ( isGroup( frame_.to ) ) {
         flood( host );
      } else if ( auto const place = hostPlace( em_, ports_, { frame_.to, passing_.vlan } ) ) {
         tell( Kind::host, host + ": " + place->words, place->path );
         toHost( host, *place );
      } else {
         flood( host + " is not known" );
      }
   }

   void toHost( std::string const & host, HostPlace const & place ) {
      bool const inTunnel = ports_.isTunnel( place.intf );
      if ( place.intf == frame_.in || ( inTunnel && fromTunnel_ ) ) {
         drop( "that is where it came from", place.path );
      } else if ( !inTunnel ) {
         leaveAt( place.intf );
      } else if ( auto const segment = ports_.segmentOf( passing_.vlan );
                  segment && !place.vtep.isZero() ) {
         leaveThrough( *segment, place.vtep );
      } else {
         flood( host + " has no end point" );
      }
   }

   void flood( std::string const & words ) {
      tell( Kind::flood, words + ": to all that carries " + vlanWord( passing_.vlan ) );
      bool anywhere = false;
      for ( Wirekit::IntfId const & port : ports_.all() ) {
         if ( port != frame_.in && ports_.carries( port, passing_.vlan ) ) {
            anywhere = true;
            leaveAt( port );
         }
      }
      if ( auto const segment = ports_.segmentOf( passing_.vlan ); segment && !fromTunnel_ ) {
         for ( Wirekit::IpAddr const vtep : endPoints( em_, *segment ) ) {
            anywhere = true;
            leaveThrough( *segment, vtep );
         }
      }
      if ( !anywhere ) {
         drop( "nothing else carries " + vlanWord( passing_.vlan ) );
      }
   }

   std::optional< Rule > beforeTransmit( Wirekit::IntfId intf ) {
      return rules_.first(
         TableType::preTransmit,
         [this, intf]( Kel::Name const &, OpenFlowTable::FlowEntry const & entry ) {
            return entry.actions.actionFieldSet & ActionField::outputIntf &&
                   entry.actions.outputIntf.has( intf ) && matches( entry.match, passing_ );
         },
         walk_.steps );
   }

   /** One copy, in the frame's VLAN. */
   void leaveAt( Wirekit::IntfId port ) {
      std::string const path = ports_.carriedBy( port, passing_.vlan );
      if ( path.empty() ) {
         drop( port.stringValue() + " does not carry " + vlanWord( passing_.vlan ) );
         return;
      }
      VlanId vlan = passing_.vlan;
      bool tagged = vlan != ports_.nativeVlan( port );
      if ( auto const rule = beforeTransmit( port ) ) {
         if ( !rewrite( *rule, vlan ) ) {
            return;
         }
         if ( rule->does( ActionField::vlanId ) ) {
            tagged = !rule->does( ActionField::dropTag );
         }
      }
      leave( PortExit{ port, tagged ? std::optional( vlan ) : std::nullopt }, "", path );
   }

   void leaveThrough( Ports::Segment const & segment, Wirekit::IpAddr vtep ) {
      VlanId vlan = passing_.vlan;
      auto const rule = beforeTransmit( segment.tunnel );
      if ( rule && !rewrite( *rule, vlan ) ) {
         return;
      }
      if ( auto const last = ports_.segmentOf( vlan ) ) {
         leave( TunnelExit{ vtep, last->vni }, "", last->path );
      } else {
         drop( vlanWord( vlan ) + " has no VNI" );
      }
   }

   /** Tells of a rule that matches. False when it asks for a VLAN that there is not. */
   bool rewrite( Rule const & rule, VlanId & vlan ) {
      std::string const name = rule.name.stringValue() + ": ";
      if ( !rule.does( ActionField::vlanId ) ) {
         tell( Kind::rule, name + vlanWord( vlan ) + " stays", rule.path );
         return true;
      }
      auto const wanted = vlanOf( rule.entry.actions.vlanId );
      if ( !wanted ) {
         return drop( name + "there is no VLAN " + std::to_string( rule.entry.actions.vlanId ),
                      rule.path );
      }
      vlan = *wanted;
      tell( Kind::rule,
            name + vlanWord( vlan ) +
               ( rule.does( ActionField::dropTag ) ? ", the tag is dropped" : "" ),
            rule.path );
      return true;
   }

   bool goesOn( Rule const & rule ) {
      return rule.does( ActionField::outputNormal ) ||
             drop( rule.name.stringValue() + " does not let it go on", rule.path );
   }

   void tell( Kind kind, std::string text, std::string path = {} ) {
      walk_.steps.push_back( { kind, std::move( text ), std::move( path ) } );
   }
   /** Of a frame, or of one copy. False, so that a stage may end by it. */
   bool drop( std::string reason, std::string path = {} ) {
      tell( Kind::drop, std::move( reason ), std::move( path ) );
      return false;
   }
   void leave( Exit const & exit, char const * words, std::string path ) {
      tell( Kind::out, exitWords( exit ) + words, std::move( path ) );
      walk_.exits.push_back( exit );
   }

   Corestore::EntityManager const & em_;
   Frame const & frame_;
   Ports const ports_;
   RuleTable const rules_;
   RuleTable const routedRules_;
   bool const fromTunnel_;
   Passing passing_;
   PacketWalk walk_;
};

}  // namespace

PacketWalk followFrame( Corestore::EntityManager const & em, Frame const & frame ) {
   return Walker( em, frame ).take();
}

}  // namespace Views
