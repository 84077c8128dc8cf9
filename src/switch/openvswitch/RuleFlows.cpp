#include "switch/openvswitch/RuleFlows.h"

#include <bit>
#include <string>
#include <utility>

#include "switch/openvswitch/Tables.h"

namespace OpenVSwitch {

using OpenFlow::Actions;
using OpenFlow::Flow;
using OpenFlow::Match;
using OpenFlowTable::FlowEntry;
using OpenFlowTable::FlowStatus;
using OpenFlowTable::TableType;
namespace ActionField = OpenFlowTable::ActionField;
namespace MatchField = OpenFlowTable::MatchField;

namespace {

constexpr std::uint16_t highestVlan = 4094;
constexpr std::uint8_t tcp = 6;
constexpr std::uint8_t udp = 17;

/** Why a rule cannot be had. */
struct Refused {
   Answer answer;
};

[[noreturn]] void refuse( FlowStatus status, std::string reason ) {
   throw Refused{ { status, std::move( reason ) } };
}

/** The lowest priority of a table is that of what else. */
std::uint16_t priorityOf( OpenFlowTable::Priority priority ) {
   constexpr std::int32_t lowest = 2;
   std::int32_t const number = priority.value() + lowest;
   if ( number > 0xffff ) {
      refuse( FlowStatus::refused7,
              "the switch has no priority " + std::to_string( priority.value() ) );
   }
   return static_cast< std::uint16_t >( number );
}

class RuleReader {
 public:
   RuleReader( Kel::String const & name, FlowEntry const & entry, RuleContext const & context )
      : name_( name ),
        entry_( entry ),
        match_( entry.match ),
        actions_( entry.actions ),
        context_( context ) {}

   std::vector< Flow > flows() {
      switch ( entry_.tableType ) {
         case TableType::preLookup:
            return everyInterface( Table::preLookup, beforeLookup() );
         case TableType::preTransmit:
            return beforeTransmission();
         case TableType::lookup:
            return everyInterface( Table::lookup, atLookup() );
         default:
            refuse( FlowStatus::refused7, "the switch has no such table" );
      }
   }

 private:
   bool has( std::uint64_t field ) const { return ( match_.matchFieldSet & field ) != 0; }
   bool does( std::uint64_t field ) const { return ( actions_.actionFieldSet & field ) != 0; }
   void refuseOthers( std::uint64_t matchable, std::uint64_t doable ) const {
      if ( match_.matchFieldSet & ~matchable ) {
         refuse( FlowStatus::refused10, "the switch cannot match all of it there" );
      }
      if ( actions_.actionFieldSet & ~doable ) {
         refuse( FlowStatus::refused7, does( ActionField::routedFlag )
                                          ? "the leading flag of its action has no meaning here"
                                          : "the switch cannot do all of it there" );
      }
   }
   /** A frame goes on in one of these ways. */
   void refuseAimless( std::uint64_t ways ) const {
      if ( std::popcount( actions_.actionFieldSet & ways ) != 1 ) {
         refuse( FlowStatus::refused7, "it does not say how the frame goes on" );
      }
   }
   PortNumber numberOf( Wirekit::IntfId intf ) const {
      auto const number = context_.topology.numberOf( intf );
      if ( !number ) {
         refuse( FlowStatus::refused6, "the bridge has no port " + intf.stringValue() );
      }
      return *number;
   }

   // What all places have in common.
   static constexpr std::uint64_t frameFields =
      MatchField::ethSrc | MatchField::ethDst | MatchField::vlanId;
   static constexpr std::uint64_t packetFields =
      MatchField::ethType | MatchField::ipSrc | MatchField::ipDst | MatchField::ip6Src |
      MatchField::ip6Dst | MatchField::ipProtocol | MatchField::l4SrcPort | MatchField::l4DstPort;

   Match frame() const {
      Match match;
      if ( has( MatchField::ethSrc ) ) {
         match.ethSrc( match_.ethSrc, match_.ethSrcMask );
      }
      if ( has( MatchField::ethDst ) ) {
         match.ethDst( match_.ethDst, match_.ethDstMask );
      }
      if ( has( MatchField::vlanId ) ) {
         if ( match_.vlanId > highestVlan ) {
            refuse( FlowStatus::refused10, "there is no VLAN " + std::to_string( match_.vlanId ) );
         }
         // Routed policy says no mask where all of it counts.
         if ( match_.vlanIdMask == 0 || match_.vlanIdMask == OpenFlowTable::wholeVlanId ) {
            match.vlan( match_.vlanId );
         } else {
            match.number( OpenFlow::Fields::vlanVid, match_.vlanId | OpenFlow::vlanPresent,
                          match_.vlanIdMask | OpenFlow::vlanPresent );
         }
      } else if ( does( ActionField::vlanId ) ) {
         // The switch wants to hear that there is a tag to rewrite, as there always is.
         match.number( OpenFlow::Fields::vlanVid, OpenFlow::vlanPresent, OpenFlow::vlanPresent );
      }
      return match;
   }

