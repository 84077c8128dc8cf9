#include "program/DescribeCommand.h"

#include <iostream>

#include "views/Describe.h"

namespace Runner {

int describeState( DescribeOptions const & options ) {
   if ( options.markdown ) {
      describeAll( std::cout );
   } else if ( options.name.empty() ) {
      describePlaces( std::cout );
   } else if ( std::string const unknown = describe( std::cout, options.name ); !unknown.empty() ) {
      std::cerr << unknown << std::endl;
      return 2;
   }
   return 0;
}

}  // namespace Runner
