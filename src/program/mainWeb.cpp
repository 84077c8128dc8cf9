#include "program/Commands.h"
#include "program/Process.h"
#include "program/WebService.h"

int main( int argc, char ** argv ) {
   Program::webIs( &Program::serveWeb );
   return Program::runProgram( argc, argv, &Program::runCommandLine );
}
