#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "switch/ovsdb/Bridge.h"
#include "switch/ovsdb/Link.h"
#include "switch/ovsdb/Tables.h"

namespace Ovsdb {

/** Follows one bridge in the switch's database, and changes it. */
class Client {
 public:
   /** Not called from within the client's constructor; none of them destroys it. */
   struct Listener {
      /** The database is there (again): `bridge` is what stands in it. */
      std::function< void() > up;
      /** A message has changed `bridge`. */
      std::function< void() > changed;
      /** The database is lost, or could not be had, which is told once; it is sought on. `bridge`
       *  stays as it was. */
      std::function< void( std::string const & reason ) > lost;
   };

   Client( Kel::Ptr< Orb::TaskScheduler > scheduler, std::string socket, std::string bridge,
           Listener listener );

   bool isUp() const { return up_; }
   Bridge const & bridge() const { return bridge_; }
   std::map< std::string, BridgePort > const & ports() const { return bridge_.ports; }

   /** Takes the error in words, empty for none, and the results operation by operation. It isn't
    *  called when the database is lost before it has answered, which `lost` tells. */
   using Done = std::function< void( std::string const & error, Json const & results ) >;
   /** Carries out operations (RFC 7047) together or not at all. False when it isn't up. */
   bool transact( Json const & operations, Done done );
   /**
    * Has a VXLAN port on the bridge whose remote address and VNI are told by each flow, and which
    * sends from a local address: adds it, or mends what stands under that name. `done` is called at
    * once where there is nothing to do. False when it isn't up.
    */
   bool ensureTunnel( std::string const & port, std::string const & localAddress, Done done );

 private:
   void handle( Json const & message );
   void answered( Json const & reply );
   void monitored( Json const & reply );
   void closed( std::string const & reason );

   std::string name_;
   Listener listener_;
   Tables tables_;
   Bridge bridge_;
   /** Who waits for an answer, by the request's number. */
   std::map< std::uint64_t, Done > pending_;
   std::uint64_t requests_ = 0;
   bool up_ = false;
   bool told_ = false;
   Link link_;
};

}  // namespace Ovsdb
