#include "program/TrialSwitch.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <new>
#include <span>
#include <system_error>
#include <vector>

#include "platform/kel/Assert.h"
#include "platform/kel/StandardError.h"
#include "records/catalog/Catalog.h"

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

void playBegin( Corestore::MemoryStore & state ) {
   // The end of the process takes it, as it stands.
   static_cast< void >( *new Scenarios::Switch( { .initial = &state } ) );
}

void playTrial( Corestore::MemoryStore & state, Kel::Value const & document, Begins begins ) {
   if ( begins == Begins::behindPatch ) {
      Corestore::MemoryStore patched;
      {
         Scenarios::Switch alone(
            { .with = Scenarios::Switch::With::StateAlone, .initial = &state } );
         alone.patch( document );
         alone.entityManager().saveTo( patched );
      }
      playBegin( patched );
      return;
   }
   auto & device = *new Scenarios::Switch( { .initial = &state } );
   Kel::FlushHook const lastWords(
      [&device] { Kel::writeStandardError( placeMark + device.place() + placeMark ); } );
   device.patch( document );
}

/** What has ended the trial's agent. */
struct Death {
   /** It had begun on the state and was at the patch. */
   bool isPatched;
   FatalPatch fatal;
};

/** Of a trial that is played in a process of its own; nothing when it lives. */
std::optional< Death > deathIn( std::function< void() > const & play ) {
   std::array< int, 2 > words{};
   pid_t const trial = ::pipe2( words.data(), O_CLOEXEC ) == 0 ? ::fork() : -1;
   if ( trial == 0 ) {
      ::dup2( words[1], STDERR_FILENO );
      ::setenv( "FLASHLOG_DISABLE", "1", 1 );
      rlimit const noCore{ 0, 0 };
      ::setrlimit( RLIMIT_CORE, &noCore );
      try {
         play();
      } catch ( std::system_error const & e ) {
         // Shared memory that is full, say.
         ::_exit( e.code().value() );
      } catch ( std::bad_alloc const & ) {
         ::_exit( ENOMEM );
      }
      ::_exit( 0 );
   }
   if ( trial == -1 ) {
      throw std::system_error( errno, std::generic_category(), "a trial of the state" );
   }
   ::close( words[1] );
   std::string const said = allOf( words[0] );
   ::close( words[0] );
   int status = 0;
   ::waitpid( trial, &status, 0 );
   if ( WIFEXITED( status ) && WEXITSTATUS( status ) == 0 ) {
      return std::nullopt;
   }
   // One that ends by design aborts.
   if ( WIFEXITED( status ) || WTERMSIG( status ) == SIGKILL ) {
      throw std::system_error( WIFEXITED( status ) ? WEXITSTATUS( status ) : ENOMEM,
                               std::generic_category(), "a trial of the state" );
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
   auto const deathOf = [&]( Begins begins ) {
      return deathIn( [&] { playTrial( state, document, begins ); } );
   };
   std::optional< Death > death = deathOf( Begins::beforePatch );
   if ( death && !death->isPatched ) {
      // No agent lives on what stands, which the document may well mend.
      death = deathOf( Begins::behindPatch );
   }
   return death ? std::optional( death->fatal ) : std::nullopt;
}

std::optional< FatalRow > fatalRow( Corestore::EntityManager const & em ) {
   Corestore::MemoryStore state = copyOf( em, []( auto ) { return true; } );
   std::optional< Death > death = deathIn( [&] { playBegin( state ); } );
   if ( !death ) {
      return std::nullopt;
   }
   // Until the controller has said that it is wanted, an agent looks at nothing else. Records come
   // last: they say most, and what else stands shows whether it can be borne.
   enum class Turn { controllers, structure, records };
   auto const turnOf = [wanted = std::string_view( Catalog::pathOf( "mgmtControllerStatus" ) )](
                          Corestore::Row const & row ) {
      return row.path.starts_with( wanted )           ? Turn::controllers
             : row.form == Corestore::RowForm::record ? Turn::records
                                                      : Turn::structure;
   };
   std::vector< Corestore::Row > rows;
   em.forEachRow( [&rows]( Corestore::Row const & row ) { rows.push_back( row ); } );
   if ( rows.empty() ) {
      return std::nullopt;
   }
   std::ranges::stable_sort( rows, {}, turnOf );
   // So many rows are borne, and with so many it ends.
   std::size_t borne = 0;
   std::size_t fatal = rows.size();
   while ( fatal - borne > 1 ) {
      std::size_t const middle = borne + ( fatal - borne ) / 2;
      auto const earlier = deathIn( [&] {
         Corestore::MemoryStore part;
         for ( auto const & row : std::span( rows ).first( middle ) ) {
            part.put( row );
         }
         playBegin( part );
      } );
      if ( earlier ) {
         death = earlier;
         fatal = middle;
      } else {
         borne = middle;
      }
   }
   return FatalRow{ rows[fatal - 1].path, death->fatal.reason };
}

}  // namespace Program
