#include "platform/corestore/ValueText.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <unordered_set>
#include <vector>

namespace Corestore {

namespace {

/** Builds a value as the parser meets its parts, so that no second tree is made on the way. */
class Builder {
 public:
   bool null() { return add( {} ); }
   bool boolean( bool v ) { return add( v ); }
   bool number_integer( std::int64_t v ) { return add( v ); }
   bool number_unsigned( std::uint64_t v ) { return add( v ); }
   bool number_float( double v, std::string const & ) { return add( v ); }
   bool string( std::string & v ) { return add( std::move( v ) ); }
   bool binary( std::vector< std::uint8_t > & ) { return false; }
   bool start_object( std::size_t ) { return open( Kel::Value::Object() ); }
   bool start_array( std::size_t ) { return open( Kel::Value::Array() ); }
   bool end_object() { return close(); }
   bool end_array() { return close(); }

   bool key( std::string & name ) {
      Level & level = levels_.back();
      if ( !level.names.insert( name ).second ) {
         throw TextError( "not usable: member \"" + name + "\" stands twice in one object" );
      }
      level.name = std::move( name );
      return true;
   }
   bool parse_error( std::size_t position, std::string const &,
                     nlohmann::json::exception const & error ) {
      std::string reason = error.what();
      // The library's own prefix names its exception; what follows names line and column.
      if ( std::size_t at = reason.find( "] " ); at != std::string::npos ) {
         reason.erase( 0, at + 2 );
      }
      std::ranges::replace( reason, '\n', ' ' );
      throw TextError( "not JSON, at byte " + std::to_string( position ) + ": " + reason );
   }

   Kel::Value take() { return std::move( root_ ); }

 private:
   /** Documents nest a dozen levels; anything deeper is an accident or an attack. */
   static constexpr std::size_t deepest = 200;

   struct Level {
      Kel::Value value;
      std::string name;
      std::unordered_set< std::string > names;
   };

   bool open( Kel::Value value ) {
      if ( levels_.size() == deepest ) {
         throw TextError( "not usable: nested deeper than " + std::to_string( deepest ) );
      }
      levels_.push_back( { std::move( value ), {}, {} } );
      return true;
   }
   bool close() {
      Kel::Value value = std::move( levels_.back().value );
      levels_.pop_back();
      return add( std::move( value ) );
   }
   bool add( Kel::Value value ) {
      if ( levels_.empty() ) {
         root_ = std::move( value );
      } else if ( auto * object = levels_.back().value.as< Kel::Value::Object >() ) {
         object->emplace_back( std::move( levels_.back().name ), std::move( value ) );
      } else {
         levels_.back().value.as< Kel::Value::Array >()->push_back( std::move( value ) );
      }
      return true;
   }

   Kel::Value root_;
   std::vector< Level > levels_;
};

template < class Json >
Json toJson( Kel::Value const & value ) {
   return std::visit(
      []< class T >( T const & v ) -> Json {
         if constexpr ( std::is_same_v< T, std::monostate > ) {
            return nullptr;
         } else if constexpr ( std::is_same_v< T, Kel::Value::Object > ) {
            Json object = Json::object();
            auto & members = object.template get_ref< typename Json::object_t & >();
            for ( auto const & member : v ) {
               if constexpr ( requires { members.push_back( { member.first, Json() } ); } ) {
                  members.push_back( { member.first, toJson< Json >( member.second ) } );
               } else {
                  members.emplace( member.first, toJson< Json >( member.second ) );
               }
            }
            return object;
         } else if constexpr ( std::is_same_v< T, Kel::Value::Array > ) {
            Json array = Json::array();
            for ( Kel::Value const & element : v ) {
               array.push_back( toJson< Json >( element ) );
            }
            return array;
         } else {
            return v;
         }
      },
      value.variant() );
}

template < class Json >
std::string write( Kel::Value const & value, int indent ) {
   return toJson< Json >( value ).dump( indent, ' ', false, Json::error_handler_t::replace );
}

}  // namespace

Kel::Value parseJson( std::string_view text ) {
   Builder builder;
   nlohmann::json::sax_parse( text, &builder );
   return builder.take();
}

std::string jsonLine( Kel::Value const & value ) {
   return write< nlohmann::ordered_json >( value, -1 );
}

std::string jsonSorted( Kel::Value const & value ) {
   return write< nlohmann::json >( value, 2 );
}

}  // namespace Corestore
