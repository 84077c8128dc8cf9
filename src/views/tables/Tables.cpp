#include "views/tables/Tables.h"

#include <algorithm>

namespace Views {

namespace {

struct Table {
   char const * name;
   /** Of one that may be long, rows are made as they are wanted. */
   TextTable ( *chosen )( Corestore::EntityManager const &, Choice const & );
   TextTable ( *whole )( Corestore::EntityManager const & ) = nullptr;
   /** The column of a row's state. */
   char const * state = "";
};

constexpr Table tables[] = { { "flows", &flowsTable },
                             { "rules", &rulesTable },
                             { "hosts", &hostsTable },
                             { "ports", &portsTable },
                             { "learnt", &learntTable },
                             { "tunnels", &tunnelsTable },
                             { "vnis", nullptr, &vnisTable, "VLAN" },
                             { "groups", nullptr, &groupsTable, "MEMBER STATE" },
                             { "l3flows", nullptr, &routedFlowsTable, "STATE" },
                             { "capability", nullptr, &capabilityTable } };

}  // namespace

std::vector< std::string > tableNames() {
   std::vector< std::string > names;
   for ( auto const & table : tables ) {
      names.emplace_back( table.name );
   }
   return names;
}

TextTable tableOf( std::string const & name, Corestore::EntityManager const & em ) {
   auto const & table = *std::ranges::find( tables, name, &Table::name );
   return table.whole ? table.whole( em ) : table.chosen( em, {} );
}

TextTable tableOf( std::string const & name, Corestore::EntityManager const & em,
                   Choice const & choice ) {
   auto const & table = *std::ranges::find( tables, name, &Table::name );
   return table.whole ? table.whole( em ).chosen( choice, table.state )
                      : table.chosen( em, choice );
}

}  // namespace Views
