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

/** When the trial's agent begins. */
enum class Begins { beforePatch, behindPatch };

[[noreturn]] void playTrial( Corestore::MemoryStore & state, Kel::Value const & document,
                             Begins begins, int words ) {
   ::dup2( words, STDERR_FILENO );
   ::setenv( "FLASHLOG_DISABLE", "1", 1 );
   rlimit const noCore{ 0, 0 };
   ::setrlimit( RLIMIT_CORE, &noCore );
   if ( begins == Begins::behindPatch ) {
      Corestore::MemoryStore patched;
      {
         Scenarios::Switch alone(
            { .with = Scenarios::Switch::With::StateAlone, .initial = &state } );
         alone.patch( document );
         alone.entityManager().saveTo( patched );
      }
      Scenarios::Switch const device( { .initial = &patched } );
      ::_exit( 0 );
   }
   auto & device = *new Scenarios::Switch( { .initial = &state } );
   Kel::FlushHook const lastWords(
      [&device] { Kel::writeStandardError( placeMark + device.place() + placeMark ); } );
   device.patch( document );
   ::_exit( 0 );
}

/** What has ended the trial's agent. */
struct Death {
   /** It had begun on the state and was at the patch. */
   bool isPatched;
   FatalPatch fatal;
};

std::optional< Death > deathIn( Corestore::MemoryStore & state, Kel::Value const & document,
                                Begins begins ) {
   std::array< int, 2 > words{};
   pid_t const trial = ::pipe2( words.data(), O_CLOEXEC ) == 0 ? ::fork() : -1;
   if ( trial == 0 ) {
      playTrial( state, document, begins, words[1] );
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
   std::string const reason = said.substr( 0, std::min( said.find( '\n' ), mark ) );
   return Death{ end != said.npos, { place, reason.empty() ? "without a word" : reason } };
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
   std::optional< Death > death = deathIn( state, document, Begins::beforePatch );
   if ( death && !death->isPatched ) {
      // No agent lives on what stands, which the document may well mend.
      death = deathIn( state, document, Begins::behindPatch );
   }
   return death ? std::optional( death->fatal ) : std::nullopt;
}

}  // namespace Program
