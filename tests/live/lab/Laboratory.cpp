#include "live/lab/Laboratory.h"

namespace Lab {

namespace {

/** The bridge that carries what tunnels send; its own interface has the local end's address. */
constexpr char const * underlay = "under";

}  // namespace

std::string Laboratory::missing() {
   if ( std::string const missing = Live::OpenVSwitch::missing(); !missing.empty() ) {
      return missing;
   }
   if ( !Live::hasProgram( "ethtool" ) ) {
      return "there is no ethtool";
   }
   return {};
}

Laboratory::Laboratory() {
   openVSwitch_.addBridge( bridge );
}

Wire const & Laboratory::wire( std::string const & port ) {
   Port & made = ports_[port];
   if ( !made.wire ) {
      connect( switch_, port, hosts_, port );
      made.wire = std::make_unique< Wire >( hosts_, port );
      plug( port );
   }
   return *made.wire;
}

void Laboratory::plug( std::string const & port ) {
   ports_.at( port ).number = openVSwitch_.addPort( bridge, port );
}

void Laboratory::carrierIs( std::string const & port, bool up ) {
   hosts_.run( { "ip", "link", "set", port, up ? "up" : "down" } );
}

void Laboratory::unplug( std::string const & port ) {
   openVSwitch_.vsctl( { "del-port", bridge, port } );
}

Wire const & Laboratory::remote( std::string const & address, std::uint32_t vni ) {
   if ( remotes_.empty() ) {
      openVSwitch_.addBridge( underlay );
      openVSwitch_.vsctl( { "del-fail-mode", underlay } );
      switch_.run( { "ip", "address", "add", std::string( localEnd ) + "/24", "dev", underlay } );
      switch_.run( { "ip", "link", "set", underlay, "up" } );
   }
   auto const [found, isNew] = remotes_.try_emplace( address );
   Remote & end = found->second;
   if ( isNew ) {
      std::string const port = "remote" + std::to_string( remotes_.size() );
      connect( switch_, port, end.space, "underlay" );
      end.space.run( { "ip", "address", "add", address + "/24", "dev", "underlay" } );
      openVSwitch_.addPort( underlay, port );
   }
   auto & wire = end.wires[vni];
   if ( !wire ) {
      std::string const device = "vxlan" + std::to_string( vni );
      end.space.run( { "ip", "link", "add", device, "type", "vxlan", "id", std::to_string( vni ),
                       "dstport", "4789", "local", address, "remote", localEnd, "nolearning" } );
      end.space.run( { "ip", "link", "set", device, "up" } );
      wire = std::make_unique< Wire >( end.space, device );
   }
   return *wire;
}

}  // namespace Lab
