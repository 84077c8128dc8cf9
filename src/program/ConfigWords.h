#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Program {

/** What is wrong with one option of a command, "--NAME=VALUE"; empty if nothing is. */
using WrongOption =
   std::function< std::string( std::string const & command, std::string const & option ) >;

/** A command line, with what the configuration file that it names has behind the command, but for
 *  options that it gives itself. Throws ConfigError. */
std::vector< std::string > withConfigFile( CLI::App const & app, std::vector< std::string > words,
                                           WrongOption const & wrongIn );

}  // namespace Program
