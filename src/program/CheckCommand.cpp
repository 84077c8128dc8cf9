#include "program/CheckCommand.h"

#include <iostream>

#include "documents/Document.h"
#include "program/StateSource.h"
#include "scenario/Scenario.h"
#include "views/Remarks.h"

namespace Program {

void checkScenario( std::string const & file ) {
   Scenarios::Scenario const scenario = openScenario( file );
   Scenarios::checkDeath( scenario );
   for ( std::size_t step = 0; step != scenario.steps.size(); ++step ) {
      if ( auto const * patch = std::get_if< Scenarios::PatchStep >( &scenario.steps[step] ) ) {
         for ( Views::Remark const & remark : Views::remarksOn( patch->document ) ) {
            std::cerr << Documents::placeOf(
                            file, Scenarios::actionPointer( scenario, step ) + remark.pointer )
                      << ": remark: " << remark.words << std::endl;
         }
      }
   }
}

}  // namespace Program
