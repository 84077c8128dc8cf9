#include <cstdio>

#include "platform/records/openflowtable/HwStatus.h"
#include "platform/records/openflowtable/PinFlowHwConfig.h"
#include "platform/records/qorclient/Status.h"
#include "runner/tables/Tables.h"

namespace Runner {

namespace {

namespace MatchField = OpenFlowTable::MatchField;
namespace ActionField = OpenFlowTable::ActionField;
using OpenFlowTable::TableType;

/** Collects the words for the fields whose bit is set, and shows the bits without words. */
class Words {
 public:
   explicit Words( std::uint64_t mask ) : mask_( mask ) {}

   template < class Text >
   void add( std::uint64_t bit, Text text ) {
      if ( mask_ & bit ) {
         mask_ &= ~bit;
         words_.push_back( text() );
      }
   }
   std::string take() {
      if ( mask_ ) {
         words_.push_back( "bits " + hex( mask_ ) );
      }
      return joined( words_ );
   }

   static std::string hex( std::uint64_t number ) {
      char text[24];
      std::snprintf( text, sizeof text, "0x%llx", static_cast< unsigned long long >( number ) );
      return text;
   }

 private:
   std::uint64_t mask_;
   std::vector< std::string > words_;
};

std::string names( Kel::ValueSet< Wirekit::IntfId > const & interfaces ) {
   std::string text;
   for ( Wirekit::IntfId const & intf : interfaces ) {
      text += " " + intf.shortName();
   }
   return text;
}

/** An address, and its mask unless that is all ones. */
template < class Address >
std::string masked( Address const & address, Address const & mask, std::string const & allOnes ) {
   std::string const text = address.stringValue();
   return mask.stringValue() == allOnes ? text : text + "/" + mask.stringValue();
}

std::string matchWords( OpenFlowTable::Match const & match ) {
   std::string const ethOnes = "ff:ff:ff:ff:ff:ff";
   std::string const ip4Ones = "255.255.255.255";
   std::string const ip6Ones = "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff";
   Words words( match.matchFieldSet );
   words.add( MatchField::inIntf, [&] { return "in" + names( match.inIntf ); } );
   words.add( MatchField::vlanId, [&] { return "VLAN " + std::to_string( match.vlanId ); } );
   words.add( MatchField::ethSrc,
              [&] { return "from " + masked( match.ethSrc, match.ethSrcMask, ethOnes ); } );
   words.add( MatchField::ethDst,
              [&] { return "to " + masked( match.ethDst, match.ethDstMask, ethOnes ); } );
   words.add( MatchField::ethType, [&] { return "type " + Words::hex( match.ethType ); } );
   words.add( MatchField::arp, [] { return std::string( "ARP" ); } );
   words.add( MatchField::routed, [] { return std::string( "routed" ); } );
   words.add( MatchField::srcGroup, [&] { return "from group " + match.srcGroup.stringValue(); } );
   words.add( MatchField::dstGroup, [&] { return "to group " + match.dstGroup.stringValue(); } );
   words.add( MatchField::ipSrc,
              [&] { return "from " + masked( match.ipSrc, match.ipSrcMask, ip4Ones ); } );
   words.add( MatchField::ipDst,
              [&] { return "to " + masked( match.ipDst, match.ipDstMask, ip4Ones ); } );
   words.add( MatchField::ip6Src,
              [&] { return "from " + masked( match.ip6Src, match.ip6SrcMask, ip6Ones ); } );
   words.add( MatchField::ip6Dst,
              [&] { return "to " + masked( match.ip6Dst, match.ip6DstMask, ip6Ones ); } );
   words.add( MatchField::ipProtocol,
              [&] { return "protocol " + std::to_string( match.ipProtocol ); } );
   words.add( MatchField::l4SrcPort,
              [&] { return "source port " + std::to_string( match.l4SrcPort ); } );
   words.add( MatchField::l4DstPort, [&] { return "port " + std::to_string( match.l4DstPort ); } );
   return words.take();
}

std::string actionWords( OpenFlowTable::Actions const & actions ) {
   Words words( actions.actionFieldSet );
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

std::string hardwareWord( OpenFlowTable::HwStatus const & hardware, Kel::Name const & rule ) {
   auto const stats = hardware.flowStats( rule );
   if ( !stats ) {
      return "no answer";
   }
   auto const number = static_cast< std::uint32_t >( stats->status() );
   switch ( number ) {
      case 0:
         return "pending";
      case 1:
         return "programmed";
      case 5:
      case 6:
      case 7:
      case 10:
         return "rejected (" + std::to_string( number ) + ")";
   }
   return "in progress (" + std::to_string( number ) + ")";
}

}  // namespace

TextTable rulesTable( Switch const & device ) {
   TextTable table( { "RULE", "FLOW", "TABLE", "PRIORITY", "HARDWARE", "MATCH", "ACTIONS" } );
   auto const agent = device.entity< QorClient::Status >( "qorclient/status" );
   auto addRules = [&]( std::string const & configPath, std::string const & statusPath,
                        bool routed ) {
      auto const config = device.entity< OpenFlowTable::PinFlowHwConfig >( configPath );
      auto const hardware = device.entity< OpenFlowTable::HwStatus >( statusPath );
      for ( auto const & rule : config->flowEntry() ) {
         std::string flow = routed ? "routed " + rule.key.stringValue() : "";
         if ( !routed && agent->flowNameForRuleNameHas( rule.key ) ) {
            flow = agent->fragmentNameForRuleName( rule.key ).stringValue() + " " +
                   agent->flowNameForRuleName( rule.key ).stringValue();
         }
         table.row( { rule.key.stringValue(), flow, tableWord( rule.value.tableType ),
                      std::to_string( rule.value.priority.value() ),
                      hardwareWord( *hardware, rule.key ), matchWords( rule.value.match ),
                      actionWords( rule.value.actions ) } );
      }
   };
   addRules( "pinflow/dyninput/qor", "pinflow/pfHwStatusDir/dyninputstatus/qor", false );
   addRules( "pinflow/dyninput/qorl3", "pinflow/pfHwStatusDir/dyninputstatus/qorl3", true );
   return table;
}

}  // namespace Runner
