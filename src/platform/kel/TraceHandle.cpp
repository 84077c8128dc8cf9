#include "platform/kel/TraceHandle.h"

#include <chrono>
#include <ctime>
#include <map>

#include "platform/kel/StandardError.h"

namespace Kel {

namespace {

constexpr std::uint32_t levelMask( int level ) {
   if ( level < 0 ) {
      return 0;
   }
   return level >= traceLevels ? ( 1u << traceLevels ) - 1 : ( 2u << level ) - 1;
}

struct Registry {
   std::map< std::string, TraceHandle, std::less<> > handles;
   int textLevel = -1;
   std::uint32_t recordMask = 0;
   TraceUnit * units = nullptr;
   TextTraceSink sink;

   void refresh( TraceUnit & unit ) const {
      unit.mask = recordMask | unit.handle->textMask() << TraceUnit::textShift;
   }
   void refreshAll() const {
      for ( TraceUnit * unit = units; unit; unit = unit->next ) {
         refresh( *unit );
      }
   }
};

// Never destroyed: static destructors trace too.
Registry & registry() {
   static auto & theRegistry = *new Registry;
   return theRegistry;
}

}  // namespace

bool TraceHandle::enabled( int level ) const {
   return level >= 0 && level < traceLevels && ( textMask_ >> level & 1 );
}

void TraceHandle::enabledIs( int level, bool on ) {
   if ( level < 0 || level >= traceLevels ) {
      return;
   }
   std::uint32_t const bit = 1u << level;
   textMask_ = on ? textMask_ | bit : textMask_ & ~bit;
   registry().refreshAll();
}

void TraceHandle::textLevelIs( int level ) {
   textMask_ = levelMask( level );
   registry().refreshAll();
}

TraceHandle & traceHandle( std::string_view name ) {
   auto & reg = registry();
   auto found = reg.handles.find( name );
   if ( found == reg.handles.end() ) {
      found = reg.handles.try_emplace( std::string( name ), std::string( name ) ).first;
      found->second.textLevelIs( reg.textLevel );
   }
   return found->second;
}

std::vector< std::string > traceHandleNames() {
   std::vector< std::string > names;
   for ( auto const & entry : registry().handles ) {
      names.push_back( entry.first );
   }
   return names;
}

void setTextTrace( int level ) {
   auto & reg = registry();
   reg.textLevel = level;
   for ( auto & entry : reg.handles ) {
      entry.second.textLevelIs( level );
   }
}

void setTextTrace( std::string_view handleName, int level ) {
   traceHandle( handleName ).textLevelIs( level );
}

void textTraceSinkIs( TextTraceSink sink ) {
   registry().sink = std::move( sink );
}

void writeTextTrace( TraceHandle const & handle, int level, std::string_view line ) {
   if ( auto const & sink = registry().sink ) {
      sink( line );
      return;
   }
   auto const now = std::chrono::system_clock::now().time_since_epoch();
   auto const time = std::chrono::duration_cast< std::chrono::nanoseconds >( now ).count();
   writeStandardError( traceTime( static_cast< std::uint64_t >( time ) ) + ' ' +
                       std::to_string( level ) + ' ' + handle.name() + ' ' + oneLine( line ) +
                       '\n' );
}

std::string traceTime( std::uint64_t nanoseconds ) {
   auto const seconds = static_cast< std::time_t >( nanoseconds / 1'000'000'000 );
   std::tm parts{};
   ::gmtime_r( &seconds, &parts );
   char text[40];
   auto const length = std::strftime( text, sizeof text, "%Y-%m-%dT%H:%M:%S.", &parts );
   auto const fraction = std::to_string( nanoseconds % 1'000'000'000 );
   return std::string( text, length ) + std::string( 9 - fraction.size(), '0' ) + fraction + 'Z';
}

TraceUnitRegistration::TraceUnitRegistration( TraceUnit & unit, std::string_view handleName ) {
   unit.handle = &traceHandle( handleName );
   unit.next = registry().units;
   registry().units = &unit;
   registry().refresh( unit );
}

void traceRecordMaskIs( std::uint32_t mask ) {
   registry().recordMask = mask;
   registry().refreshAll();
}

}  // namespace Kel