   /** The kinds of packets that it may be for, each with a match of its own. */
   std::vector< Match > packets( Match const & frame ) const {
      bool const wants4 = has( MatchField::ipSrc | MatchField::ipDst );
      bool const wants6 = has( MatchField::ip6Src | MatchField::ip6Dst );
      bool const wantsPorts = has( MatchField::l4SrcPort | MatchField::l4DstPort );
      if ( has( MatchField::arp ) ) {
         return { Match( frame ).arp() };
      }
      std::vector< Match > families;
      auto const family = [&]( std::uint16_t type, bool excluded ) {
         if ( !excluded && ( !has( MatchField::ethType ) || match_.ethType == type ) ) {
            families.push_back( Match( frame ).ethType( type ) );
         }
      };
      if ( wants4 || wants6 || wantsPorts || has( MatchField::ipProtocol | MatchField::routed ) ) {
         family( 0x0800, wants6 );
         family( 0x86dd, wants4 );
      } else if ( has( MatchField::ethType ) ) {
         families.push_back( Match( frame ).ethType( match_.ethType ) );
      } else {
         families.push_back( frame );
      }
      if ( families.empty() ) {
         refuse( FlowStatus::refused10, "no packet is of all the kinds that it names" );
      }
      for ( Match & match : families ) {
         if ( has( MatchField::ipSrc ) ) {
            match.ip4Src( match_.ipSrc, match_.ipSrcMask );
         }
         if ( has( MatchField::ipDst ) ) {
            match.ip4Dst( match_.ipDst, match_.ipDstMask );
         }
         if ( has( MatchField::ip6Src ) ) {
            match.ip6Src( match_.ip6Src, match_.ip6SrcMask );
         }
         if ( has( MatchField::ip6Dst ) ) {
            match.ip6Dst( match_.ip6Dst, match_.ip6DstMask );
         }
      }
      return wantsPorts || has( MatchField::ipProtocol ) ? protocols( families, wantsPorts )
                                                         : families;
   }

   std::vector< Match > protocols( std::vector< Match > const & families, bool wantsPorts ) const {
      std::vector< std::uint8_t > named{ tcp, udp };
      if ( has( MatchField::ipProtocol ) ) {
         named = { match_.ipProtocol };
      }
      std::vector< Match > matches;
      for ( std::uint8_t const protocol : named ) {
         if ( wantsPorts && protocol != tcp && protocol != udp ) {
            refuse( FlowStatus::refused10, "its protocol has no ports" );
         }
         for ( Match const & family : families ) {
            Match match = Match( family ).ipProtocol( protocol );
            if ( has( MatchField::l4SrcPort ) ) {
               match.l4SrcPort( match_.l4SrcPort );
            }
            if ( has( MatchField::l4DstPort ) ) {
               match.l4DstPort( match_.l4DstPort );
            }
            matches.push_back( std::move( match ) );
         }
      }
      return matches;
   }

   struct Wanted {
      std::vector< Match > matches;
      Actions actions;
   };

   /** One flow for each interface of arrival, or one for all. */
   std::vector< Flow > everyInterface( std::uint8_t table, Wanted const & wanted ) const {
      std::vector< Flow > flows;
      auto const add = [&]( Match match ) {
         flows.push_back( { .table = table,
                            .priority = priorityOf( entry_.priority ),
                            .match = std::move( match ),
                            .actions = wanted.actions } );
      };
      for ( Match const & match : wanted.matches ) {
         if ( !has( MatchField::inIntf ) ) {
            add( match );
            continue;
         }
         for ( Wirekit::IntfId const intf : match_.inIntf ) {
            add( Match( match ).inPort( numberOf( intf ) ) );
         }
      }
      return flows;
   }

   Actions rewritten() const {
      Actions actions;
      if ( does( ActionField::vlanId ) ) {
         if ( actions_.vlanId == 0 || actions_.vlanId > highestVlan ) {
            refuse( FlowStatus::refused7, "there is no VLAN " + std::to_string( actions_.vlanId ) );
         }
         actions.setVlan( actions_.vlanId );
      }
      return actions;
   }

