#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace Program {

/** A configuration file that cannot be used. `what()` is one line: file, line, reason. */
class ConfigError : public std::runtime_error {
   using runtime_error::runtime_error;
};

/** An option of a command, as a line of a configuration file has it. */
struct ConfigLine {
   std::size_t number;
   std::string name;
   std::string value;
};

/** Reads a file of lines "NAME = VALUE". Empty lines and those that begin with "#" say nothing.
 *  Throws ConfigError. */
std::vector< ConfigLine > readConfigFile( std::string const & file );

/** What is wrong in a line of a file. */
ConfigError wrongLine( std::string const & file, std::size_t number, std::string const & reason );

}  // namespace Program
