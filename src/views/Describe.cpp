#include "views/Describe.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "platform/kel/StandardError.h"
#include "records/catalog/Catalog.h"
#include "records/catalog/Meaning.h"
#include "views/tables/TextTable.h"

namespace Views {

namespace {

using Catalog::Meaning;
using Catalog::Place;

/** Headings, sentences and tables, as text or in Markdown. */
class Page {
 public:
   Page( std::ostream & out, bool markdown ) : out_( out ), markdown_( markdown ) {}

   void heading( std::string const & text, int level ) {
      out_ << ( std::exchange( begun_, true ) ? "\n" : "" )
           << ( markdown_ ? std::string( static_cast< std::size_t >( level ), '#' ) + " " : "" )
           << text << "\n"
           << ( markdown_ ? "\n" : "" );
   }
   void sentence( std::string text ) {
      text[0] = static_cast< char >( std::toupper( static_cast< unsigned char >( text[0] ) ) );
      out_ << text << ".\n";
   }
   void table( std::vector< std::string > const & headings,
               std::vector< std::vector< std::string > > const & rows ) {
      out_ << "\n";
      if ( !markdown_ ) {
         TextTable table( headings );
         for ( auto const & row : rows ) {
            table.row( { row.begin(), row.end() } );
         }
         table.print( out_ );
         return;
      }
      line( headings );
      line( std::vector< std::string >( headings.size(), "---" ) );
      for ( auto const & row : rows ) {
         line( row );
      }
   }

 private:
   void line( std::vector< std::string > const & cells ) {
      for ( std::string const & cell : cells ) {
         out_ << "| ";
         for ( char const c : cell ) {
            out_ << ( c == '|' ? "\\" : "" ) << c;
         }
         out_ << " ";
      }
      out_ << "|\n";
   }

   std::ostream & out_;
   bool markdown_;
   bool begun_ = false;
};

std::string formText( Catalog::Form const & form ) {
   Meaning const * const meaning = Catalog::meaningNamed( form.type );
   return ( meaning && meaning->areBits ? "bits, " : "" ) + form.words;
}

void printType( Page & page, Meaning const & type ) {
   page.heading( type.type, 3 );
   page.sentence( type.words );
   std::vector< std::vector< std::string > > rows;
   if ( type.numbers.empty() ) {
      bool const keyed = std::ranges::any_of(
         type.parts, []( auto const & part ) { return !part.key.words.empty(); } );
      for ( Catalog::Part const & part : type.parts ) {
         rows.push_back( { part.name, part.key.words, formText( part.value ), part.words } );
         if ( !keyed ) {
            rows.back().erase( rows.back().begin() + 1 );
         }
      }
      page.table( keyed ? std::vector< std::string >{ "NAME", "KEY", "VALUE", "MEANING" }
                        : std::vector< std::string >{ "NAME", "VALUE", "MEANING" },
                  rows );
   } else {
      for ( Catalog::NamedNumber const & number : type.numbers ) {
         rows.push_back( { std::to_string( number.number ), number.name, number.words } );
      }
      page.table( { type.areBits ? "BIT" : "NUMBER", "NAME", "MEANING" }, rows );
   }
}

/** The type and all that its values are made of, each once, before what it is made of. */
void collect( std::string const & type, std::vector< Meaning const * > & found ) {
   Meaning const * const meaning = Catalog::meaningNamed( type );
   if ( !meaning || std::ranges::count( found, meaning ) ) {
      return;
   }
   found.push_back( meaning );
   for ( Catalog::Part const & part : meaning->parts ) {
      collect( part.key.type, found );
      collect( part.value.type, found );
   }
}

void printTypes( Page & page, std::string const & type ) {
   std::vector< Meaning const * > types;
   collect( type, types );
   for ( Meaning const * const each : types ) {
      printType( page, *each );
   }
}

/** The type of the entity, or of a directory's entries. */
char const * contentOf( Place const & place ) {
   return place.entryType ? place.entryType : place.type;
}

void printPlace( Page & page, Place const & place ) {
   page.heading( place.path, 3 );
   page.sentence( place.meaning );
   page.sentence( std::string( "Written by " ) + place.writer );
   if ( place.entryType ) {
      page.sentence( std::string( "A directory: by name, of " ) + place.entryType );
   }
   if ( place.isTable ) {
      page.sentence( "A table in shared memory" );
   }
}

std::vector< std::string > namesLike( std::string const & name ) {
   std::vector< std::string > names;
   if ( std::size_t const colons = name.find( "::" ); colons != name.npos ) {
      for ( Meaning const & known : Catalog::meanings() ) {
         if ( known.type.starts_with( name.substr( 0, colons + 2 ) ) ) {
            names.push_back( known.type );
         }
      }
   }
   if ( names.empty() ) {
      for ( Place const & place : Catalog::placesByPath() ) {
         names.emplace_back( place.path );
      }
   }
   return names;
}

}  // namespace

void describePlaces( std::ostream & out ) {
   TextTable table( { "PATH", "MEANING" } );
   for ( Place const & place : Catalog::placesByPath() ) {
      table.row( { place.path, place.meaning } );
   }
   table.print( out );
}

std::string describe( std::ostream & out, std::string const & name ) {
   Page page( out, false );
   if ( Place const * const place = Catalog::placeAt( name ) ) {
      printPlace( page, *place );
      printTypes( page, contentOf( *place ) );
   } else if ( Catalog::meaningNamed( name ) ) {
      printTypes( page, name );
   } else {
      return "nothing is called " + Kel::shownName( name ) +
             "; there are: " + Kel::shownNames( namesLike( name ) );
   }
   return "";
}

void describeAll( std::ostream & out ) {
   Page page( out, true );
   page.heading( "The state", 1 );
   page.sentence(
      "What stands at which path, who writes it and what it means; made by "
      "`qorclient describe --markdown`" );
   page.heading( "Paths", 2 );
   page.sentence( "Where it says \"by name\", the path is that of a directory of such entities" );
   std::vector< std::vector< std::string > > rows;
   for ( Place const & place : Catalog::placesByPath() ) {
      std::string const content =
         ( place.entryType ? "by name, " : "" ) + std::string( contentOf( place ) );
      rows.push_back( { place.path, place.meaning, content, place.writer } );
   }
   page.table( { "path", "meaning", "type", "written by" }, rows );
   page.heading( "Types", 2 );
   page.sentence(
      "Entities, the records in them, and what numbers mean. The fields of a key are "
      "joined by bars" );
   for ( Meaning const & type : Catalog::meanings() ) {
      printType( page, type );
   }
}

}  // namespace Views
