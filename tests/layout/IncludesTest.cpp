#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

/** What each folder of src/ may include besides itself: what stands below it, and never who plays
 * the rest of a switch or looks on. */
std::map< std::string, std::set< std::string > > const allowed = {
   { "platform", {} },
   { "records", { "platform" } },
   { "qorclient", { "platform", "records" } },
   { "stores", { "platform" } },
   { "documents", { "platform", "records" } },
   { "switch", { "platform", "records", "qorclient" } },
   { "scenario", { "platform", "records", "qorclient", "switch", "documents" } },
   { "views", { "platform", "records", "qorclient", "documents" } },
   { "web", { "platform", "records", "qorclient", "documents", "views" } },
   { "program",
     { "platform", "records", "stores", "switch", "documents", "scenario", "views", "web" } },
};

TEST( IncludesTest, RunDownwardsOnly ) {
   fs::path const sources = QORCLIENT_SOURCES;
   std::regex const include( "#include \"([^/\"]+)/[^\"]*\"" );
   int seen = 0;
   for ( auto const & entry : fs::recursive_directory_iterator( sources ) ) {
      fs::path const file = entry.path().lexically_relative( sources );
      if ( !entry.is_regular_file() ) {
         continue;
      }
      std::string const folder = file.begin()->string();
      ASSERT_TRUE( allowed.contains( folder ) ) << file << " stands in a folder without a place";
      std::ifstream in( entry.path() );
      for ( std::string line; std::getline( in, line ); ) {
         std::smatch found;
         if ( std::regex_search( line, found, include ) ) {
            ++seen;
            EXPECT_TRUE( found[1] == folder || allowed.at( folder ).contains( found[1] ) )
               << file << ": " << line;
         }
      }
   }
   EXPECT_GT( seen, 0 );
}

}  // namespace
