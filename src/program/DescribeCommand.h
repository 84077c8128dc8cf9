#pragma once

#include <string>

namespace Program {

struct DescribeOptions {
   /** A path or a type; empty for all paths. */
   std::string name;
   /** Everything, as a page. */
   bool markdown = false;
};

/** Prints what the state is made of. Returns the exit code. */
int describeState( DescribeOptions const & options );

}  // namespace Program
