#include "runner/tables/Tables.h"

#include <algorithm>

namespace Runner {

namespace {

constexpr std::pair< char const *, TextTable ( * )( Switch const & ) > tables[] = {
   { "flows", &flowsTable },          { "rules", &rulesTable },
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

void printTable( std::string const & name, Switch const & device, std::ostream & out ) {
   auto const * table = std::ranges::find_if(
      tables, [&name]( auto const & candidate ) { return name == candidate.first; } );
   table->second( device ).print( out );
}

std::string joined( std::vector< std::string > const & texts ) {
   std::string all;
   for ( std::string const & text : texts ) {
      all += ( all.empty() ? "" : ", " ) + text;
   }
   return all;
}

}  // namespace Runner
