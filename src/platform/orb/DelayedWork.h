#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>

#include "platform/orb/TaskScheduler.h"

namespace Orb {

/** Work that is done some fixed time after it was asked for, in the same order; never inside the
 *  asker's own call. The askers live as long as the scheduler runs. */
class DelayedWork : public Kel::PtrInterface, private Timer {
 public:
   DelayedWork( Kel::Ptr< TaskScheduler > scheduler, Seconds delay )
      : scheduler_( std::move( scheduler ) ), delay_( delay ) {}

   void later( std::function< void() > work );
   /** In the next turn, whatever the delay. */
   void soon( std::function< void() > work ) { scheduler_->post( std::move( work ) ); }

 protected:
   ~DelayedWork() override { scheduler_->disarm( *this ); }

 private:
   struct Pending {
      Seconds time;
      std::function< void() > work;
   };
   void due() override;

   Kel::Ptr< TaskScheduler > scheduler_;
   Seconds delay_;
   std::deque< Pending > pending_;
};

/** Who waits for an answer, by key. One that goes and comes back waits anew. It lives as long as
 * the scheduler runs. */
template < class Key >
class Askers {
 public:
   /** Has the answer given later, unless the key waits for it already. */
   void ask( DelayedWork & work, Key const & key, std::function< void() > answer ) {
      auto const [asker, isNew] = serials_.try_emplace( key, last_ + 1 );
      if ( isNew ) {
         work.later( [this, key, serial = ++last_, answer = std::move( answer )] {
            auto const waiting = serials_.find( key );
            if ( waiting != serials_.end() && waiting->second == serial ) {
               serials_.erase( waiting );
               answer();
            }
         } );
      }
   }
   /** The key is gone, and what it has asked for isn't given. */
   void forget( Key const & key ) { serials_.erase( key ); }

 private:
   std::uint64_t last_ = 0;
   std::map< Key, std::uint64_t > serials_;
};

}  // namespace Orb
