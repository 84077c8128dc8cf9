#include "program/ShowCommand.h"

#include <iostream>

#include "views/tables/Tables.h"

namespace Program {

int showTable( ShowOptions const & options ) {
   OpenedState const state = openState( options.source );
   Views::TextTable const table = Views::tableOf( options.table, state.entityManager );
   if ( options.json ) {
      table.printJson( std::cout );
   } else {
      table.print( std::cout );
   }
   return state.met ? 0 : 1;
}

}  // namespace Program
