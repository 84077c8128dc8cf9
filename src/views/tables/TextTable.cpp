#include "views/tables/TextTable.h"

#include <algorithm>

#include "platform/corestore/ValueText.h"
#include "platform/kel/StandardError.h"
#include "views/tables/Words.h"

namespace Views {

namespace {

/** Columns on the screen: the bytes that continue a character take none. */
std::size_t width( std::string const & text ) {
   return static_cast< std::size_t >(
      std::ranges::count_if( text, []( char c ) { return ( c & 0xc0 ) != 0x80; } ) );
}

char lower( char c ) {
   return c >= 'A' && c <= 'Z' ? static_cast< char >( c + 'a' - 'A' ) : c;
}

std::string memberName( std::string heading ) {
   std::ranges::transform( heading, heading.begin(),
                           []( char c ) { return c == ' ' ? '_' : lower( c ); } );
   return heading;
}

}  // namespace

Cell::Cell( std::vector< std::string > const & list ) : text( joined( list ) ) {
   if ( !list.empty() ) {
      value_ = Kel::Value::Array( list.begin(), list.end() );
   }
}

Cell Cell::insteadOf( char const * word ) {
   Cell cell;
   cell.text = word;
   return cell;
}

std::string printable( std::string_view text ) {
   return text.empty() ? "-" : Kel::oneLine( text );
}

void TextTable::print( std::ostream & out ) const {
   std::vector< std::vector< std::string > > lines{ headings_ };
   for ( auto const & cells : rows_ ) {
      auto & line = lines.emplace_back();
      for ( Cell const & cell : cells ) {
         line.push_back( printable( cell.text ) );
      }
   }
   std::vector< std::size_t > widths( headings_.size() );
   for ( auto const & line : lines ) {
      for ( std::size_t i = 0; i != line.size(); ++i ) {
         widths[i] = std::max( widths[i], width( line[i] ) );
      }
   }
   for ( auto & line : lines ) {
      for ( std::size_t i = 0; i + 1 != line.size(); ++i ) {
         out << line[i] << std::string( widths[i] + 2 - width( line[i] ), ' ' );
      }
      out << line.back() << '\n';
   }
   if ( rows_.empty() ) {
      out << "none\n";
   }
}

void TextTable::printJson( std::ostream & out ) const {
   printJsonLines( out, values() );
}

Kel::Value::Array TextTable::values() const {
   Kel::Value::Array rows;
   for ( auto const & cells : rows_ ) {
      Kel::Value::Object row;
      for ( std::size_t i = 0; i != cells.size(); ++i ) {
         row.emplace_back( memberName( headings_[i] ), cells[i].value() );
      }
      rows.emplace_back( std::move( row ) );
   }
   return rows;
}

bool TextTable::fits( std::vector< Cell > const & cells ) const {
   auto const isSame = []( char a, char b ) { return lower( a ) == lower( b ); };
   return choice_.text.empty() || std::ranges::any_of( cells, [&]( Cell const & cell ) {
             return std::search( cell.text.begin(), cell.text.end(), choice_.text.begin(),
                                 choice_.text.end(), isSame ) != cell.text.end();
          } );
}

TextTable TextTable::chosen( Choice const & choice, std::string_view stateHeading ) const {
   TextTable table( headings_, choice );
   auto const column = static_cast< std::size_t >( std::ranges::find( headings_, stateHeading ) -
                                                   headings_.begin() );
   for ( auto const & cells : rows_ ) {
      table.row( [&] { return column < cells.size() ? cells[column].text : std::string(); },
                 [&] { return cells; } );
   }
   return table;
}

void printJsonLines( std::ostream & out, Kel::Value::Array const & values ) {
   char const * before = "[\n  ";
   for ( Kel::Value const & value : values ) {
      out << before << Corestore::jsonLine( value );
      before = ",\n  ";
   }
   out << ( values.empty() ? "[]\n" : "\n]\n" );
}

}  // namespace Views
