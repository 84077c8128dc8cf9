#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/kel/Value.h"

namespace Views {

/** What a cell of a table says, for people and for programs. */
struct Cell {
   /** Absent: "-", and null for programs. */
   Cell() = default;
   /** A text; absent if it is empty. */
   Cell( std::string words ) : text( std::move( words ) ), isWords_( true ) {}
   Cell( char const * words ) : Cell( std::string( words ) ) {}
   Cell( bool yes ) : text( yes ? "yes" : "no" ), value_( yes ) {}
   template < std::integral Number >
   Cell( Number number )
      : text( std::to_string( number ) ), value_( static_cast< std::int64_t >( number ) ) {}
   /** Several texts, with a comma between them; absent if there are none. */
   Cell( std::vector< std::string > const & list );
   /** A word in place of what isn't there: null for programs. */
   static Cell insteadOf( char const * word );

   Kel::Value value() const { return isWords_ && !text.empty() ? Kel::Value( text ) : value_; }

   std::string text;

 private:
   /** It is the text that programs are given, too. */
   bool isWords_ = false;
   Kel::Value value_;
};

/** The cells of a row, none of them copied. */
template < class... Cells >
std::vector< Cell > cellsOf( Cells &&... cells ) {
   std::vector< Cell > row;
   row.reserve( sizeof...( cells ) );
   ( row.emplace_back( std::forward< Cells >( cells ) ), ... );
   return row;
}

/** Which rows are wanted: of those that fit, so many from the first one on. */
struct Choice {
   /** Stands in some cell, in whatever case. */
   std::string text = {};
   /** What the state's words begin with. */
   std::string state = {};
   std::size_t first = 0;
   std::size_t most = std::numeric_limits< std::size_t >::max();
};

/** Rows of cells in aligned columns under headings. */
class TextTable {
 public:
   explicit TextTable( std::vector< std::string > headings, Choice choice = {} )
      : headings_( std::move( headings ) ), choice_( std::move( choice ) ) {}

   /** As many cells as there are headings. */
   void row( std::vector< Cell > cells ) { rows_.push_back( std::move( cells ) ); }
   /** For a table of which some rows are wanted: `state` yields the words of the row's state,
    *  `cells` its cells, which are made only where someone looks at them. */
   template < class State, class Cells >
   void row( State const & state, Cells const & cells ) {
      if ( !choice_.state.empty() && !std::string( state() ).starts_with( choice_.state ) ) {
         return;
      }
      bool const isOnPage = found_ >= choice_.first && found_ - choice_.first < choice_.most;
      if ( isOnPage || !choice_.text.empty() ) {
         std::vector< Cell > made = cells();
         if ( !fits( made ) ) {
            return;
         }
         if ( isOnPage ) {
            rows_.push_back( std::move( made ) );
         }
      }
      ++found_;
   }
   /** How many rows fit, on whatever page. */
   std::size_t found() const { return found_; }
   /** The same choice of a table that was made whole; its state is in the column of that heading.
    */
   TextTable chosen( Choice const & choice, std::string_view stateHeading ) const;
   bool empty() const { return rows_.empty(); }
   /** Headings alone, then "none", when there are no rows. */
   void print( std::ostream & out ) const;
   /** A JSON array, one object on a line for each row; its members are named by the headings, in
    *  lower case and with "_" for a space. */
   void printJson( std::ostream & out ) const;
   /** The same objects. */
   Kel::Value::Array values() const;

 private:
   bool fits( std::vector< Cell > const & cells ) const;

   std::vector< std::string > headings_;
   Choice choice_;
   std::size_t found_ = 0;
   std::vector< std::vector< Cell > > rows_;
};

/** Texts come from documents: no line end or control sequence of theirs reaches the screen. "-" for
 *  the empty text. */
std::string printable( std::string_view text );

/** A JSON array with one value on a line. */
void printJsonLines( std::ostream & out, Kel::Value::Array const & values );

}  // namespace Views
