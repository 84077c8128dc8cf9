#include <bit>
#include <cstdio>
#include <map>
#include <string_view>
#include <utility>

#include "platform/kel/Dir.h"
#include "qorclient/agent/Status.h"
#include "qorclient/datapath/KelPolicyFragment.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/catalog/Catalog.h"
#include "records/qorl3/FragmentConfig.h"
#include "views/tables/Tables.h"
#include "views/tables/Words.h"

namespace Views {

namespace {

namespace MatchField = OpenFlowTable::MatchField;
namespace ActionField = OpenFlowTable::ActionField;
using OpenFlowTable::TableType;
using QorClient::DatapathV1::KelPolicyFragment;

/** Collects the words for the fields whose bit is set, and shows the bits without words. */
class FieldWords {
 public:
   explicit FieldWords( std::uint64_t mask ) : mask_( mask ) {}

   template < class Text >
   void add( std::uint64_t bit, Text text ) {
      if ( mask_ & bit ) {
         mask_ &= ~bit;
         append( text() );
      }
   }
   std::string take() {
      if ( mask_ ) {
         append( "bits " + hex( mask_ ) );
      }
      return std::move( words_ );
   }

   static std::string hex( std::uint64_t number ) {
      char text[24];
      std::snprintf( text, sizeof text, "0x%llx", static_cast< unsigned long long >( number ) );
      return text;
   }

 private:
   void append( std::string_view words ) {
      words_ += words_.empty() ? "" : ", ";
      words_ += words;
   }

