#include "program/StopSignal.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace Program {

StopSignal::StopSignal( Kel::Ptr< Orb::TaskScheduler > scheduler )
   : scheduler_( std::move( scheduler ) ) {
   sigset_t signals;
   sigemptyset( &signals );
   sigaddset( &signals, SIGTERM );
   sigaddset( &signals, SIGINT );
   // One that isn't held back would end the process where it stands.
   bool const isHeld = ::sigprocmask( SIG_BLOCK, &signals, nullptr ) == 0;
   fd_ = isHeld ? ::signalfd( -1, &signals, SFD_CLOEXEC | SFD_NONBLOCK ) : -1;
   if ( fd_ == -1 ) {
      throw std::system_error( errno, std::generic_category(), "signals" );
   }
   scheduler_->watch( *this, fd_, POLLIN );
}

StopSignal::~StopSignal() {
   scheduler_->unwatch( *this );
   ::close( fd_ );
}

void StopSignal::ready( short ) {
   signalfd_siginfo signal;
   came_ = came_ || ::read( fd_, &signal, sizeof signal ) == sizeof signal;
}

}  // namespace Program
