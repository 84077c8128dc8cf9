#include "program/Process.h"

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <new>
#include <utility>

#include "platform/kel/Assert.h"
#include "platform/kel/StandardError.h"
#include "platform/slab/Segment.h"
#include "program/Output.h"

namespace Program {

namespace {

/** What the last steps of a process without memory need. */
char * reserve = nullptr;

/** Nothing that is half done is unwound: a state file stands as after its last whole turn. */
void endWithoutMemory() {
   if ( reserve ) {
      delete[] std::exchange( reserve, nullptr );
      Kel::writeStandardError( "out of memory\n" );
      Output::undoAll();
      Slab::removeProcessSegments();
   }
   std::_Exit( 2 );
}

}  // namespace

int runProgram( int argc, char const * const * argv, CommandLine * commandLine ) {
   Kel::keepStandardDescriptors();
   Kel::installTerminateHandler();
   reserve = new char[1 << 16];
   std::set_new_handler( endWithoutMemory );
   // Whoever reads the output may leave before its end, and a file may not grow without bounds;
   // whoever writes is told.
   std::signal( SIGPIPE, SIG_IGN );
   std::signal( SIGXFSZ, SIG_IGN );
   int const code = commandLine( argc, argv );
   std::cout.flush();
   if ( !std::cout ) {
      std::cerr << "standard output: /: cannot be written" << std::endl;
   }
   // Nothing is torn down: the agent leaves the state as it stands.
   Slab::removeProcessSegments();
   std::_Exit( std::cout ? code : 2 );
}

}  // namespace Program
