#pragma once

#include <map>
#include <memory>
#include <string>

#include "live/OpenVSwitch.h"
#include "live/lab/Devices.h"
#include "live/lab/Namespace.h"
#include "live/lab/Stream.h"

namespace Lab {

/** A small data centre around a bridge: wires into it, and a network below it that leads to remote
 *  tunnel end points. */
class Laboratory {
 public:
   /** Why the machine can't have one; empty when it can. For GTEST_SKIP. */
   static std::string missing();

   Laboratory();
   Laboratory( Laboratory const & ) = delete;
   Laboratory & operator=( Laboratory const & ) = delete;

   /** The bridge's name, and the address that its tunnels begin at. */
   static constexpr char const * bridge = "br0";
   static constexpr char const * localEnd = "192.0.2.1";

   Live::OpenVSwitch & openVSwitch() { return openVSwitch_; }
   Loop & loop() { return loop_; }

   /** The outer end of a port; the port is made when it is asked for first. */
   Wire const & wire( std::string const & port );
   /** Its number on the bridge. */
   int number( std::string const & port ) const { return ports_.at( port ).number; }
   /** Has the bridge forget the port, or have it again; the wire stays. */
   void unplug( std::string const & port );
   void plug( std::string const & port );
   /** Takes the wire's outer end down, which the port sees, or up. */
   void carrierIs( std::string const & port, bool up );

   /** Frames of a VNI as they come to and go from a remote tunnel end point, which is made when it
    *  is asked for first, and sends all of them to the local end. */
   Wire const & remote( std::string const & address, std::uint32_t vni );

 private:
   struct Port {
      std::unique_ptr< Wire > wire;
      int number = 0;
   };
   struct Remote {
      Namespace space;
      std::map< std::uint32_t, std::unique_ptr< Wire > > wires;
   };

   Live::OpenVSwitch openVSwitch_;
   Namespace switch_{ openVSwitch_.netNamespace() };
   Namespace hosts_;
   std::map< std::string, Port > ports_;
   std::map< std::string, Remote > remotes_;
   // Goes before the wires that it listens on.
   Loop loop_;
};

}  // namespace Lab
