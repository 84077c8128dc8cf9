#pragma once

#include <concepts>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/kel/Value.h"

namespace Views {

/** What a cell of a table says, for people and for programs. */
struct Cell {
   /** Absent: "-", and null for programs. */
   Cell() = default;
   /** A text; absent if it is empty. */
   Cell( std::string words );
   Cell( char const * words ) : Cell( std::string( words ) ) {}
   Cell( bool yes ) : text( yes ? "yes" : "no" ), value( yes ) {}
   template < std::integral Number >
   Cell( Number number )
      : text( std::to_string( number ) ), value( static_cast< std::int64_t >( number ) ) {}
   /** Several texts, with a comma between them; absent if there are none. */
   Cell( std::vector< std::string > const & list );
   /** A word in place of what isn't there: null for programs. */
   static Cell insteadOf( char const * word );

   std::string text;
   Kel::Value value;
};

/** Rows of cells in aligned columns under headings. */
class TextTable {
 public:
   explicit TextTable( std::vector< std::string > headings ) : headings_( std::move( headings ) ) {}

   /** As many cells as there are headings. */
   void row( std::vector< Cell > cells ) { rows_.push_back( std::move( cells ) ); }
   bool empty() const { return rows_.empty(); }
   /** Headings alone, then "none", when there are no rows. */
   void print( std::ostream & out ) const;
   /** A JSON array, one object on a line for each row; its members are named by the headings, in
    *  lower case and with "_" for a space. */
   void printJson( std::ostream & out ) const;

 private:
   std::vector< std::string > headings_;
   std::vector< std::vector< Cell > > rows_;
};

/** Texts come from documents: no line end or control sequence of theirs reaches the screen. "-" for
 *  the empty text. */
std::string printable( std::string_view text );

/** A JSON array with one value on a line. */
void printJsonLines( std::ostream & out, Kel::Value::Array const & values );

}  // namespace Views
