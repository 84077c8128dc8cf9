#include "live/WantedLines.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "live/JsonText.h"

namespace Live {

namespace {

/** The tables of rules and hosts. */
std::set< int > const compared{ 10, 13, 31, 32, 33, 50 };

constexpr char const * ownEndPoint = "192.0.2.1";

constexpr std::uint64_t bitInIntf = 0x1;
constexpr std::uint64_t bitEthSrc = 0x8;
constexpr std::uint64_t bitEthDst = 0x20;
constexpr std::uint64_t bitVlan = 0x100;
constexpr std::uint64_t bitArp = std::uint64_t{ 1 } << 46;
constexpr std::uint64_t doVlan = 0x8;
constexpr std::uint64_t doDropTag = std::uint64_t{ 1 } << 34;

std::string hex( std::uint64_t number ) {
   char text[20];
   std::snprintf( text, sizeof text, "0x%llx", static_cast< unsigned long long >( number ) );
   return text;
}

std::vector< std::string > split( std::string const & text, char separator ) {
   std::vector< std::string > parts;
   std::istringstream in( text );
   for ( std::string part; std::getline( in, part, separator ); ) {
      parts.push_back( part );
   }
   return parts;
}

int tableOf( std::string const & flow ) {
   std::size_t const place = flow.find( "table=" );
   return std::stoi( flow.substr( place + 6 ) );
}

/** What a flow stands by. */
std::string placeOf( std::string const & flow ) {
   return flow.substr( 0, flow.find( " actions=" ) );
}

std::string actionsOf( std::string const & flow ) {
   return flow.substr( flow.find( " actions=" ) );
}

std::string address( char const * field, Kel::Value const & match, char const * name ) {
   std::string const mask = textOf( at( match, { std::string( name ) + "Mask" } ) );
   std::string const text = std::string( "," ) + field + "=" + textOf( at( match, { name } ) );
   return mask.empty() || mask == "ff:ff:ff:ff:ff:ff" ? text : text + "/" + mask;
}

}  // namespace

std::string orderedFlow( std::string const & line ) {
   std::size_t const end = line.find( " actions=" );
   std::vector< std::string > words;
   bool hasTable = false;
   for ( std::string word : split( line.substr( 0, end ), ',' ) ) {
      word.erase( 0, word.find_first_not_of( ' ' ) );
      hasTable = hasTable || word.starts_with( "table=" );
      if ( !word.empty() && !word.starts_with( "cookie=" ) ) {
         words.push_back( word );
      }
   }
   if ( !hasTable ) {
      words.emplace_back( "table=0" );
   }
   std::ranges::sort( words );
   std::string text;
   for ( std::string const & word : words ) {
      text += ( text.empty() ? "" : "," ) + word;
   }
   return text + line.substr( end );
}

WantedLines::WantedLines( Kel::Value const & state, BridgeState const & bridge )
   : state_( state ), bridge_( bridge ) {
   for ( auto const & [name, entry] :
         membersOf( at( state, { "pinflow/dyninput/qor", "flowEntry" } ) ) ) {
      addRule( name, entry );
   }
   for ( auto const & [key, row] :
         membersOf( at( state, { "bridging/l2Rib/qor/hostInput", "host" } ) ) ) {
      addOffered( key, row );
   }
   for ( auto const & [vni, table] :
         membersOf( at( state, { "vxlancontroller/version2/vni" } ) ) ) {
      for ( auto const & [mac, row] : membersOf( at( table, { "macVtepTable" } ) ) ) {
         addRemote( vni, mac, textOf( at( row, { "vtepAddr" } ) ) );
      }
   }
   for ( auto const & [key, row] : membersOf( at( state, { "bridging/status", "fdbStatus" } ) ) ) {
      addLearnt( key, row );
   }
}

void WantedLines::addRule( std::string const & name, Kel::Value const & entry ) {
   Rule & rule = rules_[name];
   Kel::Value const & answer =
      at( state_, { "pinflow/pfHwStatusDir/dyninputstatus/qor", "flowStats", name, "status" } );
   if ( !answer.isNull() ) {
      rule.status = numberIn( answer );
   }
   Kel::Value const & match = at( entry, { "match" } );
   Kel::Value const & actions = at( entry, { "actions" } );
   std::uint64_t const matched = numberIn( at( match, { "matchFieldSet" } ) );
   std::uint64_t const done = numberIn( at( actions, { "actionFieldSet" } ) );
   std::uint64_t const type = numberIn( at( entry, { "tableType" } ) );
   rule.table = type == 2 ? 10 : type == 3 ? 50 : 13;

   std::string start = "table=" + std::to_string( rule.table ) +
                       ",priority=" + std::to_string( numberIn( at( entry, { "priority" } ) ) + 2 );
   if ( matched & bitArp ) {
      start += ",arp";
   }
   if ( matched & bitEthSrc ) {
      start += address( "dl_src", match, "ethSrc" );
   }
   if ( matched & bitEthDst ) {
      start += address( "dl_dst", match, "ethDst" );
   }
   if ( matched & bitVlan ) {
      std::uint64_t const vlan = numberIn( at( match, { "vlanId" } ) );
      std::uint64_t const mask = numberIn( at( match, { "vlanIdMask" } ) );
      start += mask == 0 || mask == 0xfff
                  ? ",dl_vlan=" + std::to_string( vlan )
                  : ",vlan_tci=" + hex( 0x1000 | vlan ) + "/" + hex( 0x1000 | mask );
   } else if ( done & doVlan ) {
      start += ",vlan_tci=0x1000/0x1000";
   }
   if ( type == 2 ) {
      start += matched & bitVlan ? ",reg3=0" : name.ends_with( "-untagged" ) ? ",reg3=0x1" : "";
   }

   std::string const rewrite =
      done & doVlan
         ? "set_field:" + std::to_string( 4096 + numberIn( at( actions, { "vlanId" } ) ) ) +
              "->vlan_vid,"
         : "";
   bool const leaves = type == 3;
   auto const intfs = leaves ? elementsOf( at( actions, { "outputIntf" } ) )
                             : elementsOf( at( match, { "inIntf" } ) );
   auto const add = [&]( std::string const & what, std::string const & then ) {
      rule.flows.push_back( orderedFlow( start + what + " actions=" + rewrite + then ) );
   };
   if ( !leaves && !( matched & bitInIntf ) ) {
      add( "", type == 2 ? "resubmit(,11)" : "resubmit(,20),resubmit(,30)" );
   }
   for ( Kel::Value const & intf : intfs ) {
      auto const number = bridge_.numbers.find( textOf( intf ) );
      if ( number == bridge_.numbers.end() ) {
         rule.lacksPort = true;
         continue;
      }
      std::string const port = std::to_string( number->second );
      if ( leaves ) {
         add( ",reg0=" + hex( static_cast< std::uint64_t >( number->second ) ),
              done & doDropTag ? "pop_vlan,output:" + port
              : done & doVlan  ? "output:" + port
                               : "resubmit(,60)" );
      } else {
         add( ",in_port=" + port, "resubmit(,11)" );
      }
   }
}

void WantedLines::addOffered( std::string const & key, Kel::Value const & row ) {
   auto const number = bridge_.numbers.find( textOf( at( row, { "ciDest", "intfId" } ) ) );
   auto const host = split( key, '|' );
   // At a port that is not there it is nowhere.
   flows_.push_back( orderedFlow(
      "table=33,priority=10,dl_vlan=" + host[1] + ",dl_dst=" + host[0] + " actions=set_field:" +
      ( number == bridge_.numbers.end() ? "0xffff"
                                        : hex( static_cast< std::uint64_t >( number->second ) ) ) +
      "->reg0" ) );
}

void WantedLines::addRemote( std::string const & vni, std::string const & mac,
                             std::string const & vtep ) {
   for ( auto const & [intf, tunnel] :
         membersOf( at( state_, { "interface/status/eth/vxlan", "vtiStatus" } ) ) ) {
      auto const number = bridge_.numbers.find( "vxlan-qor" );
      if ( number == bridge_.numbers.end() || vtep == "0.0.0.0" || vtep == ownEndPoint ) {
         continue;
      }
      for ( auto const & [vlan, mapped] : membersOf( at( tunnel, { "vlanToVniMap" } ) ) ) {
         if ( std::to_string( numberIn( at( mapped, { "vni" } ) ) ) == vni ) {
            flows_.push_back(
               orderedFlow( "table=31,priority=10,dl_vlan=" + vlan + ",dl_dst=" + mac +
                            " actions=set_field:" + vtep + "->tun_dst,set_field:" +
                            hex( static_cast< std::uint64_t >( number->second ) ) + "->reg0" ) );
         }
      }
   }
}

void WantedLines::addLearnt( std::string const & key, Kel::Value const & row ) {
   auto const number = bridge_.numbers.find( textOf( at( row, { "intf" } ) ) );
   auto const host = split( key, '|' );
   char vlan[16];
   std::snprintf( vlan, sizeof vlan, "0x%04x", std::stoi( host[0] ) );
   flows_.push_back( orderedFlow(
      "table=32,idle_timeout=300,priority=10,vlan_tci=" + std::string( vlan ) +
      "/0x0fff,dl_dst=" + host[1] + " actions=load:" +
      ( number == bridge_.numbers.end() ? "nowhere"
                                        : hex( static_cast< std::uint64_t >( number->second ) ) ) +
      "->NXM_NX_REG0[0..15]" ) );
}

bool WantedLines::isOpen( std::string const & port ) const {
   std::vector< std::string > met;
   auto const number = bridge_.numbers.find( port );
   std::string const in =
      "in_port=" + ( number == bridge_.numbers.end() ? "" : std::to_string( number->second ) ) +
      ",";
   for ( auto const & [name, rule] : rules_ ) {
      for ( std::string const & flow : rule.flows ) {
         if ( rule.status == 1 && ( rule.table == 50 || flow.find( in ) != flow.npos ) ) {
            met.push_back( flow );
         }
      }
   }
   auto const isEither = []( std::string const & one, std::string const & other ) {
      if ( actionsOf( one ) == actionsOf( other ) ) {
         return false;
      }
      std::map< std::string, std::string > words;
      for ( std::string const & word : split( placeOf( one ), ',' ) ) {
         words[word.substr( 0, word.find( '=' ) )] = word;
      }
      return std::ranges::all_of( split( placeOf( other ), ',' ), [&]( std::string const & word ) {
         auto const mine = words.find( word.substr( 0, word.find( '=' ) ) );
         return mine == words.end() || mine->second == word;
      } );
   };
   for ( std::size_t i = 0; i != met.size(); ++i ) {
      for ( std::size_t j = 0; j != i; ++j ) {
         if ( isEither( met[i], met[j] ) ) {
            return true;
         }
      }
   }
   return false;
}

std::map< std::uint64_t, int > WantedLines::answers() const {
   std::map< std::uint64_t, int > found;
   for ( auto const & [name, rule] : rules_ ) {
      ++found[rule.status.value_or( 0 )];
   }
   return found;
}

std::uint64_t WantedLines::answerTo( Rule const & rule ) const {
   if ( rule.lacksPort ) {
      return 6;
   }
   if ( rule.status == 1 ) {
      return 1;
   }
   std::set< std::string > mine;
   for ( std::string const & flow : rule.flows ) {
      mine.insert( placeOf( flow ) );
   }
   for ( auto const & [name, other] : rules_ ) {
      for ( std::string const & flow : other.flows ) {
         if ( other.status == 1 && mine.contains( placeOf( flow ) ) ) {
            return 10;
         }
      }
   }
   auto const limit = bridge_.limits.find( rule.table );
   auto const standing =
      static_cast< std::size_t >( std::ranges::count( bridge_.flows, rule.table, tableOf ) );
   return limit != bridge_.limits.end() && standing + rule.flows.size() > limit->second ? 5 : 1;
}

std::string WantedLines::disagreements() const {
   std::string found;
   std::multiset< std::string > wanted( flows_.begin(), flows_.end() );
   for ( auto const & [name, rule] : rules_ ) {
      if ( std::uint64_t const due = answerTo( rule ); rule.status != due ) {
         found += "answer to " + name + ": " +
                  ( rule.status ? std::to_string( *rule.status ) : "none" ) + " in place of " +
                  std::to_string( due ) + "\n";
      }
      if ( rule.status == 1 ) {
         wanted.insert( rule.flows.begin(), rule.flows.end() );
      }
   }
   for ( std::string const & flow : bridge_.flows ) {
      bool const isOfFrames = flow.find( "priority=0," ) != flow.npos;
      if ( isOfFrames || !compared.contains( tableOf( flow ) ) ) {
         continue;
      }
      if ( auto const one = wanted.find( flow ); one != wanted.end() ) {
         wanted.erase( one );
      } else {
         found += "too much: " + flow + "\n";
      }
   }
   for ( std::string const & flow : wanted ) {
      found += "missing: " + flow + "\n";
   }
   return found;
}

}  // namespace Live