   std::uint64_t mask_;
   std::string words_;
};

std::string names( Kel::ValueSet< Wirekit::IntfId > const & interfaces ) {
   std::string text;
   for ( Wirekit::IntfId const & intf : interfaces ) {
      text += ' ';
      text += intf.shortName();
   }
   return text;
}

/** An address, and its mask unless that is all ones: as a prefix length where it is one. */
std::string masked( Wirekit::EthAddr const & address, Wirekit::EthAddr const & mask ) {
   std::string const text = address.stringValue();
   return mask == Wirekit::EthAddr::allOnes() ? text : text + "/" + mask.stringValue();
}
std::string masked( Wirekit::Ip4Addr address, Wirekit::Ip4Addr mask ) {
   auto const length = static_cast< unsigned >( std::countl_one( mask.bits() ) );
   return address.stringValue() + ( mask != Wirekit::Ip4Addr::mask( length )
                                       ? "/" + mask.stringValue()
                                    : length == 32 ? ""
                                                   : "/" + std::to_string( length ) );
}
std::string masked( Wirekit::Ip6Addr const & address, Wirekit::Ip6Addr const & mask ) {
   int length = 0;
   int bits = 0;
   bool isPrefix = true;
   for ( std::uint8_t const byte : mask.bytes() ) {
      int const ones = std::countl_one( byte );
      isPrefix = isPrefix && ones == std::popcount( byte ) && ( ones == 0 || length == bits );
      length += ones;
      bits += 8;
   }
   return address.stringValue() + ( !isPrefix       ? "/" + mask.stringValue()
                                    : length == 128 ? ""
                                                    : "/" + std::to_string( length ) );
}

std::string matchWords( OpenFlowTable::Match const & match ) {
   FieldWords words( match.matchFieldSet );
   words.add( MatchField::inIntf, [&] { return "in" + names( match.inIntf ); } );
   words.add( MatchField::vlanId, [&] { return "VLAN " + std::to_string( match.vlanId ); } );
   words.add( MatchField::ethSrc,
              [&] { return "from " + masked( match.ethSrc, match.ethSrcMask ); } );
   words.add( MatchField::ethDst,
              [&] { return "to " + masked( match.ethDst, match.ethDstMask ); } );
   words.add( MatchField::ethType, [&] { return "type " + FieldWords::hex( match.ethType ); } );
   words.add( MatchField::arp, [] { return std::string( "ARP" ); } );
   words.add( MatchField::routed, [] { return std::string( "routed" ); } );
   words.add( MatchField::srcGroup, [&] { return "from group " + match.srcGroup.stringValue(); } );
   words.add( MatchField::dstGroup, [&] { return "to group " + match.dstGroup.stringValue(); } );
   words.add( MatchField::ipSrc, [&] { return "from " + masked( match.ipSrc, match.ipSrcMask ); } );
   words.add( MatchField::ipDst, [&] { return "to " + masked( match.ipDst, match.ipDstMask ); } );
   words.add( MatchField::ip6Src,
              [&] { return "from " + masked( match.ip6Src, match.ip6SrcMask ); } );
   words.add( MatchField::ip6Dst,
              [&] { return "to " + masked( match.ip6Dst, match.ip6DstMask ); } );
   words.add( MatchField::ipProtocol,
              [&] { return "protocol " + std::to_string( match.ipProtocol ); } );
   words.add( MatchField::l4SrcPort,
              [&] { return "source port " + std::to_string( match.l4SrcPort ); } );
   words.add( MatchField::l4DstPort, [&] { return "port " + std::to_string( match.l4DstPort ); } );
   return words.take();
}

std::string actionWords( OpenFlowTable::Actions const & actions ) {
   FieldWords words( actions.actionFieldSet );
   words.add( ActionField::vlanId,
              [&] { return "rewrite to VLAN " + std::to_string( actions.vlanId ); } );
   words.add( ActionField::dropTag, [] { return std::string( "drop tag" ); } );
   words.add( ActionField::outputIntf, [&] { return "out" + names( actions.outputIntf ); } );
   words.add( ActionField::outputNexthop, [&] {
      std::string text = "next hop";
      for ( auto const & nexthop : actions.outputNexthop ) {
         text += " " + nexthop.stringValue();
      }
      return text;
   } );
   words.add( ActionField::outputNormal, [] { return std::string( "forward" ); } );
   words.add( ActionField::routedFlag, [] { return std::string( "flag" ); } );
   return words.take();
}

std::string tableWord( TableType type ) {
   switch ( type ) {
      case TableType::none:
         return "none";
      case TableType::lookup:
         return "lookup";
      case TableType::preLookup:
         return "preLookup";
      case TableType::preTransmit:
         return "preTransmit";
   }
   return std::to_string( static_cast< std::uint32_t >( type ) );
}

/** The flows that each entry for routed traffic may stand for: its name is the flow's. */
std::map< std::string, std::string > routedFlows( Corestore::EntityManager const & em ) {
   std::map< std::string, std::string > flows;
   auto const dir = em.entity< Kel::Dir >( Catalog::pathOf( "fragmentConfigDir" ) );
   for ( auto const & vrf : dir->entity() ) {
      auto const fragment = Kel::ptrCast< QorL3::V1::FragmentConfig >( vrf.value );
      for ( auto const & group : fragment->flowGroup() ) {
         for ( auto const & flow : group.value->flow() ) {
            std::string & paths = flows[flow.key.stringValue()];
            paths += ( paths.empty() ? "" : ", " ) + flowPath( vrf.key, flow.key );
         }
      }
   }
   return flows;
}

/** The fragments whose flows share a rule, by its name. */
using SharedRules = std::map< std::string, std::string >;
SharedRules sharedRules( QorClient::Status const & agent ) {
   SharedRules rules;
   for ( auto const & users : agent.platformFlowRefCount() ) {
      rules.emplace( KelPolicyFragment::arpRuleName( users.key ).stringValue(),
                     users.key.stringValue() );
   }
   return rules;
}

/** The flow of a rule of the policy, or the fragment whose flows share it. */
std::string policyFlow( QorClient::Status const & agent, SharedRules const & shared,
                        Kel::Name const & rule ) {
   if ( agent.flowNameForRuleNameHas( rule ) ) {
      return flowPath( agent.fragmentNameForRuleName( rule ), agent.flowNameForRuleName( rule ) );
   }
   auto const users = shared.find( rule.stringValue() );
   return users == shared.end() ? "" : users->second + " (shared)";
}

}  // namespace

TextTable rulesTable( Corestore::EntityManager const & em, Choice const & choice ) {
   TextTable table( { "RULE", "FLOW", "TABLE", "PRIORITY", "HARDWARE", "MATCH", "ACTIONS" },
                    choice );
   auto add = [&]( Kel::Name const & rule, OpenFlowTable::FlowEntry const & entry,
                   auto const & flow, auto const & hardware ) {
      table.row( [&] { return hardware().words; },
                 [&] {
                    return cellsOf( rule.stringValue(), flow(), tableWord( entry.tableType ),
                                    entry.priority.value(), hardware().words,
                                    matchWords( entry.match ), actionWords( entry.actions ) );
                 } );
   };
   auto const tableAt = [&em]( char const * path ) {
      return em.entity< OpenFlowTable::PinFlowHwConfig >( path );
   };
   auto const answersAt = [&em]( char const * path ) {
      return em.entity< OpenFlowTable::HwStatus >( path );
   };
   auto const agent = em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) );
   auto const answers = answersAt( Catalog::pathOf( "pfHwStatus" ) );
   SharedRules const shared = sharedRules( *agent );
   for ( auto const & rule : tableAt( Catalog::pathOf( "pfHwConfig" ) )->flowEntry() ) {
      add(
         rule.key, rule.value, [&] { return policyFlow( *agent, shared, rule.key ); },
         [&] { return policyAnswer( *answers, rule.key ); } );
   }
   auto flows = routedFlows( em );
   auto const routedAnswers = answersAt( Catalog::pathOf( "pfHwStatusL3" ) );
   for ( auto const & rule : tableAt( Catalog::pathOf( "pfHwConfigL3" ) )->flowEntry() ) {
      add(
         rule.key, rule.value, [&] { return flows[rule.key.stringValue()]; },
         [&] { return routedAnswer( *routedAnswers, rule.key ); } );
   }
   return table;
}

}  // namespace Views
