#include "stores/redis/RowText.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <unordered_map>

#include "platform/corestore/ValueText.h"
#include "platform/kel/StandardError.h"
#include "stores/redis/Connection.h"

namespace Redis {

using Corestore::Row;
using Corestore::RowForm;
using Kel::Value;
using Kel::ValueError;

namespace {

Value parsed( std::string_view json ) {
   try {
      return Corestore::parseJson( json );
   } catch ( Corestore::TextError const & e ) {
      throw ValueError( e.what() );
   }
}

/** Throws ValueError for the error that the server gives for a key of another kind. */
void checkKind( redisReply const & reply ) {
   if ( std::string_view const error = errorOf( reply ); !error.empty() ) {
      throw ValueError( error.starts_with( "WRONGTYPE" ) ? std::string( "is of another kind" )
                                                         : std::string( error ) );
   }
}

std::uint64_t positionOf( std::string_view text ) {
   std::uint64_t position = 0;
   auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), position );
   if ( error != std::errc{} || end != text.data() + text.size() ) {
      throw ValueError( "is no position: " + Kel::shownName( text ) );
   }
   // Nobody has put so many rows, and the server's scores hold no more.
   constexpr unsigned mostBits = 53;
   return position >> mostBits == 0 ? position : 0;
}

std::uint64_t hashOf( std::string_view name, std::string_view json ) {
   std::uint64_t const hash = std::hash< std::string_view >{}( json );
   return ( std::hash< std::string_view >{}( name ) ^ ( hash + ( hash << 7 ) ) ) *
          0x9e3779b97f4a7c15;
}

}  // namespace

void RowText::add( std::string_view name, Value const & value ) {
   std::size_t const begin = json_.size();
   Corestore::addJson( json_, value );
   fields_.push_back( { name, begin, json_.size() - begin } );
}

void RowText::rowIs( Row const & row ) {
   fields_.clear();
   json_.clear();
   if ( row.form == RowForm::entity || row.form == RowForm::record ) {
      for ( auto const & [name, value] : *row.value.as< Value::Object >() ) {
         add( name, value );
      }
   } else {
      add( "", row.value );
   }
}

std::uint64_t RowText::fingerprint() const {
   std::uint64_t sum = 1;
   for ( std::size_t i = 0; i != fields_.size(); ++i ) {
      sum += hashOf( name( i ), json( i ) );
   }
   return sum;
}

ReadRow readHash( std::string path, RowForm form, redisReply const & reply ) {
   checkKind( reply );
   ReadRow read;
   Value::Object members;
   read.fingerprint = 1;
   auto const words = elementsOf( reply );
   members.reserve( words.size() / 2 );
   for ( std::size_t i = 0; i + 1 < words.size(); i += 2 ) {
      std::string_view const name = textOf( *words[i] );
      std::string_view const json = textOf( *words[i + 1] );
      try {
         if ( name == positionField ) {
            read.position = positionOf( json );
         } else {
            members.emplace_back( name, parsed( json ) );
            read.fingerprint += hashOf( name, json );
         }
      } catch ( ValueError const & e ) {
         if ( form != RowForm::entity ) {
            throw e.below( name );
         }
         read.bad.emplace_back( name, e.what() );
         read.fingerprint += hashOf( name, json );
      }
   }
   read.row = { std::move( path ), form, std::move( members ) };
   return read;
}

ReadRow readString( std::string path, redisReply const & reply ) {
   checkKind( reply );
   return { { std::move( path ), RowForm::value, parsed( textOf( reply ) ) },
            0,
            1 + hashOf( "", textOf( reply ) ) };
}

std::vector< ReadRow > readBook(
   std::string const & path, redisReply const & reply,
   std::function< void( std::string const & path, std::string const & reason ) > const & bad ) {
   checkKind( reply );
   std::vector< ReadRow > rows;
   auto const words = elementsOf( reply );
   for ( std::size_t i = 0; i + 1 < words.size(); i += 2 ) {
      std::string const entryPath = path + Kel::pointerStep( textOf( *words[i] ) );
      std::string_view entry = textOf( *words[i + 1] );
      try {
         std::size_t const comma = entry.find( ',' );
         if ( !entry.starts_with( '[' ) || !entry.ends_with( ']' ) || comma == entry.npos ) {
            throw ValueError( "is no position and value" );
         }
         std::uint64_t const position = positionOf( entry.substr( 1, comma - 1 ) );
         entry = entry.substr( comma + 1, entry.size() - comma - 2 );
         rows.push_back(
            { { entryPath, RowForm::book, parsed( entry ) }, position, 1 + hashOf( "", entry ) } );
      } catch ( ValueError const & e ) {
         bad( entryPath, e.what() );
      }
   }
   return rows;
}

namespace {

/** Sorts rows, those of a collection together if it has a number. */
void sortBy( std::vector< ReadRow > & rows,
             std::function< std::size_t( std::string_view holder ) > const & numberOf ) {
   struct Place {
      std::ptrdiff_t depth;
      std::size_t holder;
      std::uint64_t position;
      ReadRow * read;
   };
   std::vector< Place > places;
   places.reserve( rows.size() );
   for ( ReadRow & read : rows ) {
      std::string_view const path = read.row.path;
      std::size_t const slash = path.rfind( '/' );
      places.push_back( { std::ranges::count( path, '/' ),
                          numberOf( path.substr( 0, slash == path.npos ? 0 : slash ) ),
                          read.position, &read } );
   }
   std::ranges::sort( places, []( Place const & a, Place const & b ) {
      return a.depth != b.depth         ? a.depth < b.depth
             : a.holder != b.holder     ? a.holder < b.holder
             : a.position != b.position ? a.position < b.position
                                        : a.read->row.path < b.read->row.path;
   } );
   std::vector< ReadRow > sorted;
   sorted.reserve( rows.size() );
   for ( Place const & place : places ) {
      sorted.push_back( std::move( *place.read ) );
   }
   rows = std::move( sorted );
}

}  // namespace

void sortRows( std::vector< ReadRow > & rows ) {
   sortBy( rows, []( std::string_view ) { return 0; } );
}

void sortRowsTogether( std::vector< ReadRow > & rows ) {
   std::unordered_map< std::string_view, std::size_t > numbers;
   std::string_view last;
   std::size_t number = 0;
   sortBy( rows, [&]( std::string_view holder ) {
      if ( holder != last || numbers.empty() ) {
         last = holder;
         number = numbers.try_emplace( holder, numbers.size() ).first->second;
      }
      return number;
   } );
}

}  // namespace Redis
