#include "program/ConfigWords.h"

#include <CLI/CLI.hpp>
#include <optional>

#include "platform/kel/StandardError.h"
#include "program/CommandOptions.h"
#include "program/ConfigFile.h"

namespace Program {

namespace {

using Words = std::vector< std::string >;

/** The value of an option among words; nothing where it doesn't stand. */
std::optional< std::string > valueIn( Words const & words, std::string const & option ) {
   for ( std::size_t i = 0; i < words.size(); ++i ) {
      if ( words[i] == option ) {
         return i + 1 < words.size() ? words[i + 1] : "";
      }
      if ( words[i].starts_with( option + "=" ) ) {
         return words[i].substr( option.size() + 1 );
      }
   }
   return std::nullopt;
}

/** The words of the options in a file, but for those that the command line gives itself. Throws
 *  ConfigError. */
Words wordsOf( std::string const & file, CLI::App const & command, Words const & given,
               WrongOption const & wrongIn ) {
   Words words;
   for ( ConfigLine const & line : readConfigFile( file ) ) {
      std::string const option = "--" + line.name;
      CLI::Option const * const known = command.get_option_no_throw( option );
      if ( !known || option == configOption || known == command.get_help_ptr() ) {
         throw wrongLine( file, line.number,
                          command.get_name() + " has no option " + Kel::shownName( line.name ) );
      }
      std::string const word = option + "=" + line.value;
      if ( std::string const wrong = wrongIn( command.get_name(), word ); !wrong.empty() ) {
         throw wrongLine( file, line.number, Kel::oneLine( wrong ) );
      }
      if ( known->get_items_expected_max() == 1 && valueIn( words, option ) ) {
         throw wrongLine( file, line.number, line.name + " is there twice" );
      }
      if ( !valueIn( given, option ) ) {
         words.push_back( word );
      }
   }
   return words;
}

}  // namespace

std::vector< std::string > withConfigFile( CLI::App const & app, std::vector< std::string > words,
                                           WrongOption const & wrongIn ) {
   auto const commands = app.get_subcommands( [&words]( CLI::App const * command ) {
      return !words.empty() && command->get_name() == words.front();
   } );
   auto const file = valueIn( words, configOption );
   if ( !commands.empty() && commands.front()->get_option_no_throw( configOption ) && file &&
        !file->empty() ) {
      Words const added = wordsOf( *file, *commands.front(), words, wrongIn );
      words.insert( words.begin() + 1, added.begin(), added.end() );
   }
   return words;
}

}  // namespace Program
