#include "switch/ovsdb/Json.h"

#include "platform/kel/Value.h"

namespace Ovsdb {

using Kel::ValueError;

namespace {

[[noreturn]] void refuse( Json const & json, std::string const & kind ) {
   std::string const text = json.dump( -1, ' ', true, Json::error_handler_t::replace );
   throw ValueError( text.substr( 0, 100 ) + " is no " + kind );
}

/** The list of ["set", LIST] and the like; nothing for anything else. */
Json const * tagged( Json const & json, char const * tag ) {
   bool const isTagged = json.is_array() && json.size() == 2 && json[0] == tag;
   return isTagged && json[1].is_array() ? &json[1] : nullptr;
}

}  // namespace

Json const & memberOf( Json const & object, char const * name ) {
   if ( !object.is_object() ) {
      refuse( object, "object" );
   }
   auto const member = object.find( name );
   if ( member == object.end() ) {
      throw ValueError( std::string( name ) + " is missing" );
   }
   return *member;
}

std::string textOf( Json const & json ) {
   if ( !json.is_string() ) {
      refuse( json, "text" );
   }
   return json.get< std::string >();
}

std::string uuidOf( Json const & json ) {
   if ( !json.is_array() || json.size() != 2 || json[0] != "uuid" ) {
      refuse( json, "identity" );
   }
   return textOf( json[1] );
}

std::vector< Json > elementsOf( Json const & json ) {
   if ( Json const * const list = tagged( json, "set" ) ) {
      return std::vector< Json >( list->begin(), list->end() );
   }
   // A plain array is a single element, too, where it is an identity.
   return { json };
}

std::optional< Json > optionalOf( Json const & json ) {
   auto elements = elementsOf( json );
   if ( elements.size() > 1 ) {
      refuse( json, "single value" );
   }
   return elements.empty() ? std::nullopt : std::optional( std::move( elements.front() ) );
}

std::vector< std::pair< Json, Json > > entriesOf( Json const & json ) {
   Json const * const list = tagged( json, "map" );
   if ( !list ) {
      refuse( json, "map" );
   }
   std::vector< std::pair< Json, Json > > entries;
   for ( Json const & entry : *list ) {
      if ( !entry.is_array() || entry.size() != 2 ) {
         refuse( entry, "entry of a map" );
      }
      entries.emplace_back( entry[0], entry[1] );
   }
   return entries;
}

std::map< std::string, std::string > textsOf( Json const & json ) {
   std::map< std::string, std::string > texts;
   for ( auto const & [key, value] : entriesOf( json ) ) {
      texts.emplace( textOf( key ), textOf( value ) );
   }
   return texts;
}

std::uint64_t numberOf( Json const & json, std::uint64_t limit ) {
   if ( !json.is_number_unsigned() || json.get< std::uint64_t >() > limit ) {
      refuse( json, "number up to " + std::to_string( limit ) );
   }
   return json.get< std::uint64_t >();
}

Json mapOf( std::map< std::string, std::string > const & texts ) {
   Json entries = Json::array();
   for ( auto const & [key, value] : texts ) {
      entries.push_back( Json::array( { key, value } ) );
   }
   return Json::array( { "map", std::move( entries ) } );
}

}  // namespace Ovsdb
