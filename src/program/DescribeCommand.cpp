#include "program/DescribeCommand.h"

#include <iostream>

#include "views/Describe.h"

namespace Program {

int describeState( DescribeOptions const & options ) {
   if ( options.markdown ) {
      Views::describeAll( std::cout );
   } else if ( options.name.empty() ) {
      Views::describePlaces( std::cout );
   } else if ( std::string const unknown = Views::describe( std::cout, options.name );
               !unknown.empty() ) {
      std::cerr << unknown << std::endl;
      return 2;
   }
   return 0;
}

}  // namespace Program
