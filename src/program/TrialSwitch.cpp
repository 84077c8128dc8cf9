#include "program/TrialSwitch.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "platform/kel/Assert.h"
#include "platform/kel/StandardError.h"

namespace Program {

namespace {

/** Takes what is written to a descriptor to its end. */
std::string allOf( int fd ) {
   std::string text;
   std::array< char, 4096 > chunk{};
   for ( ssize_t got; ( got = ::read( fd, chunk.data(), chunk.size() ) ) != 0; ) {
      if ( got > 0 ) {
         text.append( chunk.data(), static_cast< std::size_t >( got ) );
      } else if ( errno != EINTR ) {
         break;
      }
   }
   return text;
}

/** Marks the place in the document among the trial's last words. */
constexpr char placeMark = '\x1f';

[[noreturn]] void playTrial( Corestore::MemoryStore & state, Kel::Value const & document,
                             int words ) {
   ::dup2( words, STDERR_FILENO );
   ::setenv( "FLASHLOG_DISABLE", "1", 1 );
   rlimit const noCore{ 0, 0 };
   ::setrlimit( RLIMIT_CORE, &noCore );
   auto & device = *new Scenarios::Switch( { .initial = &state } );
   Kel::FlushHook const lastWords(
      [&device] { Kel::writeStandardError( placeMark + device.place() + placeMark ); } );
   device.patch( document );
   ::_exit( 0 );
}

}  // namespace

Corestore::MemoryStore copyOf( Corestore::EntityManager const & em,
                               std::function< bool( std::string_view path ) > const & wanted ) {
   Corestore::MemoryStore copy;
   em.forEachRow( [&]( Corestore::Row const & row ) {
      if ( wanted( row.path ) ) {
         copy.put( row );
      }
   } );
   return copy;
}

std::optional< FatalPatch > tryPatch( Corestore::EntityManager const & em,
                                      Kel::Value const & document ) {
   Corestore::MemoryStore state = copyOf( em, []( auto ) { return true; } );
   std::array< int, 2 > words{};
   pid_t const trial = ::pipe2( words.data(), O_CLOEXEC ) == 0 ? ::fork() : -1;
   if ( trial == 0 ) {
      playTrial( state, document, words[1] );
   }
   if ( trial == -1 ) {
      throw std::system_error( errno, std::generic_category(), "a trial of the document" );
   }
   ::close( words[1] );
   std::string const said = allOf( words[0] );
   ::close( words[0] );
   int status = 0;
   ::waitpid( trial, &status, 0 );
   if ( WIFEXITED( status ) && WEXITSTATUS( status ) == 0 ) {
      return std::nullopt;
   }
   std::size_t const mark = said.find( placeMark );
   std::size_t const end = said.find( placeMark, mark + 1 );
   std::string const place = end != said.npos ? said.substr( mark + 1, end - mark - 1 ) : "";
   std::string reason = said.substr( 0, std::min( said.find( '\n' ), mark ) );
   return FatalPatch{ place, reason.empty() ? "without a word" : reason };
}

}  // namespace Program
