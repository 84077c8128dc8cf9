#include "runner/Tables.h"

namespace Runner {

std::vector< std::string > tableNames() {
   return { "flows", "rules", "hosts", "vnis", "groups", "l3flows", "capability" };
}

void printTable( std::string const &, Switch const &, std::ostream & ) {}

}  // namespace Runner
