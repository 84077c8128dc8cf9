// Damaged and torn records: figure_damage SCENARIO [COUNT [SEED]]. Rows of a table in shared memory
// and their headers, records of a trace, pages of a state file and of its journal, and rows in an
// engine are damaged, one at a time, in so many ways in all, and read as readers do. What is read
// is held against what was written. Fails when something was taken for good.

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "damage/Count.h"
#include "platform/kel/Assert.h"

int main( int argc, char ** argv ) {
   if ( argc < 2 ) {
      std::fputs( "usage: figure_damage SCENARIO [COUNT [SEED]]\n", stderr );
      return 2;
   }
   std::uint64_t const count = argc > 2 ? std::strtoull( argv[2], nullptr, 10 ) : 100'000;
   std::uint64_t const seed = argc > 3 ? std::strtoull( argv[3], nullptr, 10 ) : 1;
   Kel::installTerminateHandler();
   Damage::Random random( seed );
   std::vector< Damage::Count > const counts = {
      Damage::tables( count / 2, random ),
      Damage::traces( count / 4, random ),
      Damage::stateFiles( count / 100, random, argv[1] ),
      Damage::journals( count / 100, random, argv[1] ),
      Damage::engineRows( count - count / 2 - count / 4 - 2 * ( count / 100 ), random, argv[1] ),
   };
   std::printf( "Seed %llu.\n\n", static_cast< unsigned long long >( seed ) );
   std::puts( "| record | damaged | refused | as it was | away | well formed | taken for good |" );
   std::puts( "| --- | --- | --- | --- | --- | --- | --- |" );
   Damage::Count sum{ .kind = "all" };
   auto const print = []( Damage::Count const & one ) {
      std::printf( "| %s", one.kind );
      for ( std::uint64_t const number :
            { one.all, one.refused, one.unchanged, one.absent, one.wellFormed, one.taken } ) {
         std::printf( " | %llu", static_cast< unsigned long long >( number ) );
      }
      std::puts( " |" );
   };
   for ( Damage::Count const & one : counts ) {
      print( one );
      sum.all += one.all;
      sum.refused += one.refused;
      sum.unchanged += one.unchanged;
      sum.absent += one.absent;
      sum.wellFormed += one.wellFormed;
      sum.taken += one.taken;
   }
   print( sum );
   return sum.taken == 0 ? 0 : 1;
}
