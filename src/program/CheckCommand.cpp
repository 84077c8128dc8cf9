#include "program/CheckCommand.h"

#include <iostream>

#include "documents/Document.h"
#include "program/StateSource.h"
#include "scenario/Scenario.h"
#include "views/Remarks.h"

namespace Runner {

void checkScenario( std::string const & file ) {
   Scenario const scenario = openScenario( file );
   checkDeath( scenario );
   for ( std::size_t step = 0; step != scenario.steps.size(); ++step ) {
      if ( auto const * patch = std::get_if< PatchStep >( &scenario.steps[step] ) ) {
         for ( Remark const & remark : remarksOn( patch->document ) ) {
            std::cerr << placeOf( file, actionPointer( scenario, step ) + remark.pointer )
                      << ": remark: " << remark.words << std::endl;
         }
      }
   }
}

}  // namespace Runner
