#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Kel {

/** Levels run from 0 (gravest) to 9. A text level switches on itself and all levels below it. */
inline constexpr int traceLevels = 10;
inline constexpr int traceAlert = 4;
inline constexpr int traceInfo = 6;
inline constexpr int traceReturn = 7;
inline constexpr int traceEntry = 8;

/** The text switch of all source units that share its name. Lives as long as the process. */
class TraceHandle {
 public:
   explicit TraceHandle( std::string name ) : name_( std::move( name ) ) {}
   TraceHandle( TraceHandle const & ) = delete;
   TraceHandle & operator=( TraceHandle const & ) = delete;

   std::string const & name() const { return name_; }
   /** Is text of this level written? */
   bool enabled( int level ) const;
   /** Switches one level, the others stay. A level that doesn't exist is ignored. */
   void enabledIs( int level, bool on );
   /** Switches on `level` and all below it, off all above; a negative level is silence. */
   void textLevelIs( int level );
   /** One bit a level. */
   std::uint32_t textMask() const { return textMask_; }

 private:
   std::string name_;
   std::uint32_t textMask_ = 0;
};

/** The handle of that name, made on first use with the level last set for all handles. */
TraceHandle & traceHandle( std::string_view name );
/** Names of the handles there are, sorted. */
std::vector< std::string > traceHandleNames();

/** Text of `level` and below for every handle, also for those that are made later. */
void setTextTrace( int level );
/** The same for one handle; if no unit has made it yet, it is made now and they will share it. */
void setTextTrace( std::string_view handleName, int level );

/** Takes finished lines, without line end. */
using TextTraceSink = std::function< void( std::string_view line ) >;
/** Where text lines go from now on; an empty sink is standard error, one write a line, with time,
 * level and handle before it. */
void textTraceSinkIs( TextTraceSink sink );
void writeTextTrace( TraceHandle const & handle, int level, std::string_view line );
/** "2026-01-31T12:00:00.000000000Z" for nanoseconds since 1970: the time of a trace, UTC. */
std::string traceTime( std::uint64_t nanoseconds );

/** One source file's share of the tracing, in static storage; its mask is what a trace point
 * tests. The low half of the mask says which levels are recorded, the high half which are text. */
struct TraceUnit {
   constexpr explicit TraceUnit( char const * unitName ) : name( unitName ) {}

   static constexpr std::uint32_t textShift = 16;
   static constexpr std::uint32_t recordBit( int level ) { return 1u << level; }
   static constexpr std::uint32_t textBit( int level ) { return recordBit( level ) << textShift; }
   static constexpr std::uint32_t anyBit( int level ) {
      return recordBit( level ) | textBit( level );
   }

   std::uint32_t mask = 0;
   char const * name;
   // The registry's handle of that name, and the next unit: both stand to the end of the process.
   TraceHandle * handle = nullptr;
   TraceUnit * next = nullptr;
};

/** Puts a unit on the process-wide list, from where its mask is kept up to date. Until that has
 * run (in the static initialisation of other files) the unit's trace points are off. */
struct TraceUnitRegistration {
   TraceUnitRegistration( TraceUnit & unit, std::string_view handleName );
};

/** Levels that go to a record file from now on, a bit each; 0 when none is open. */
void traceRecordMaskIs( std::uint32_t mask );

}  // namespace Kel

/** Names the source unit and trace handle of this .cpp file; once, at file scope. In a header it
 * would clash with that of each file that includes it, so that is refused here. */
#define KEL_TRACE_UNIT( unitName, handleName )                                                   \
   static_assert( __INCLUDE_LEVEL__ == 0, "KEL_TRACE_UNIT belongs into a source file" );         \
   namespace {                                                                                   \
   [[maybe_unused]] constinit ::Kel::TraceUnit kelTraceUnit_{ unitName };                        \
   [[maybe_unused]] ::Kel::TraceUnitRegistration const kelTraceUnitRegistration_{ kelTraceUnit_, \
                                                                                  handleName };  \
   }
