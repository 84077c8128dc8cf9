#include "views/tables/Tables.h"

#include <algorithm>

namespace Views {

namespace {

constexpr std::pair< char const *, TextTable ( * )( Corestore::EntityManager const & ) > tables[] =
   { { "flows", &flowsTable },          { "rules", &rulesTable },
     { "hosts", &hostsTable },          { "vnis", &vnisTable },
     { "groups", &groupsTable },        { "l3flows", &routedFlowsTable },
     { "capability", &capabilityTable } };

}  // namespace

std::vector< std::string > tableNames() {
   std::vector< std::string > names;
   for ( auto const & table : tables ) {
      names.emplace_back( table.first );
   }
   return names;
}

TextTable tableOf( std::string const & name, Corestore::EntityManager const & em ) {
   auto const * table = std::ranges::find_if(
      tables, [&name]( auto const & candidate ) { return name == candidate.first; } );
   return table->second( em );
}

}  // namespace Views
