#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/orb/TaskScheduler.h"
#include "switch/ovsdb/Json.h"
#include "switch/ovsdb/Splitter.h"

namespace Ovsdb {

/**
 * The connection to a database's server over its Unix socket, in the scheduler's loop: nothing here
 * waits. One that is lost, or says nothing, is made anew for as long as it takes. It is not
 * destroyed from within its own calls.
 */
class Link : private Orb::Descriptor, private Orb::Timer {
 public:
   /** None of them is called from within the constructor. */
   struct Events {
      std::function< void() > opened;
      /** Takes a message, and throws Kel::ValueError for one that ends the connection. */
      std::function< void( Json const & ) > message;
      /** It is lost, or could not be had. */
      std::function< void( std::string const & reason ) > closed;
   };

   Link( Kel::Ptr< Orb::TaskScheduler > scheduler, std::string socket, Events events );
   ~Link() override;
   Link( Link const & ) = delete;
   Link & operator=( Link const & ) = delete;

   bool isOpen() const { return fd_ != -1; }
   /** Sends a message, while it is open. */
   void send( Json const & message );

 private:
   void connect();
   void read();
   void write();
   void ping();
   void lost( std::string const & reason );
   void armIn( Orb::Seconds time );
   void ready( short events ) override;
   void due() override;

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   std::string socket_;
   Events events_;
   int fd_ = -1;
   Splitter received_;
   std::string toSend_;
   Orb::Seconds retryAfter_;
   Orb::Seconds openedAt_ = 0;
   Orb::Seconds heardAt_ = 0;
   /** It was silent for too long when it was last looked at. */
   bool suspected_ = false;
};

}  // namespace Ovsdb
