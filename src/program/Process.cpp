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
   static bool isEnding = false;
   if ( !std::exchange( isEnding, true ) ) {
      Kel::writeStandardError( "out of memory\n" );
      if ( reserve ) {
         delete[] std::exchange( reserve, nullptr );
         Output::undoAll();
         Slab::removeProcessSegments();
      }
   }
   std::_Exit( 2 );
}

/** Objects that are made before `main` need memory, too. */
__attribute__( ( constructor( 101 ) ) ) void expectWant() {
   std::set_new_handler( endWithoutMemory );
}

}  // namespace

int runProgram( int argc, char const * const * argv, CommandLine * commandLine ) {
   Kel::keepStandardDescriptors();
   Kel::installTerminateHandler();
   reserve = new char[1 << 16];
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
