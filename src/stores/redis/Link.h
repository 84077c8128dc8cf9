#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "stores/redis/Connection.h"
#include "stores/redis/Keys.h"

namespace Redis {

/**
 * Two connections to the server that holds a switch's keys: one for commands, and one that hears
 * which keys others have changed. The server hears them as one: when either is lost, both are made
 * anew, with the next of the servers that are known, for as long as it takes.
 */
class Link : private Orb::Timer {
 public:
   struct Events {
      /** Both are there. What was changed before is not told. */
      std::function< void() > up;
      /** They are lost, or could not be had, which is told once. Without a reason when the server
       *  has named another one, with which it goes on at once. */
      std::function< void( std::string const & reason ) > down;
      /** Others have changed what stands at these paths, in one step or several. */
      std::function< void( std::vector< std::string > paths ) > changed;
      /** The server doesn't say what has changed. */
      std::function< void() > allChanged;
   };

   Link( Kel::Ptr< Orb::TaskScheduler > scheduler, Address address, Access access,
         Keys const & keys, Events events );
   ~Link() override;

   bool isUp() const { return up_; }
   /** For commands, while it is up. */
   Connection & commands() { return *commands_; }
   /** An error that the server has answered with: begins anew, at another server where the error
    *  names one. */
   void fail( std::string const & error );
   /** The server that it speaks to, or tries to. */
   Address const & address() const { return addresses_[current_]; }
   /** How often both have been lost. */
   std::uint64_t losses() const { return losses_; }

 private:
   void connect();
   void authenticate( Connection & connection );
   void listen( redisReply const & clientId );
   void track( std::string const & listener );
   void heard( redisReply const & message );
   void begin();
   void learnServers( redisReply const & slots );
   void ping();
   /** Goes to another server; whether it is to be told why. */
   bool follow( std::string_view address );
   void lost( std::string const & reason );
   void dropLater( std::unique_ptr< Connection > & connection );
   Connection::Closed closer();
   void due() override;

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   Access access_;
   Keys keys_;
   Events events_;
   /** The one that was given, and the other ones of a cluster. */
   std::vector< Address > addresses_;
   std::size_t current_ = 0;
   std::unique_ptr< Connection > listener_;
   std::unique_ptr< Connection > commands_;
   /** Tells apart what earlier connections have still to say. */
   std::uint64_t attempt_ = 0;
   Orb::Seconds retryAfter_;
   Orb::Seconds upSince_ = 0;
   Orb::Seconds followedAt_ = 0;
   Orb::Seconds answered_ = 0;
   std::uint64_t losses_ = 0;
   /** It was silent for too long when it was last looked at. */
   bool suspected_ = false;
   bool up_ = false;
   bool told_ = false;
};

}  // namespace Redis
