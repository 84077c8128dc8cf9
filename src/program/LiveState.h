#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "documents/RowsOfDocument.h"
#include "platform/corestore/EntityManager.h"
#include "stores/redis/RedisStore.h"

namespace Program {

/** Which switch's state, and where it is. */
struct LiveOptions {
   /** As Redis::addressOf reads it; empty for no live state. */
   std::string redis;
   std::string switchName = "local";
};

/** What is wrong with an address or a switch's name; empty if nothing is. */
std::string checkAddress( std::string const & text );
std::string checkSwitchName( std::string const & name );

/** The state of a switch as it stands in Redis, in a process of its own: its time is the
 *  machine's. */
class LiveState {
 public:
   using Setup = Redis::RedisStore::Setup;
   /** Begins to connect; `setup` may name a role and what it owns. Throws Corestore::StoreError for
    *  a password that cannot be read. */
   explicit LiveState( LiveOptions const & options, Setup setup = {} );
   ~LiveState();
   LiveState( LiveState const & ) = delete;
   LiveState & operator=( LiveState const & ) = delete;

   /** Loads what has been read, and keeps it up to date from now on. */
   void attach();
   /** For commands: waits until all has been read, and attaches. Throws Corestore::StoreError for
    *  a server or a state that isn't there. */
   void open();
   /** Takes what others have changed up to now. Throws Corestore::StoreError as below. */
   void settle();
   /** Makes a change in one turn and waits until it is with the server. False when all was read
    *  anew meanwhile, so that it may have got lost on the way. Throws Corestore::StoreError when
    *  the server does. */
   [[nodiscard]] bool write( std::function< void() > const & change );
   /** The same with what others have changed up to now, and only if they leave these rows alone
    *  (RedisStore::watch) from before `look`, which may throw, until the server has it: false
    *  otherwise, with nothing written. */
   [[nodiscard]] bool writeGuarded( Documents::TouchedRows const & rows,
                                    std::function< void() > const & look,
                                    std::function< void() > const & change );

   /** Waits for something that the server brings. Throws Corestore::StoreError when it gets lost.
    */
   void waitFor( std::function< bool() > const & done );

   /** For a command that goes on without the server: is told of its loss and of its return. */
   void followerIs( std::function< void( std::string const & text ) > follower ) {
      follower_ = std::move( follower );
   }

   Corestore::EntityManager & entityManager() { return *em_; }
   Orb::TaskScheduler & scheduler() { return *scheduler_; }
   Redis::RedisStore & store() { return *store_; }

 private:
   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   Kel::Ptr< Corestore::EntityManager > em_;
   std::string trouble_;
   std::function< void( std::string const & ) > follower_;
   std::unique_ptr< Redis::RedisStore > store_;
};

}  // namespace Program
