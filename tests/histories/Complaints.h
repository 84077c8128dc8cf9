#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace Histories {

/** The place where checks complain. */
class Complaints {
 public:
   template < class... Words >
   void that( bool holds, Words const &... words ) {
      if ( !holds ) {
         std::ostringstream line;
         ( line << ... << words );
         broken.push_back( line.str() );
      }
   }
   /** Complains of each key of `keys` that isn't wanted, and of each that is wanted and missing. */
   void same( auto const & keys, auto const & wanted, auto const &... what ) {
      for ( auto const & key : keys ) {
         that( wanted.contains( key ), key, " is left in ", what... );
      }
      for ( auto const & key : wanted ) {
         that( keys.contains( key ), key, " is missing in ", what... );
      }
   }

   std::vector< std::string > broken;
};

}  // namespace Histories
