#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Failing {

/** How a program is started so that something fails in it. */
struct Fault {
   /** As a report names it: "mmap, the 7th". */
   std::string name;
   /** The words before the program. */
   std::vector< std::string > prefix;
};

/** The words before a program whose calls, or allocations, are to be counted into a file. */
std::vector< std::string > countingCalls( std::filesystem::path const & file );
std::vector< std::string > countingAllocations( std::filesystem::path const & file );

/** One for each call, or allocation, that was counted. */
std::vector< Fault > failingCalls( std::filesystem::path const & counted );
std::vector< Fault > failingAllocations( std::filesystem::path const & counted );

}  // namespace Failing
