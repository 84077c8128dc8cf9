#include "program/TracePacketCommand.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <iterator>

#include "platform/kel/StandardError.h"
#include "views/packet/FollowFrame.h"
#include "views/packet/Ports.h"
#include "views/tables/TextTable.h"

namespace Program {

namespace {

namespace EtherType = Views::EtherType;

std::optional< std::uint16_t > etherTypeOf( std::string_view text ) {
   if ( text == "arp" ) {
      return EtherType::arp;
   }
   if ( text == "ip" ) {
      return EtherType::ip4;
   }
   if ( text == "ip6" ) {
      return EtherType::ip6;
   }
   bool const hex = text.starts_with( "0x" );
   text.remove_prefix( hex ? 2 : 0 );
   std::uint16_t number{};
   auto [end, error] =
      std::from_chars( text.data(), text.data() + text.size(), number, hex ? 16 : 10 );
   bool const whole = error == std::errc{} && end == text.data() + text.size();
   return whole ? std::optional( number ) : std::nullopt;
}

Views::Frame frameOf( TracePacketOptions const & options ) {
   Views::Frame frame{ .in = Wirekit::IntfId( options.in ),
                       .from = *Wirekit::EthAddr::parse( options.from ),
                       .to = *Wirekit::EthAddr::parse( options.to ),
                       .vlan = options.vlan,
                       .vni = options.vni,
                       .ipFrom = Wirekit::IpGenAddr::parse( options.ipFrom ).value(),
                       .ipTo = Wirekit::IpGenAddr::parse( options.ipTo ).value(),
                       .protocol = options.protocol,
                       .fromPort = options.fromPort,
                       .toPort = options.toPort };
   if ( !options.etherType.empty() ) {
      frame.etherType = *etherTypeOf( options.etherType );
   } else if ( frame.ipFrom.isV6() ) {
      frame.etherType = EtherType::ip6;
   }
   return frame;
}

/** What doesn't fit in the frame; empty if all does. */
std::string whyNone( Views::Frame const & frame, Views::Ports const & ports ) {
   std::string const in = "\"" + Kel::shownName( frame.in.name() ) + "\"";
   if ( ports.isTunnel( frame.in ) ) {
      return !frame.vni   ? in + " is the tunnel interface: a frame has a VNI there (--vni)"
             : frame.vlan ? in + " is the tunnel interface: a frame has no tag there"
                          : "";
   }
   if ( !ports.has( frame.in ) ) {
      std::vector< std::string > names;
      for ( auto const & interfaces : { ports.all(), ports.tunnels() } ) {
         std::ranges::transform( interfaces, std::back_inserter( names ),
                                 &Wirekit::IntfId::stringValue );
      }
      return "no port " + in + "; there are: " + Kel::shownNames( names );
   }
   if ( frame.vni ) {
      return in + " is a port: a frame has no VNI there";
   }
   return frame.ipFrom && !frame.hasAddresses() ? "the addresses are not those of one IP frame"
                                                : "";
}

}  // namespace

std::string checkMac( std::string const & text ) {
   return Wirekit::EthAddr::parse( text ) ? "" : text + " is not " + Wirekit::EthAddr::form;
}

std::string checkIp( std::string const & text ) {
   return Wirekit::IpGenAddr::parse( text ).value_or( Wirekit::IpGenAddr() )
             ? ""
             : text + " is not " + Wirekit::IpGenAddr::form;
}

std::string checkEtherType( std::string const & text ) {
   return etherTypeOf( text ) ? "" : text + " is none of arp, ip, ip6 and a number up to 65535";
}

int tracePacket( TracePacketOptions const & options ) {
   Views::Frame const frame = frameOf( options );
   OpenedState const state = openState( options.source );
   std::string const wrong = whyNone( frame, Views::Ports( state.entityManager ) );
   if ( !wrong.empty() ) {
      std::cerr << wrong << std::endl;
      return 2;
   }
   Views::PacketWalk const walk = Views::followFrame( state.entityManager, frame );
   if ( options.json ) {
      Views::printJsonLines( std::cout, { walk.members() } );
   } else {
      walk.print( std::cout );
   }
   return state.met ? 0 : 1;
}

}  // namespace Program
