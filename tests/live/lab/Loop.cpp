#include "live/lab/Loop.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace Lab {

Loop::Loop() : wake_( ::eventfd( 0, EFD_NONBLOCK | EFD_CLOEXEC ) ), thread_( [this] { run(); } ) {}

Loop::~Loop() {
   {
      auto const held = lock();
      ends_ = true;
   }
   wake();
   thread_.join();
   ::close( wake_ );
}

void Loop::wake() const {
   ::eventfd_write( wake_, 1 );
}

void Loop::hear( void const * who, Wire const & wire, Taker taker ) {
   auto const held = lock();
   listeners_.push_back( { who, &wire, std::move( taker ) } );
   wake();
}

void Loop::play( Timed & timed ) {
   auto const held = lock();
   timed_.insert( &timed );
   wake();
}

void Loop::leave( void const * who ) {
   auto const held = lock();
   std::erase_if( listeners_, [who]( Listener const & l ) { return l.who == who; } );
   std::erase_if( timed_, [who]( Timed const * timed ) {
      return static_cast< void const * >( timed ) == who;
   } );
}

void Loop::run() {
   auto held = lock();
   while ( !ends_ ) {
      std::vector< pollfd > polled{ { wake_, POLLIN, 0 } };
      std::set< Wire const * > wires;
      for ( Listener const & listener : listeners_ ) {
         if ( wires.insert( listener.wire ).second ) {
            polled.push_back( { listener.wire->fd(), POLLIN, 0 } );
         }
      }
      auto wait = std::chrono::nanoseconds( std::chrono::seconds( 1 ) );
      for ( Timed const * timed : timed_ ) {
         if ( auto const next = timed->next() ) {
            wait = std::min< std::chrono::nanoseconds >( wait, *next - Clock::now() );
         }
      }
      timespec const limit{ 0, std::clamp< long >( wait.count(), 0, 999'999'999 ) };
      held.unlock();
      ::ppoll( polled.data(), polled.size(), &limit, nullptr );
      held.lock();
      eventfd_t ignored;
      ::eventfd_read( wake_, &ignored );
      // Those that have come or gone meanwhile are seen the next time.
      for ( Wire const * wire : wires ) {
         while ( std::ranges::any_of( listeners_,
                                      [wire]( auto const & l ) { return l.wire == wire; } ) ) {
            auto const frame = wire->receive();
            if ( !frame ) {
               break;
            }
            for ( Listener const & listener : listeners_ ) {
               if ( listener.wire == wire ) {
                  listener.taker( *frame );
               }
            }
         }
      }
      for ( Timed * timed : timed_ ) {
         while ( timed->next() && *timed->next() <= Clock::now() ) {
            timed->work();
         }
      }
   }
}

}  // namespace Lab
