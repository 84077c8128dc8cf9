// Endurance: figure_endurance [CHANGES]. One agent, in one process and without a restart, is given
// so many changes of policy, hosts, interfaces, VLANs, routed policy and hardware answers, by the
// generator of the random histories. Each tenth of them is the same histories again, so the same
// work, and ends with all of it withdrawn. Two tenths before them, which don't
// count, bring the tables to the room that they keep, and the switch to where the last one ends.
//
// From a million changes on it fails when the process takes more than 1 % more memory at the end
// than at the start, has 1 % more pieces of memory in use, or the last tenth took 10 % more time of
// a processor than the first.

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <vector>

#include "histories/Generator.h"
#include "platform/kel/Assert.h"

namespace {

/** How many pieces of memory are in use: their bytes depend on how the allocator has cut them. */
std::int64_t pieces = 0;

}  // namespace

// The compiler would take the two for a mistake where it sees into them.
[[gnu::noinline]] void * operator new( std::size_t size ) {
   void * const at = std::malloc( size );
   if ( !at ) {
      throw std::bad_alloc();
   }
   ++pieces;
   return at;
}
[[gnu::noinline]] void operator delete( void * at ) noexcept {
   pieces -= at ? 1 : 0;
   std::free( at );
}
[[gnu::noinline]] void operator delete( void * at, std::size_t ) noexcept {
   ::operator delete( at );
}

namespace {

constexpr std::uint64_t tenths = 10;
constexpr std::uint64_t changesAHistory = 1000;

/** Without what only stands before the agent's first step. */
Scenarios::Step beginning( Histories::Generator & generator ) {
   Scenarios::Step step = generator.first();
   auto & document = std::get< Scenarios::PatchStep >( step ).document;
   std::erase_if( *document.as< Kel::Value::Object >(),
                  []( auto const & member ) { return member.first == "qorclient/status"; } );
   return step;
}

bool isOfTheGate( Scenarios::Step const & step ) {
   auto const * patch = std::get_if< Scenarios::PatchStep >( &step );
   return patch && patch->document.member( "mgmt/controller/status" );
}

void play( Scenarios::Switch & device, Scenarios::Step step ) {
   Scenarios::Scenario one;
   one.steps = { std::move( step ) };
   Scenarios::playStep( device, one, 0 );
}

/** Takes out all that others have put. */
void clear( Scenarios::Switch & device ) {
   Kel::Value const state = device.dump();
   Kel::Value::Object document;
   for ( auto const & [path, entity] : *state.as< Kel::Value::Object >() ) {
      auto const * const members = entity.as< Kel::Value::Object >();
      if ( members && path != "runner/clock" &&
           !device.entityManager().isMountedForWrite( path ) ) {
         Kel::Value::Object nothing;
         for ( auto const & member : *members ) {
            nothing.emplace_back( member.first, Kel::Value() );
         }
         document.emplace_back( path, std::move( nothing ) );
      }
   }
   device.patch( std::move( document ) );
}

/** So many changes, and all policy goes. */
void playHistory( Scenarios::Switch & device, std::uint64_t seed, std::uint64_t changes ) {
   Histories::Generator generator( seed );
   // In most the agent's gate stays open, so that its machines grow old.
   bool const opensAndCloses = seed % 8 == 7;
   play( device, beginning( generator ) );
   for ( std::uint64_t done = 2; done < changes; ) {
      Scenarios::Step step = generator.next( device );
      if ( std::holds_alternative< Scenarios::RestartStep >( step ) ||
           ( !opensAndCloses && isOfTheGate( step ) ) ) {
         continue;
      }
      play( device, std::move( step ) );
      ++done;
   }
   play( device, Histories::Generator::last() );
}

/** The seconds that the process has used of a processor. */
double cpuSeconds() {
   timespec used{};
   ::clock_gettime( CLOCK_PROCESS_CPUTIME_ID, &used );
   return static_cast< double >( used.tv_sec ) + 1e-9 * static_cast< double >( used.tv_nsec );
}

/** The bytes of the process that are in memory. */
double residentBytes() {
   std::ifstream in( "/proc/self/statm" );
   double pages = 0;
   in >> pages >> pages;
   return pages * static_cast< double >( ::sysconf( _SC_PAGESIZE ) );
}

/** What has been used until some moment. */
struct Used {
   double seconds = cpuSeconds();
   std::int64_t inUse = pieces;
   double resident = residentBytes();
};

}  // namespace

int main( int argc, char ** argv ) {
   std::uint64_t const wanted = argc > 1 ? std::strtoull( argv[1], nullptr, 10 ) : 1'000'000;
   std::uint64_t const histories =
      std::max< std::uint64_t >( 1, wanted / ( tenths * changesAHistory ) );
   std::uint64_t const changes =
      std::min( changesAHistory, std::max< std::uint64_t >( wanted / tenths, 2 ) );
   ::setenv( "FLASHLOG_DISABLE", "1", 1 );
   Kel::installTerminateHandler();

   std::uint64_t written = 0;
   Scenarios::Switch device( { .observer = [&]( auto const & ) { ++written; } } );
   auto const playTenth = [&] {
      for ( std::uint64_t seed = 0; seed != histories; ++seed ) {
         playHistory( device, seed, changes );
      }
      clear( device );
   };
   std::puts( "| after | pieces of memory in use | resident, kB | µs a change |" );
   std::puts( "| --- | --- | --- | --- |" );
   std::fflush( stdout );
   playTenth();
   playTenth();
   written = 0;
   // The pages of the library that prints numbers come before.
   char row[32];
   std::snprintf( row, sizeof row, "%.0f", Used().resident );
   Used const start;
   std::printf( "| the start | %lld | %.0f | |\n", static_cast< long long >( start.inUse ),
                start.resident / 1024 );
   Used before = start;
   std::vector< double > times;
   for ( std::uint64_t tenth = 1; tenth <= tenths; ++tenth ) {
      playTenth();
      Used const after;
      times.push_back( 1e6 * ( after.seconds - before.seconds ) /
                       static_cast< double >( histories * changes ) );
      std::printf( "| tenth %llu | %lld | %.0f | %.2f |\n",
                   static_cast< unsigned long long >( tenth ),
                   static_cast< long long >( after.inUse ), after.resident / 1024, times.back() );
      std::fflush( stdout );
      before = after;
   }
   double const inUse =
      static_cast< double >( before.inUse ) / static_cast< double >( start.inUse );
   double const resident = before.resident / start.resident;
   double const time = times.back() / times.front();
   unsigned long long const all = tenths * histories * changes;
   std::printf(
      "\n%llu changes in one process, of which the agent made %llu rows; each tenth is the same "
      "%llu histories. The end against the start: pieces %.4f, resident %.4f; the last tenth "
      "against "
      "the first: time %.3f\n",
      all, static_cast< unsigned long long >( written ),
      static_cast< unsigned long long >( histories ), inUse, resident, time );
   bool const isLong = all >= 1'000'000;
   return !isLong || ( resident < 1.01 && inUse < 1.01 && time < 1.1 ) ? 0 : 1;
}
