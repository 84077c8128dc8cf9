#include "program/Commands.h"
#include "program/Process.h"

int main( int argc, char ** argv ) {
   return Program::runProgram( argc, argv, &Program::runSwitchCommandLine );
}
