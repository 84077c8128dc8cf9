#include "program/ConfigFile.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "platform/kel/StandardError.h"

namespace Program {

namespace {

constexpr char blanks[] = " \t\r";

std::string_view trimmed( std::string_view text ) {
   std::size_t const first = text.find_first_not_of( blanks );
   return first == text.npos ? std::string_view()
                             : text.substr( first, text.find_last_not_of( blanks ) - first + 1 );
}

}  // namespace

std::vector< ConfigLine > readConfigFile( std::string const & file ) {
   errno = 0;
   std::ifstream in( file );
   if ( !in || std::filesystem::is_directory( file ) ) {
      throw ConfigError( Kel::shownName( file ) + ": " +
                         std::generic_category().message( errno ? errno : EISDIR ) );
   }
   std::vector< ConfigLine > lines;
   std::string text;
   for ( std::size_t number = 1; std::getline( in, text ); ++number ) {
      std::string_view const line = trimmed( text );
      if ( line.empty() || line.front() == '#' ) {
         continue;
      }
      std::size_t const sign = line.find( '=' );
      std::string_view const name = trimmed( line.substr( 0, sign ) );
      std::string_view const value =
         sign == line.npos ? std::string_view() : trimmed( line.substr( sign + 1 ) );
      if ( name.empty() || value.empty() ) {
         throw wrongLine( file, number, "wants NAME = VALUE" );
      }
      lines.push_back( { number, std::string( name ), std::string( value ) } );
   }
   if ( in.bad() ) {
      throw ConfigError( Kel::shownName( file ) + ": cannot be read" );
   }
   return lines;
}

ConfigError wrongLine( std::string const & file, std::size_t number, std::string const & reason ) {
   return ConfigError( Kel::shownName( file ) + ":" + std::to_string( number ) + ": " + reason );
}

}  // namespace Program
