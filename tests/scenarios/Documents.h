#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/corestore/ValueText.h"

/* The scenario documents beside this file and the examples, each of which is a test of its own. */

namespace Scenarios {

inline std::vector< std::filesystem::path > documents() {
   std::vector< std::filesystem::path > files;
   for ( char const * folder : { QORCLIENT_SCENARIOS, QORCLIENT_SCENARIOS "/../../examples" } ) {
      for ( auto const & entry : std::filesystem::directory_iterator( folder ) ) {
         if ( entry.path().extension() == ".json" ) {
            files.push_back( entry.path() );
         }
      }
   }
   std::ranges::sort( files );
   return files;
}

inline std::string testName( testing::TestParamInfo< std::filesystem::path > const & file ) {
   std::string name = file.param.stem();
   std::ranges::replace_if(
      name, []( unsigned char c ) { return !std::isalnum( c ); }, '_' );
   return name;
}

/** What differs between two states, a line each, since the states themselves fill many screens. */
inline void listDifferences( Kel::Value const & plain, Kel::Value const & other,
                             std::string const & pointer, std::string & list ) {
   auto const * a = plain.as< Kel::Value::Object >();
   auto const * b = other.as< Kel::Value::Object >();
   if ( !a || !b ) {
      if ( plain != other ) {
         list += pointer + ": " + Corestore::jsonLine( plain ) + ", then " +
                 Corestore::jsonLine( other ) + "\n";
      }
      return;
   }
   auto memberOf = []( Kel::Value const & object, std::string const & name ) {
      Kel::Value const * member = object.member( name );
      return member ? *member : Kel::Value();
   };
   for ( auto const & member : *a ) {
      listDifferences( member.second, memberOf( other, member.first ),
                       pointer + Kel::pointerStep( member.first ), list );
   }
   for ( auto const & member : *b ) {
      if ( !plain.member( member.first ) ) {
         listDifferences( {}, member.second, pointer + Kel::pointerStep( member.first ), list );
      }
   }
}

inline std::string differences( Kel::Value const & plain, Kel::Value const & other ) {
   std::string list;
   listDifferences( plain, other, "", list );
   return list;
}

}  // namespace Scenarios
