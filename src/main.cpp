#include <csignal>
#include <cstdlib>
#include <iostream>

#include "platform/kel/Assert.h"
#include "platform/slab/Segment.h"
#include "runner/Commands.h"

int main( int argc, char ** argv ) {
   Kel::installTerminateHandler();
   // Whoever reads the output may leave before its end; that is told below.
   std::signal( SIGPIPE, SIG_IGN );
   int const code = Runner::runCommandLine( argc, argv );
   std::cout.flush();
   if ( !std::cout ) {
      std::cerr << "standard output: /: cannot be written" << std::endl;
   }
   // Nothing is torn down: the agent leaves the state as it stands.
   Slab::removeProcessSegments();
   std::_Exit( std::cout ? code : 2 );
}
