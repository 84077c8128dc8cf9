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

/** One for each call, or allocation, that was counted. A run need not come to it again: into `told`
 *  is written that it did. */
std::vector< Fault > failingCalls( std::filesystem::path const & counted,
                                   std::filesystem::path const & told );
std::vector< Fault > failingAllocations( std::filesystem::path const & counted,
                                         std::filesystem::path const & told );
/** Whether a run has come to its fault. */
bool hasFailed( std::filesystem::path const & told );

}  // namespace Failing
