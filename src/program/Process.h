#pragma once

namespace Program {

/** Reads a command line, runs its command and returns the exit code. */
using CommandLine = int( int argc, char const * const * argv );

/** The main function of a program: guards the process, and ends it with what it returns. */
int runProgram( int argc, char const * const * argv, CommandLine * commandLine );

}  // namespace Program
