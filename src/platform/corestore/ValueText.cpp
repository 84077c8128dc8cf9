#include "platform/corestore/ValueText.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/kel/StandardError.h"

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
      if ( !level.isNew( name ) ) {
         throw TextError( "not usable: member \"" + Kel::shownName( name ) +
                          "\" stands twice in one object" );
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
      // It also quotes all that it has read of a text without an end.
      constexpr std::string_view quote = "last read: '";
      std::size_t const begin = reason.find( quote ) + quote.size();
      if ( std::size_t const end = reason.rfind( '\'' ); begin >= quote.size() && end > begin ) {
         reason.replace(
            begin, end - begin,
            Kel::shownName( std::string_view( reason ).substr( begin, end - begin ) ) );
      }
      throw TextError( "not JSON, at byte " + std::to_string( position ) + ": " +
                       Kel::oneLine( reason ) );
   }

   Kel::Value take() { return std::move( root_ ); }

 private:
   /** Documents nest a dozen levels; anything deeper is an accident or an attack. */
   static constexpr std::size_t deepest = 200;

   struct Level {
      Kel::Value value;
      std::string name;
      /** Of an object with many members; few are found as fast where they stand. */
      std::unordered_set< std::string > names;

      bool isNew( std::string const & member ) {
         constexpr std::size_t few = 16;
         auto const & members = *value.as< Kel::Value::Object >();
         if ( members.size() < few ) {
            return !value.member( member );
         }
         if ( names.empty() ) {
            for ( auto const & known : members ) {
               names.insert( known.first );
            }
         }
         return names.insert( member ).second;
      }
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

nlohmann::json toJson( Kel::Value const & value ) {
   return std::visit(
      []< class T >( T const & v ) -> nlohmann::json {
         if constexpr ( std::is_same_v< T, std::monostate > ) {
            return nullptr;
         } else if constexpr ( std::is_same_v< T, Kel::Value::Object > ) {
            auto object = nlohmann::json::object();
            for ( auto const & member : v ) {
               object.emplace( member.first, toJson( member.second ) );
            }
            return object;
         } else if constexpr ( std::is_same_v< T, Kel::Value::Array > ) {
            auto array = nlohmann::json::array();
            for ( Kel::Value const & element : v ) {
               array.push_back( toJson( element ) );
            }
            return array;
         } else {
            return v;
         }
      },
      value.variant() );
}

std::string dump( nlohmann::json const & json, int indent ) {
   return json.dump( indent, ' ', false, nlohmann::json::error_handler_t::replace );
}

/** Whether a text stands in JSON as it is. */
bool isPlain( std::string_view text ) {
   return std::ranges::all_of(
      text, []( char c ) { return c >= ' ' && c < '\x7f' && c != '"' && c != '\\'; } );
}

/** Appends a value on one line. The library's tree would cost most of the time that a store takes,
 *  so it is left to texts that need escapes and to fractions. */
class LineWriter {
 public:
   explicit LineWriter( std::string & line ) : line_( line ) {}

   void add( Kel::Value const & value ) {
      std::visit( [this]( auto const & v ) { add( v ); }, value.variant() );
   }

 private:
   void add( std::monostate ) { line_ += "null"; }
   void add( bool v ) { line_ += v ? "true" : "false"; }
   void add( std::uint64_t v ) { number( v ); }
   void add( std::int64_t v ) { number( v ); }
   void add( double v ) { line_ += dump( v, -1 ); }
   void add( std::string const & v ) {
      if ( isPlain( v ) ) {
         line_ += '"';
         line_ += v;
         line_ += '"';
      } else {
         line_ += dump( v, -1 );
      }
   }
   void add( Kel::Value::Object const & v ) {
      // What most members take, so that the text seldom moves.
      line_.reserve( line_.size() + 32 * v.size() );
      char separator = '{';
      for ( auto const & member : v ) {
         line_ += std::exchange( separator, ',' );
         add( member.first );
         line_ += ':';
         add( member.second );
      }
      line_ += v.empty() ? "{}" : "}";
   }
   void add( Kel::Value::Array const & v ) {
      char separator = '[';
      for ( Kel::Value const & element : v ) {
         line_ += std::exchange( separator, ',' );
         add( element );
      }
      line_ += v.empty() ? "[]" : "]";
   }
   void number( auto v ) {
      char text[20];
      line_.append( text, std::to_chars( text, text + sizeof text, v ).ptr );
   }

   std::string & line_;
};

/** Reads texts that are made of plain parts alone and without blanks, as most rows are: words,
 *  numbers of few digits, strings without escapes, small objects and arrays. Any other text, be it
 *  right or wrong, is left to the library. */
class PlainReader {
 public:
   explicit PlainReader( std::string_view text ) : text_( text ) {}

   /** Nothing for any other text. */
   std::optional< Kel::Value > whole() {
      Kel::Value value;
      return read( value, 0 ) && text_.empty() ? std::optional( std::move( value ) ) : std::nullopt;
   }

 private:
   static constexpr int deepest = 8;
   static constexpr std::size_t mostMembers = 16;
   static constexpr std::size_t mostDigits = 18;

   bool read( Kel::Value & value, int depth ) {
      if ( text_.starts_with( '"' ) ) {
         return string( value );
      }
      if ( text_.starts_with( '{' ) ) {
         return depth != deepest && object( value, depth + 1 );
      }
      if ( text_.starts_with( '[' ) ) {
         return depth != deepest && array( value, depth + 1 );
      }
      for ( bool const word : { false, true } ) {
         if ( skip( word ? "true" : "false" ) ) {
            value = word;
            return true;
         }
      }
      return number( value );
   }
   bool skip( std::string_view what ) {
      bool const isThere = text_.starts_with( what );
      text_.remove_prefix( isThere ? what.size() : 0 );
      return isThere;
   }
   std::optional< std::string > quoted() {
      std::size_t const end = text_.starts_with( '"' ) ? text_.find( '"', 1 ) : text_.npos;
      if ( end == text_.npos || !isPlain( text_.substr( 1, end - 1 ) ) ) {
         return std::nullopt;
      }
      std::string inside( text_.substr( 1, end - 1 ) );
      text_.remove_prefix( end + 1 );
      return inside;
   }
   bool string( Kel::Value & value ) {
      auto text = quoted();
      if ( text ) {
         value = std::move( *text );
      }
      return text.has_value();
   }
   bool number( Kel::Value & value ) {
      std::size_t const digits = std::min( text_.find_first_not_of( "0123456789" ), text_.size() );
      if ( digits == 0 || digits > mostDigits || ( text_[0] == '0' && digits != 1 ) ) {
         return false;
      }
      std::uint64_t number = 0;
      std::from_chars( text_.data(), text_.data() + digits, number );
      text_.remove_prefix( digits );
      value = number;
      return true;
   }
   bool object( Kel::Value & value, int depth ) {
      Kel::Value::Object members;
      skip( "{" );
      while ( !skip( "}" ) ) {
         bool const isNext = members.empty() || skip( "," );
         auto name = isNext && members.size() != mostMembers ? quoted() : std::nullopt;
         bool const isNew = name && std::ranges::none_of( members, [&name]( auto const & known ) {
                               return known.first == *name;
                            } );
         if ( !isNew || !skip( ":" ) ) {
            return false;
         }
         members.emplace_back( std::move( *name ), Kel::Value() );
         if ( !read( members.back().second, depth ) ) {
            return false;
         }
      }
      value = std::move( members );
      return true;
   }
   bool array( Kel::Value & value, int depth ) {
      Kel::Value::Array elements;
      skip( "[" );
      while ( !skip( "]" ) ) {
         if ( ( !elements.empty() && !skip( "," ) ) || !read( elements.emplace_back(), depth ) ) {
            return false;
         }
      }
      value = std::move( elements );
      return true;
   }

   std::string_view text_;
};

}  // namespace

Kel::Value parseJson( std::string_view text ) {
   if ( auto value = PlainReader( text ).whole() ) {
      return std::move( *value );
   }
   // The library would take it for the end.
   if ( std::size_t const at = text.find( '\0' ); at != std::string_view::npos ) {
      throw TextError( "holds a NUL byte, at offset " + std::to_string( at ) );
   }
   Builder builder;
   nlohmann::json::sax_parse( text, &builder );
   return builder.take();
}

std::string jsonLine( Kel::Value const & value ) {
   std::string line;
   addJson( line, value );
   return line;
}

void addJson( std::string & text, Kel::Value const & value ) {
   LineWriter( text ).add( value );
}

std::string jsonSorted( Kel::Value const & value ) {
   return dump( toJson( value ), 2 );
}

}  // namespace Corestore
