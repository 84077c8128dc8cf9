#include "views/packet/BridgeTrace.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <vector>

namespace Views {

namespace {

/** The number that follows a word. */
std::string numberBehind( std::string_view text, std::string_view word ) {
   std::size_t const from = text.find( word ) + word.size();
   return std::string( text.substr( from, text.find_first_not_of( "0123456789", from ) - from ) );
}

std::string protocolOf( std::uint16_t etherType ) {
   return etherType == EtherType::ip4   ? "ip"
          : etherType == EtherType::ip6 ? "ipv6"
          : etherType == EtherType::arp ? "arp"
                                        : "dl_type=" + std::to_string( etherType );
}

/** The actions of a datapath, which stand between commas; those in brackets belong together. */
std::vector< std::string > actionsIn( std::string_view text ) {
   std::vector< std::string > actions( 1 );
   int depth = 0;
   for ( char const c : text ) {
      depth += c == '(' ? 1 : c == ')' ? -1 : 0;
      if ( c == ',' && depth == 0 ) {
         actions.emplace_back();
      } else {
         actions.back() += c;
      }
   }
   return actions;
}

}  // namespace

BridgePorts bridgePorts( std::string const & shown, std::string const & bridge ) {
   BridgePorts ports;
   bool isOfBridge = false;
   std::istringstream lines( shown );
   for ( std::string line; std::getline( lines, line ); ) {
      // "Ethernet1 3/4: (tap)"
      std::istringstream words( line );
      std::string name;
      std::string numbers;
      words >> name >> numbers;
      std::size_t const slash = numbers.find( '/' );
      if ( slash == numbers.npos ) {
         isOfBridge = numbers.empty() ? name == bridge + ":" : isOfBridge;
         continue;
      }
      bool const isTunnel = line.find( "(vxlan" ) != line.npos;
      // What leaves through a tunnel is told by the steps.
      ports.names[numbers.substr( slash + 1, numbers.size() - slash - 2 )] = isTunnel ? "" : name;
      if ( !isOfBridge ) {
         continue;
      }
      ports.numbers[name] = numbers.substr( 0, slash );
      if ( isTunnel && line.find( "key=flow" ) != line.npos &&
           line.find( "remote_ip=flow" ) != line.npos ) {
         ports.tunnel = numbers.substr( 0, slash );
      }
   }
   return ports;
}

std::optional< std::string > tracedFlow( Frame const & frame, bool isTunnelled,
                                         Wirekit::IpAddr const & endPoint,
                                         BridgePorts const & ports ) {
   auto const port = ports.numbers.find( frame.in.stringValue() );
   if ( isTunnelled ? ports.tunnel.empty() : port == ports.numbers.end() ) {
      return std::nullopt;
   }
   std::string text = "in_port=" + ( isTunnelled ? ports.tunnel : port->second );
   auto const add = [&text]( char const * field, std::string const & value ) {
      text += "," + std::string( field ) + "=" + value;
   };
   if ( isTunnelled ) {
      // From whom it comes is no matter.
      add( "tun_src", "192.0.2.254" );
      add( "tun_dst", endPoint.stringValue() );
      add( "tun_id", std::to_string( frame.vni.value_or( 0 ) ) );
   }
   add( "dl_src", frame.from.stringValue() );
   add( "dl_dst", frame.to.stringValue() );
   if ( frame.vlan ) {
      // A tag with a priority alone has no VLAN.
      add( *frame.vlan == 0 ? "vlan_tci" : "dl_vlan",
           *frame.vlan == 0 ? "0x1000" : std::to_string( *frame.vlan ) );
   }
   text += "," + protocolOf( frame.etherType );
   if ( !frame.isIp() ) {
      return text;
   }
   add( "nw_ttl", "64" );
   if ( frame.hasAddresses() ) {
      bool const is4 = frame.etherType == EtherType::ip4;
      add( is4 ? "nw_src" : "ipv6_src", frame.ipFrom.stringValue() );
      add( is4 ? "nw_dst" : "ipv6_dst", frame.ipTo.stringValue() );
   }
   if ( frame.protocol ) {
      add( "nw_proto", std::to_string( *frame.protocol ) );
   }
   if ( frame.fromPort ) {
      add( "tp_src", std::to_string( *frame.fromPort ) );
   }
   if ( frame.toPort ) {
      add( "tp_dst", std::to_string( *frame.toPort ) );
   }
   return text;
}

std::multiset< std::string > tracedExits( std::string const & trace, Frame const & frame,
                                          BridgePorts const & ports ) {
   std::multiset< std::string > exits;
   // Whether a tunnel has a way below is no matter: the steps tell what goes into it.
   std::istringstream lines( trace );
   std::string endPoint;
   std::string vni;
   std::string actions;
   bool isOut = false;
   auto const leave = [&] {
      if ( isOut ) {
         exits.insert( "VNI " + vni + " to " + endPoint );
      }
      isOut = false;
   };
   for ( std::string line; std::getline( lines, line ); ) {
      line.erase( 0, std::min( line.find_first_not_of( ' ' ), line.size() ) );
      isOut = isOut && !line.starts_with( ">> skipping output" );
      leave();
      std::string const value = line.substr( line.find( ':' ) + 1 );
      if ( line.starts_with( "set_field:" ) && line.ends_with( "->tun_dst" ) ) {
         endPoint = value.substr( 0, value.find( '-' ) );
      } else if ( line.starts_with( "set_field:" ) && line.ends_with( "->tun_id" ) ) {
         vni = std::to_string( std::strtoul( value.c_str(), nullptr, 0 ) );
      } else if ( !ports.tunnel.empty() && line == "output:" + ports.tunnel ) {
         isOut = true;
      } else if ( line.starts_with( "Datapath actions: " ) ) {
         actions = line.substr( line.find( ": " ) + 2 );
      }
   }
   leave();

   std::vector< std::string > tags;
   if ( frame.vlan ) {
      tags.push_back( std::to_string( *frame.vlan ) );
   }
   for ( std::string const & action : actionsIn( actions ) ) {
      auto const port = ports.names.find( action );
      if ( action == "pop_vlan" && !tags.empty() ) {
         tags.pop_back();
      } else if ( action.starts_with( "push_vlan(" ) ) {
         tags.push_back( numberBehind( action, "vid=" ) );
      } else if ( port != ports.names.end() ) {
         if ( !port->second.empty() ) {
            exits.insert( port->second +
                          ( tags.empty() ? ", untagged" : ", tagged " + tags.back() ) );
         }
      } else if ( action != "drop" && !action.starts_with( "clone(tnl_push" ) &&
                  !action.starts_with( "tnl_push" ) && !action.starts_with( "set(" ) ) {
         exits.insert( "unknown: " + action );
      }
   }
   return exits;
}

}  // namespace Views
