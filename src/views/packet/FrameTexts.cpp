#include "views/packet/FrameTexts.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "platform/kel/StandardError.h"

namespace Views {

namespace {

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

Frame frameOf( FrameTexts const & texts ) {
   Frame frame{ .in = Wirekit::IntfId( texts.in ),
                .from = *Wirekit::EthAddr::parse( texts.from ),
                .to = *Wirekit::EthAddr::parse( texts.to ),
                .vlan = texts.vlan,
                .vni = texts.vni,
                .ipFrom = Wirekit::IpGenAddr::parse( texts.ipFrom ).value(),
                .ipTo = Wirekit::IpGenAddr::parse( texts.ipTo ).value(),
                .protocol = texts.protocol,
                .fromPort = texts.fromPort,
                .toPort = texts.toPort };
   if ( !texts.etherType.empty() ) {
      frame.etherType = *etherTypeOf( texts.etherType );
   } else if ( frame.ipFrom.isV6() ) {
      frame.etherType = EtherType::ip6;
   }
   return frame;
}

std::string whyNone( Frame const & frame, Ports const & ports ) {
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

}  // namespace Views
