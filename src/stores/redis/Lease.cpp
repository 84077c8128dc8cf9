#include "stores/redis/Lease.h"

#include <hiredis/hiredis.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/kel/StandardError.h"

namespace Redis {

namespace {

/** A process, so that its end can be told from another one's life under the same number. */
struct Process {
   std::string number;
   std::string host;
   std::string startTime;
   /** The space in which the number counts. */
   std::string space;
   std::string boot;

   std::string text() const {
      return number + " " + host + " " + startTime + " " + space + " " + boot;
   }
};

std::string firstLine( std::string const & file ) {
   std::ifstream in( file );
   std::string line;
   std::getline( in, line );
   return line;
}

/** The start time of a process that has ended and is not taken notice of yet. */
constexpr char const * zombie = "Z";

/** Empty for one that cannot be seen. */
std::string startTimeOf( std::string const & number ) {
   std::string const line = firstLine( "/proc/" + number + "/stat" );
   // The name in brackets may hold anything.
   std::size_t const end = line.rfind( ')' );
   std::istringstream words( end == line.npos ? "" : line.substr( end + 1 ) );
   std::string word;
   words >> word;
   if ( word == "Z" || word == "X" ) {
      return zombie;
   }
   constexpr int startTimeBehindState = 19;
   for ( int i = 0; i != startTimeBehindState; ++i ) {
      words >> word;
   }
   return words ? word : std::string();
}

std::string wordOf( std::string text ) {
   return text.empty() ? "-" : text;
}

Process thisProcess() {
   std::array< char, 256 > host{};
   ::gethostname( host.data(), host.size() - 1 );
   std::string const number = std::to_string( ::getpid() );
   std::error_code error;
   return { number, wordOf( host.data() ), wordOf( startTimeOf( number ) ),
            wordOf( std::filesystem::read_symlink( "/proc/self/ns/pid", error ).string() ),
            wordOf( firstLine( "/proc/sys/kernel/random/boot_id" ) ) };
}

/** The process in a key's value, behind the fence. */
Process processOf( std::string_view value ) {
   std::istringstream words{ std::string( value ) };
   std::string fence;
   Process process;
   words >> fence >> process.number >> process.host >> process.startTime >> process.space >>
      process.boot;
   return process;
}

std::uint64_t numberOf( std::string_view text ) {
   std::uint64_t number = 0;
   std::from_chars( text.data(), text.data() + text.size(), number );
   return number;
}

bool hasEnded( std::string_view value ) {
   Process const holder = processOf( value );
   Process const self = thisProcess();
   if ( holder.boot != self.boot || holder.space != self.space || holder.boot == "-" ||
        holder.space == "-" || holder.startTime == "-" ) {
      return false;
   }
   pid_t const number = static_cast< pid_t >( numberOf( holder.number ) );
   if ( number <= 0 ) {
      return false;
   }
   if ( ::kill( number, 0 ) != 0 && errno == ESRCH ) {
      return true;
   }
   // One that cannot be seen may well be there.
   std::string const started = startTimeOf( holder.number );
   return started == zombie || ( !started.empty() && started != holder.startTime );
}

std::string milliseconds( Orb::Seconds time ) {
   return std::to_string( static_cast< std::uint64_t >( time * 1000 ) );
}

using Answer = std::function< void( Lease::Asked const & ) >;

/** Whether the reply is an error, of which the asker is told. */
bool failed( redisReply const & reply, Answer const & answer ) {
   std::string_view const error = errorOf( reply );
   if ( !error.empty() ) {
      answer( { Lease::Asked::Result::failed, {}, 0, std::string( error ) } );
   }
   return !error.empty();
}

}  // namespace

Lease::Lease( Keys const & keys, std::string role, Orb::Seconds time )
   : key_( keys.lease( role ) ),
     fenceKey_( keys.fence( role ) ),
     time_( time ),
     holder_( thisProcess().text() ) {}

void Lease::ask( Connection & connection, Answer answer ) {
   connection.send( { "WATCH", key_ } );
   connection.send(
      { "MGET", key_, fenceKey_ }, [this, &connection, answer]( redisReply const & reply ) {
         if ( failed( reply, answer ) ) {
            return;
         }
         auto const found = elementsOf( reply );
         std::string const value( textOf( *found[0] ) );
         std::uint64_t const fence = numberOf( textOf( *found[1] ) );
         if ( fence_ != 0 && fence > fence_ ) {
            connection.send( { "UNWATCH" } );
            answer( { Asked::Result::outdated, value } );
         } else if ( value == valueOf( fence ) || value.empty() || hasEnded( value ) ) {
            // A server that has forgotten some numbers must not give one twice.
            take( connection, std::max( fence, fence_ ) + 1, answer );
         } else {
            connection.send( { "UNWATCH" } );
            connection.send( { "PTTL", key_ }, [value, answer]( redisReply const & left ) {
               answer( { Asked::Result::heldByOther, value,
                         static_cast< Orb::Seconds >( left.integer ) / 1000 } );
            } );
         }
      } );
}

void Lease::take( Connection & connection, std::uint64_t fence, Answer answer ) {
   connection.send( { "MULTI" } );
   connection.send( { "SET", fenceKey_, std::to_string( fence ) } );
   connection.send( { "SET", key_, valueOf( fence ), "PX", milliseconds( time_ ) } );
   connection.send( { "EXEC" }, [this, &connection, fence, answer]( redisReply const & reply ) {
      if ( !errorOf( reply ).empty() ) {
         // The one of the command that was refused says more.
         std::string const & dropped = connection.droppedError();
         answer( { Asked::Result::failed,
                   {},
                   0,
                   dropped.empty() ? std::string( errorOf( reply ) ) : dropped } );
         return;
      }
      if ( isNothing( reply ) ) {
         // Another one was faster.
         ask( connection, answer );
      } else {
         fence_ = fence;
         answer( { Asked::Result::held, valueOf( fence ) } );
      }
   } );
}

void Lease::watch( Connection & connection, std::function< void( bool ) > answer ) {
   connection.send( { "WATCH", key_ } );
   connection.send( { "GET", key_ }, [this, answer]( redisReply const & reply ) {
      answer( textOf( reply ) == valueOf( fence_ ) );
   } );
}

void Lease::renew( Connection & connection ) const {
   connection.send( { "PEXPIRE", key_, milliseconds( time_ ) } );
}

void Lease::release( Connection & connection ) const {
   connection.send( { "DEL", key_ } );
}

std::string shownHolder( std::string_view value ) {
   Process const process = processOf( value );
   return "process " + Kel::shownName( process.number ) + " on " + Kel::shownName( process.host );
}

}  // namespace Redis