   Wanted beforeLookup() const {
      refuseOthers( frameFields | packetFields | MatchField::inIntf | MatchField::arp,
                    ActionField::vlanId | ActionField::outputNormal );
      refuseAimless( ActionField::outputNormal );
      Match match = frame();
      if ( has( MatchField::vlanId ) ) {
         match.reg( Register::untagged, 0 );
      } else if ( name_.view().ends_with( "-untagged" ) ) {
         match.reg( Register::untagged, 1 );
      }
      return { packets( match ), rewritten().resubmit( Table::sourceGroup ) };
   }

   std::vector< Flow > beforeTransmission() const {
      refuseOthers( frameFields | packetFields | MatchField::arp,
                    ActionField::vlanId | ActionField::outputIntf | ActionField::dropTag );
      std::vector< Flow > flows;
      for ( Wirekit::IntfId const intf : actions_.outputIntf ) {
         PortNumber const number = numberOf( intf );
         Actions actions = rewritten();
         bool const isTunnel =
            context_.topology.tunnel && context_.topology.tunnel->number == number;
         if ( isTunnel || !does( ActionField::vlanId ) ) {
            // The tunnel has VNIs in place of tags; without another VLAN nothing changes.
            actions.resubmit( Table::output );
         } else if ( does( ActionField::dropTag ) ) {
            actions.popVlan().outputPort( number );
         } else {
            actions.outputPort( number );
         }
         for ( Match const & match : packets( frame().reg( Register::exitPort, number ) ) ) {
            flows.push_back( { .table = Table::preTransmit,
                               .priority = priorityOf( entry_.priority ),
                               .match = match,
                               .actions = actions } );
         }
      }
      if ( flows.empty() ) {
         refuse( FlowStatus::refused7, "it names no interface to leave by" );
      }
      return flows;
   }

   Wanted atLookup() const {
      refuseOthers( frameFields | packetFields | MatchField::inIntf | MatchField::arp |
                       MatchField::srcGroup | MatchField::dstGroup | MatchField::routed,
                    ActionField::vlanId | ActionField::outputIntf | ActionField::outputNormal |
                       ActionField::outputNexthop );
      refuseAimless( ActionField::outputIntf | ActionField::outputNormal |
                     ActionField::outputNexthop );
      Match match = frame();
      if ( has( MatchField::routed ) ) {
         if ( context_.virtualRouterMac.isZero() ) {
            refuse( FlowStatus::refused8, "there is no virtual router" );
         }
         match.ethDst( context_.virtualRouterMac );
      }
      group( match, MatchField::srcGroup, match_.srcGroup, Register::sourceGroup );
      group( match, MatchField::dstGroup, match_.dstGroup, Register::destinationGroup );
      return { packets( match ), forwarded() };
   }

   void group( Match & match, std::uint64_t field, Kel::String const & name, unsigned reg ) const {
      if ( !has( field ) ) {
         return;
      }
      auto const number = context_.groupNumber( name );
      if ( !number ) {
         refuse( FlowStatus::refused12, "there is no group " + name.stringValue() );
      }
      match.reg( reg, *number );
   }

   /** What the one action of a rule at lookup does with the frame. */
   Actions forwarded() const {
      Actions actions = rewritten().resubmit( Table::learning );
      if ( does( ActionField::outputNexthop ) ) {
         auto const & hops = actions_.outputNexthop;
         if ( hops.end() - hops.begin() != 1 || !hops.begin()->isV4() ) {
            refuse( FlowStatus::refused13, "it wants one next hop with an IPv4 address" );
         }
         if ( has( MatchField::routed ) ) {
            // It is a router that sends it on.
            actions.decrementTtl();
         }
         return actions.setReg( Register::nexthop, hops.begin()->v4Addr().bits() )
            .resubmit( Table::nexthop )
            .resubmit( Table::redirect );
      }
      if ( does( ActionField::outputIntf ) ) {
         for ( Wirekit::IntfId const intf : actions_.outputIntf ) {
            actions.clone( Actions()
                              .setReg( Register::exitPort, numberOf( intf ) )
                              .resubmit( Table::departure ) );
         }
         return actions;
      }
      return actions.resubmit( Table::destination );
   }

   Kel::String const & name_;
   FlowEntry const & entry_;
   OpenFlowTable::Match const & match_;
   OpenFlowTable::Actions const & actions_;
   RuleContext const & context_;
};

}  // namespace

WantedFlows ruleFlows( Kel::String const & name, FlowEntry const & entry,
                       RuleContext const & context ) {
   WantedFlows wanted;
   wanted.exclusive = true;
   try {
      wanted.flows = RuleReader( name, entry, context ).flows();
   } catch ( Refused const & refused ) {
      wanted.refused = refused.answer;
   }
   return wanted;
}

}  // namespace OpenVSwitch
