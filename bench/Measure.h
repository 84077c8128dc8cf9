#pragma once

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

/* How the benchmarks measure and how they are run. */

namespace Bench {

/** The seconds that a call of `work` takes. */
template < class F >
double timed( F && work ) {
   auto const start = std::chrono::steady_clock::now();
   work();
   return std::chrono::duration< double >( std::chrono::steady_clock::now() - start ).count();
}

/** The bytes of the heap that are in use. */
inline double heapBytes() {
   struct mallinfo2 const info = ::mallinfo2();
   return static_cast< double >( info.uordblks + info.hblkhd );
}

/** Ends the program over a wrong result: what was measured is worth nothing. */
[[noreturn]] inline void wrong( char const * what ) {
   std::fprintf( stderr, "%s\n", what );
   std::exit( 1 );
}

/** The middle one of the values, of which there is one at least. */
inline double median( std::vector< double > values ) {
   auto const middle = values.begin() + static_cast< std::ptrdiff_t >( values.size() / 2 );
   std::ranges::nth_element( values, middle );
   return *middle;
}

/** The `main` of benchmarks that run the agent. */
inline void runBenchmarks( int argc, char ** argv ) {
   // The trace file would be a second thing to measure; `frame` measures trace points.
   ::setenv( "FLASHLOG_DISABLE", "1", 0 );
   benchmark::Initialize( &argc, argv );
   benchmark::RunSpecifiedBenchmarks();
}

}  // namespace Bench
