#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>
#include <vector>

/* The scenario documents beside this file, each of which is a test of its own. */

namespace Scenarios {

inline std::vector< std::filesystem::path > documents() {
   std::vector< std::filesystem::path > files;
   for ( auto const & entry : std::filesystem::directory_iterator( QORCLIENT_SCENARIOS ) ) {
      if ( entry.path().extension() == ".json" ) {
         files.push_back( entry.path() );
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

}  // namespace Scenarios
