#include "program/AuditCommand.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iostream>
#include <iterator>
#include <set>

#include "platform/corestore/ValueText.h"
#include "platform/kel/Assert.h"
#include "platform/kel/StandardError.h"
#include "program/TrialSwitch.h"
#include "records/catalog/Catalog.h"
#include "views/tables/TextTable.h"

namespace Program {

namespace {

/** Longer than the agent waits for anything. */
constexpr Orb::Seconds settled = 3600;
constexpr char const * roles[] = { "qorclient", "qorswitch" };

struct Findings {
   /** Rows of the agent's that stand, and that an agent which begins anew would not write. */
   std::vector< std::string > unwanted;
   /** The other way round. */
   std::vector< std::string > missing;
   std::map< std::string, std::string > skipped;
   std::size_t furtherSkipped = 0;
   /** Nothing is compared then. */
   std::optional< FatalRow > fatal;
   std::map< std::string, Redis::RedisStore::Process > processes;

   bool areNone() const { return unwanted.empty() && missing.empty() && skipped.empty() && !fatal; }
};

std::set< std::string > agentRows( Corestore::EntityManager const & em ) {
   std::set< std::string > paths;
   em.forEachRow( [&paths]( Corestore::Row const & row ) {
      // The agent's books tell what has been, too.
      if ( Catalog::isAgents( row.path ) && !Catalog::placeOfRow( row.path )->isBook ) {
         paths.insert( row.path );
      }
   } );
   return paths;
}

/** Where the hardware answers, by the agent's names of its inputs. */
constexpr char const * answers[] = { "pfHwStatus", "pfHwStatusL3" };

bool isAnswer( std::string_view path ) {
   return std::ranges::any_of( answers, [path]( char const * input ) {
      return path.starts_with( std::string( Catalog::pathOf( input ) ) + "/flowStats/" );
   } );
}

/** Who works on the state, and what does not fit there. */
Findings standingOf( LiveState & state ) {
   Findings findings;
   findings.skipped = state.store().skipped();
   findings.furtherSkipped = state.store().furtherSkipped();
   for ( char const * role : roles ) {
      while ( !findings.processes.contains( role ) ) {
         std::uint64_t const attempt = state.store().attempt();
         state.store().askProcess( role, [&]( Redis::RedisStore::Process const & process ) {
            findings.processes.emplace( role, process );
         } );
         state.waitFor( [&] {
            return findings.processes.contains( role ) ||
                   ( state.store().attempt() != attempt && state.store().isReady() );
         } );
      }
   }
   return findings;
}

/** Finds what an agent that begins anew would write. */
void compare( LiveState & state, Findings & findings ) {
   Corestore::EntityManager & em = state.entityManager();
   if ( ( findings.fatal = fatalRow( em ) ) ) {
      return;
   }
   Corestore::MemoryStore inputs = copyOf(
      em, []( std::string_view path ) { return !Catalog::isAgents( path ) && !isAnswer( path ); } );
   // A row that ends the agent by design ends this one, too.
   Kel::FlushHook const lastWords(
      [] { Kel::writeStandardError( "no agent can begin on this state\n" ); } );
   Scenarios::Switch fresh( { .initial = &inputs } );
   fresh.advance( settled );
   // Some of what the agent writes waits for a rule that was not in the hardware before.
   Corestore::MemoryStore told = copyOf( em, isAnswer );
   fresh.entityManager().loadFrom( told );
   fresh.advance( settled );
   std::set< std::string > const standing = agentRows( em );
   std::set< std::string > const wanted = agentRows( fresh.entityManager() );
   std::ranges::set_difference( standing, wanted, std::back_inserter( findings.unwanted ) );
   std::ranges::set_difference( wanted, standing, std::back_inserter( findings.missing ) );
}

/** "3 s ago" for a time of the day in seconds. */
std::string ageOf( std::string const & seconds ) {
   auto const now = std::chrono::duration_cast< std::chrono::seconds >(
                       std::chrono::system_clock::now().time_since_epoch() )
                       .count();
   // Anyone may have written it.
   long long then = 0;
   std::from_chars( seconds.data(), seconds.data() + seconds.size(), then );
   return std::to_string( now - std::clamp< long long >( then, 0, now ) ) + " s ago";
}

void print( std::string const & role, Redis::RedisStore::Process const & process ) {
   auto const field = [&process]( char const * name ) {
      auto const found = process.fields.find( name );
      return found == process.fields.end() ? std::string() : Views::printable( found->second );
   };
   std::cout << role << ": "
             << ( process.holder.empty() ? "nobody serves the switch"
                                         : "served by " + Views::printable( process.holder ) );
   if ( !field( "changed" ).empty() ) {
      std::cout << ", last change " << ageOf( field( "changed" ) ) << ", " << field( "turns" )
                << " turns, the longest " << field( "longestTurn" ) << " s, " << field( "written" )
                << " rows written";
   }
   std::cout << "\n";
}

void printStanding( Findings const & findings ) {
   for ( auto const & [role, process] : findings.processes ) {
      print( role, process );
   }
   for ( auto const & [path, reason] : findings.skipped ) {
      std::cout << "skipped: " << Views::printable( path ) << ": " << Views::printable( reason )
                << "\n";
   }
   if ( findings.furtherSkipped != 0 ) {
      std::cout << "skipped: and " << findings.furtherSkipped << " more\n";
   }
   std::cout << std::flush;
}

void printCompared( Findings const & findings ) {
   auto const list = [&]( char const * heading, std::vector< std::string > const & paths ) {
      for ( std::string const & path : paths ) {
         std::cout << heading << Views::printable( path ) << "\n";
      }
   };
   if ( findings.fatal ) {
      std::cout << "fatal: " << Views::printable( findings.fatal->path ) << ": "
                << Views::printable( findings.fatal->reason ) << "; no agent can begin on it\n";
   }
   list( "unwanted: ", findings.unwanted );
   list( "missing: ", findings.missing );
   if ( findings.areNone() ) {
      std::cout << "everything that stands is wanted\n";
   }
}

void printJson( Findings const & findings ) {
   auto const array = []( std::vector< std::string > const & paths ) {
      return Kel::Value::Array( paths.begin(), paths.end() );
   };
   Kel::Value::Object skipped;
   for ( auto const & [path, reason] : findings.skipped ) {
      skipped.emplace_back( path, reason );
   }
   Kel::Value::Object processes;
   for ( auto const & [role, process] : findings.processes ) {
      Kel::Value::Object members{
         { "holder", process.holder.empty() ? Kel::Value() : Kel::Value( process.holder ) } };
      for ( auto const & [name, value] : process.fields ) {
         members.emplace_back( name, value );
      }
      processes.emplace_back( role, std::move( members ) );
   }
   std::cout << Corestore::jsonSorted( Kel::Value::Object{
                   { "fatal", findings.fatal ? Kel::Value( Kel::Value::Object{
                                                  { "path", findings.fatal->path },
                                                  { "reason", findings.fatal->reason } } )
                                             : Kel::Value() },
                   { "unwanted", array( findings.unwanted ) },
                   { "missing", array( findings.missing ) },
                   { "skipped", skipped },
                   { "furtherSkipped", static_cast< std::uint64_t >( findings.furtherSkipped ) },
                   { "processes", processes } } )
             << "\n";
}

bool isSure() {
   std::cout << "remove what is unwanted? [y/N] " << std::flush;
   std::string answer;
   return std::getline( std::cin, answer ) && ( answer == "y" || answer == "yes" );
}

}  // namespace

int auditState( AuditOptions const & options ) {
   LiveState state( options.live );
   state.open();
   Findings findings = standingOf( state );
   if ( !options.json ) {
      printStanding( findings );
   }
   compare( state, findings );
   if ( options.json ) {
      printJson( findings );
   } else {
      printCompared( findings );
   }
   if ( options.remove && !findings.unwanted.empty() && ( options.sure || isSure() ) ) {
      // What has come to be wanted while the answer was thought over stays.
      state.settle();
      Findings now;
      compare( state, now );
      if ( now.fatal ) {
         printCompared( now );
      }
      std::size_t removed = 0;
      bool const isWritten = state.write( [&] {
         for ( std::string const & path : findings.unwanted ) {
            if ( std::ranges::binary_search( now.unwanted, path ) ) {
               state.store().del( path );
               ++removed;
            }
         }
         state.store().flush();
      } );
      if ( !isWritten ) {
         throw Corestore::StoreError(
            "the state was read anew meanwhile: look whether the rows are gone" );
      }
      std::cout << removed << " rows removed\n";
   }
   return findings.areNone() ? 0 : 1;
}

}  // namespace Program
