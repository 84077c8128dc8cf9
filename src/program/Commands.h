#pragma once

namespace Program {

/**
 * The program: reads the command line, runs the command and returns the exit code: 0 done, 1 an
 * expectation failed, 2 bad input or usage. What the agent throws is let through.
 *
 * The switch of a run is left standing, as a process that is killed would leave it.
 */
int runCommandLine( int argc, char const * const * argv );
struct WebOptions;
/** How the page is served: by the program of the page alone, which any other becomes. */
void webIs( int ( *serve )( WebOptions const & ) );

/** The same for the program of a switch's other agents. */
int runSwitchCommandLine( int argc, char const * const * argv );

}  // namespace Program
