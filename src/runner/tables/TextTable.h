#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Runner {

/** Rows of cells in aligned columns under headings. */
class TextTable {
 public:
   explicit TextTable( std::vector< std::string > headings );

   /** As many cells as there are headings. An empty cell shows as "-". */
   void row( std::vector< std::string > cells );
   /** Headings alone, then "none", when there are no rows. */
   void print( std::ostream & out ) const;

 private:
   std::vector< std::vector< std::string > > rows_;
};

}  // namespace Runner
