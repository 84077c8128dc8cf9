#include "runner/tables/TextTable.h"

#include <algorithm>

namespace Runner {

namespace {

/** Columns on the screen: the bytes that continue a character take none. */
std::size_t width( std::string const & text ) {
   return static_cast< std::size_t >(
      std::ranges::count_if( text, []( char c ) { return ( c & 0xc0 ) != 0x80; } ) );
}

/** Texts come from documents: no line end or control sequence of theirs reaches the screen. */
void makePrintable( std::string & text ) {
   std::ranges::replace_if(
      text, []( char c ) { return ( c >= 0 && c < ' ' ) || c == '\x7f'; }, '?' );
   if ( text.empty() ) {
      text = "-";
   }
}

}  // namespace

TextTable::TextTable( std::vector< std::string > headings ) {
   rows_.push_back( std::move( headings ) );
}

void TextTable::row( std::vector< std::string > cells ) {
   std::ranges::for_each( cells, makePrintable );
   rows_.push_back( std::move( cells ) );
}

void TextTable::print( std::ostream & out ) const {
   std::vector< std::size_t > widths( rows_.front().size() );
   for ( auto const & cells : rows_ ) {
      for ( std::size_t i = 0; i != cells.size(); ++i ) {
         widths[i] = std::max( widths[i], width( cells[i] ) );
      }
   }
   for ( auto const & cells : rows_ ) {
      std::string line;
      for ( std::size_t i = 0; i != cells.size(); ++i ) {
         line += cells[i];
         if ( i + 1 != cells.size() ) {
            line.append( widths[i] + 2 - width( cells[i] ), ' ' );
         }
      }
      out << line << '\n';
   }
   if ( rows_.size() == 1 ) {
      out << "none\n";
   }
}

}  // namespace Runner
