#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "damage/Count.h"
#include "live/Process.h"
#include "platform/flashlog/Decode.h"
#include "platform/flashlog/DualLog.h"
#include "platform/flashlog/FileFormat.h"

KEL_TRACE_UNIT( "Traces", "Damage" )

/* Records and descriptors of a trace. */

namespace Damage {

namespace {

/** A trace of some records of each kind of argument; another `version` has other arguments. */
std::string traceOf( std::string const & name, std::uint32_t version ) {
   Flashlog::SizeSpec sizes{};
   sizes[6] = 2;
   Flashlog::initialize( name, sizes, nullptr, 0, 24, Flashlog::MultiThreading::singleWriter_,
                         false, 512 );
   for ( std::uint32_t i = 0; i != 8; ++i ) {
      std::string const rule = "fragment" + std::to_string( i * 37 + version ) + "_flow";
      KEL_TRACE_INFO( " VNI add ", i + 10'000 + version, " VLAN ", std::uint16_t( 100 + i ) );
      KEL_TRACE_INFO( " rule ", rule, " is active: ", i % 2 == version );
   }
   Flashlog::shutdown();
   std::ostringstream bytes;
   bytes << std::ifstream( name, std::ios::binary ).rdbuf();
   return bytes.str();
}

struct Read {
   std::vector< std::string > lines;
   bool refused = false;
};

Read read( std::string const & name ) {
   Read read;
   std::stringstream out;
   try {
      Flashlog::decode( name, out );
   } catch ( Flashlog::DecodeError const & ) {
      read.refused = true;
   }
   for ( std::string line; std::getline( out, line ); ) {
      // One without its descriptor is shown as such, and told.
      if ( !read.refused || line.find( " ?:0 message " ) == line.npos ) {
         read.lines.push_back( line );
      }
   }
   return read;
}

}  // namespace

Count traces( std::uint64_t count, Random & random ) {
   Count counted{ .kind = "record or descriptor of a trace" };
   Live::Folder const folder;
   std::string const name = folder.path() / "trace.fl";
   ::unsetenv( "FLASHLOG_DISABLE" );
   std::string const other = traceOf( name, 1 );
   auto const otherLines = read( name ).lines;
   std::set< std::string > const writtenOtherwise( otherLines.begin(), otherLines.end() );
   std::filesystem::remove( name );
   std::string const whole = traceOf( name, 0 );
   Flashlog::Format::FileHeader head;
   std::memcpy( &head, whole.data(), sizeof head );
   struct Area {
      std::size_t from;
      std::size_t size;
   } const areas[] = { { head.ring[6].offset, head.ring[6].head },
                       { head.descOffset, head.descUsed } };
   auto const lines = read( name ).lines;
   std::set< std::string > const written( lines.begin(), lines.end() );
   int const fd = ::open( name.c_str(), O_WRONLY | O_CLOEXEC );
   std::string changed = whole;
   while ( counted.all != count ) {
      Area const & area = areas[below( random, 4 ) == 0];
      damage( changed, area.from, area.size, other, random );
      if ( changed.compare( area.from, area.size, whole, area.from, area.size ) == 0 ) {
         continue;
      }
      ++counted.all;
      auto const put = [&]( std::string const & bytes ) {
         if ( ::pwrite( fd, &bytes[area.from], area.size, static_cast< off_t >( area.from ) ) !=
              static_cast< ssize_t >( area.size ) ) {
            std::abort();
         }
      };
      put( changed );
      Read const got = read( name );
      auto const isStrange = [&]( auto const & line ) { return !written.contains( line ); };
      auto const isNobodys = [&]( auto const & line ) {
         return isStrange( line ) && !writtenOtherwise.contains( line );
      };
      ++( std::ranges::any_of( got.lines, isNobodys )   ? counted.taken
          : got.refused                                 ? counted.refused
          : std::ranges::any_of( got.lines, isStrange ) ? counted.wellFormed
          : got.lines.size() < lines.size()             ? counted.absent
                                                        : counted.unchanged );
      changed.replace( area.from, area.size, whole, area.from, area.size );
      put( whole );
   }
   ::close( fd );
   return counted;
}

}  // namespace Damage
