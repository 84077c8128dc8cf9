#pragma once

#include <memory>
#include <string>
#include <vector>

#include "live/Process.h"

struct redisContext;

namespace Live {

/** A Redis server of a test's own, with its socket and data in a folder of its own. */
class RedisServer {
 public:
   /** Whether the machine has one to start. */
   static bool isThere() { return hasProgram( "redis-server" ); }

   /** Starts it. One that is `durable` has its data again after it was killed. */
   explicit RedisServer( bool durable = true, std::vector< std::string > options = {} );
   ~RedisServer();
   RedisServer( RedisServer const & ) = delete;
   RedisServer & operator=( RedisServer const & ) = delete;

   /** As programs take it. */
   std::string address() const { return "unix:" + socket_; }
   void start();
   void kill();
   /** Kills it and takes its data away. */
   void lose();
   /** Takes its data as they are now, and gives those back that were taken; it isn't running. */
   void keepData() const;
   void restoreData() const;
   void signal( int number ) const { process_->signal( number ); }

   using Words = std::vector< std::string >;
   /** What it answers: a text, a number, "(nil)", an error; the elements of several with a space
    *  between them. Empty when it isn't there. */
   std::string ask( Words const & words );
   /** The commands that have changed its data, by its own log, since the last call or loss. For one
    *  that is durable. */
   std::vector< Words > written();

 private:
   Folder folder_;
   std::string socket_;
   bool durable_;
   std::vector< std::string > options_;
   std::unique_ptr< Process > process_;
   redisContext * client_ = nullptr;
   std::size_t read_ = 0;
};

}  // namespace Live
