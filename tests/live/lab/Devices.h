#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "live/lab/Loop.h"

namespace Lab {

/** A host with its MAC, which notes what it hears. */
class Station {
 public:
   /** One with a VLAN sends and takes frames with that tag. */
   Station( Loop & loop, Wire const & wire, Mac const & mac,
            std::optional< std::uint16_t > vlan = {} );
   ~Station();
   Station( Station const & ) = delete;
   Station & operator=( Station const & ) = delete;

   Mac const & mac() const { return mac_; }
   void moveTo( Wire const & wire );
   void send( Frame frame );
   /** What has come since the last call, frames for others too, as a flooded one. */
   std::vector< Frame > heard();

 private:
   friend class Stream;
   void attach();
   void put( Frame frame ) const;
   void take( Frame const & frame );

   Loop & loop_;
   Wire const * wire_;
   Mac mac_;
   std::optional< std::uint16_t > vlan_;
   std::vector< Frame > heard_;
   /** Take frames that are for it, and tell whether they are theirs. */
   std::map< void const *, std::function< bool( Frame const & ) > > streams_;
};

/** Takes frames of the service's VLAN at its near side and gives them with the original VLAN at its
 *  far one, and back. */
class ServiceDevice {
 public:
   struct Counts {
      std::uint64_t there = 0;
      std::uint64_t back = 0;
      /** In other VLANs, which it does not take. */
      std::uint64_t strange = 0;

      friend bool operator==( Counts const &, Counts const & ) = default;
   };

   ServiceDevice( Loop & loop, Wire const & near, Wire const & far, std::uint16_t serviceVlan,
                  std::uint16_t originalVlan );
   ~ServiceDevice();
   ServiceDevice( ServiceDevice const & ) = delete;
   ServiceDevice & operator=( ServiceDevice const & ) = delete;

   /** One that is off takes frames and gives none. */
   void isOn( bool on );
   Counts counts();

 private:
   void pass( Frame frame, Wire const & out, std::uint16_t from, std::uint16_t to, bool isThere );

   Loop & loop_;
   bool on_ = true;
   Counts counts_;
};

}  // namespace Lab
