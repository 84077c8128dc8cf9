#include "live/FrameWays.h"

#include <algorithm>
#include <sstream>

#include "live/JsonText.h"
#include "platform/corestore/ValueText.h"

namespace Live {

namespace {

std::string portWords( std::string const & port, std::vector< std::string > const & tags ) {
   return port + ( tags.empty() ? ", untagged" : ", tagged " + tags.back() );
}

/** The number behind a word of a text. */
std::string behind( std::string const & text, std::string const & word ) {
   std::size_t const from = text.find( word ) + word.size();
   return text.substr( from, text.find_first_not_of( "0123456789", from ) - from );
}

}  // namespace

std::vector< std::string > Probe::options() const {
   std::vector< std::string > words{ "trace-packet", "--json", "--in",         in,  "--from", from,
                                     "--to",         to,       "--ether-type", kind };
   if ( vlan ) {
      words.insert( words.end(), { "--vlan", std::to_string( *vlan ) } );
   }
   if ( vni ) {
      words.insert( words.end(), { "--vni", std::to_string( *vni ) } );
   }
   return words;
}

std::string Probe::flow( BridgeState const & bridge ) const {
   std::string text =
      vni ? "in_port=" + std::to_string( bridge.numbers.at( "vxlan-qor" ) ) +
               ",tun_src=192.0.2.9,tun_dst=192.0.2.1,tun_id=" + std::to_string( *vni )
          : "in_port=" + std::to_string( bridge.numbers.at( in ) );
   text += ",dl_src=" + from + ",dl_dst=" + to;
   if ( vlan ) {
      // A tag with a priority alone has no VLAN.
      text += *vlan == 0 ? ",vlan_tci=0x1000" : ",dl_vlan=" + std::to_string( *vlan );
   }
   return text + ( kind == "ip6" ? ",ipv6" : "," + kind );
}

Exits exitsTold( std::string const & json ) {
   Exits exits;
   Kel::Value const told = Corestore::parseJson( json );
   for ( Kel::Value const & walk : elementsOf( told ) ) {
      for ( Kel::Value const & exit : elementsOf( at( walk, { "exits" } ) ) ) {
         Kel::Value const & vlan = at( exit, { "vlan" } );
         std::vector< std::string > tags;
         if ( !vlan.isNull() ) {
            tags.push_back( std::to_string( numberIn( vlan ) ) );
         }
         exits.insert( at( exit, { "vtep" } ).isNull()
                          ? portWords( textOf( at( exit, { "port" } ) ), tags )
                          : "VNI " + std::to_string( numberIn( at( exit, { "vni" } ) ) ) + " to " +
                               textOf( at( exit, { "vtep" } ) ) );
      }
   }
   return exits;
}

std::map< std::string, std::string > datapathPorts( std::string const & shown ) {
   std::map< std::string, std::string > names;
   std::istringstream lines( shown );
   for ( std::string line; std::getline( lines, line ); ) {
      // "Ethernet1 3/4: (tap)"
      std::istringstream words( line );
      std::string name;
      std::string numbers;
      words >> name >> numbers;
      if ( std::size_t const slash = numbers.find( '/' ); slash != numbers.npos ) {
         names[numbers.substr( slash + 1, numbers.size() - slash - 2 )] = name;
      }
   }
   return names;
}

Exits exitsTraced( std::string const & trace, Probe const & probe, BridgeState const & bridge,
                   std::map< std::string, std::string > const & datapath ) {
   Exits exits;
   // Whether a tunnel has a way below is no matter: the steps tell what goes into it.
   auto const tunnel = bridge.numbers.find( "vxlan-qor" );
   std::istringstream lines( trace );
   std::string endPoint;
   std::string vni;
   std::string actions;
   bool isOut = false;
   auto const through = [&] {
      if ( isOut ) {
         exits.insert( "VNI " + vni + " to " + endPoint );
      }
      isOut = false;
   };
   for ( std::string line; std::getline( lines, line ); ) {
      line.erase( 0, std::min( line.find_first_not_of( ' ' ), line.size() ) );
      isOut = isOut && !line.starts_with( ">> skipping output" );
      through();
      std::string const value = line.substr( line.find( ':' ) + 1 );
      if ( line.starts_with( "set_field:" ) && line.ends_with( "->tun_dst" ) ) {
         endPoint = value.substr( 0, value.find( '-' ) );
      } else if ( line.starts_with( "set_field:" ) && line.ends_with( "->tun_id" ) ) {
         vni = std::to_string( std::stoul( value, nullptr, 0 ) );
      } else if ( tunnel != bridge.numbers.end() &&
                  line == "output:" + std::to_string( tunnel->second ) ) {
         isOut = true;
      } else if ( line.starts_with( "Datapath actions: " ) ) {
         actions = line.substr( line.find( ": " ) + 2 );
      }
   }

   std::vector< std::string > tags;
   if ( probe.vlan ) {
      tags.push_back( std::to_string( *probe.vlan ) );
   }
   int depth = 0;
   std::string word;
   for ( char const c : actions + "," ) {
      depth += c == '(' ? 1 : c == ')' ? -1 : 0;
      if ( c != ',' || depth != 0 ) {
         word += c;
         continue;
      }
      if ( word == "pop_vlan" ) {
         tags.pop_back();
      } else if ( word.starts_with( "push_vlan(" ) ) {
         tags.push_back( behind( word, "vid=" ) );
      } else if ( auto const port = datapath.find( word ); port != datapath.end() ) {
         exits.insert( portWords( port->second, tags ) );
      } else if ( word != "drop" && !word.starts_with( "clone(tnl_push" ) &&
                  !word.starts_with( "tnl_push" ) ) {
         exits.insert( "unknown: " + word );
      }
      word.clear();
   }
   return exits;
}

std::string wordsOf( Exits const & exits ) {
   std::string text;
   for ( std::string const & exit : exits ) {
      text += "   " + exit + "\n";
   }
   return text;
}

}  // namespace Live
