#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/kel/TraceHandle.h"

/** The binary trace: a file of rings, one a level, mapped into memory, so that what was recorded
 * outlives the process however it ends. Trace points don't use this interface themselves, they
 * are written with the macros of DualLog.h. */
namespace Flashlog {

class TraceFile;
class RingBuf;

/** A ring's size in KiB for each level; 0: that level isn't recorded. At most 4096 each. */
using SizeSpec = std::array< std::uint32_t, Kel::traceLevels >;

enum class MultiThreading {
   singleWriter_ = 0,  // all trace points run on one thread; no lock is taken
};

struct TraceHandle {
   TraceFile * mtTraceFile = nullptr;
};

/** Null while no file is open. */
extern TraceHandle * defaultFlashlogHandle;

/** Opens the trace file and starts the recording of all levels that have a ring, but for
 * `Kel::traceReturn`. An earlier file is closed first.
 * @param fileName in the folder that FLASHLOGDIR names, or in the current one; "%d" in it becomes
 *    the process id. The file is made beside and renamed into place, so that a process that still
 *    has a file of that name open keeps its own.
 * @param previousName a trace that has the name already is kept under this one, since it may be
 *    that of a process that died; null: under the name and ".1". Any other file is not replaced.
 * @param descKiB, descStepKiB room for message descriptors at the start, and its growth when it
 *    is used up. It never exceeds 4 MiB; a trace point whose first hit finds no room is not
 *    recorded (its text is still written), and the file says how many those were.
 * @param reserve take the disk space now, so that a full disk shows here and not as a fatal
 *    signal at some later trace point.
 * @param maxMsgSize longest record in bytes (320 to 32760, at most half a ring); texts are cut
 *    to fit.
 * @return false if that failed. The reason is on standard error and nothing is recorded. */
bool initialize( std::string const & fileName, SizeSpec const & sizes, char const * previousName,
                 int descKiB, int descStepKiB, MultiThreading threading, bool reserve,
                 int maxMsgSize );

/** `initialize` with what an agent passes, for a name that is taken as it stands.
 * @throw std::runtime_error with the reason, in place of telling it. */
void open( std::string const & fileName );
/** The name under which an earlier trace is kept, unless another one is given. */
std::string previousOf( std::string const & fileName );

/** Ends the recording and closes the file, which stays. Nothing happens if none is open. */
void shutdown();

/** Writes the file through to disk, for what outlives the machine; a mere end of the process
 * needs no flush. Assertions and uncaught exceptions do it. */
void flush();

/** A trace point's number in the open file, 0 before its first hit; the level is in its low four
 * bits. The file sets it back to 0 when it is closed, so it must be of static storage. */
using MsgId = std::uint32_t;
/** The number of a trace point whose descriptor found no room. */
inline constexpr MsgId lostMsgId = ~MsgId{ 0 };

/** Where arguments stand in a message's text. */
class MsgFormatString {
 public:
   /** `format`: 'i' std::uint32_t, 's' std::uint16_t, 'b' bool, 'p' text. */
   void put( char format );
   /** Fixed text; what would make it too long is left out. */
   void put( std::string_view text );
   std::string const & text() const { return text_; }

 private:
   std::string text_;
};

/** Describes a message to the file at its first hit:
 * `MsgDesc desc( ... ); desc << "host: "; desc.format().put( 'p' ); desc.finish();` */
class MsgDesc {
 public:
   /** The file, the id and the unit's name are used until `finish`, which sets the id. */
   MsgDesc( TraceFile & file, MsgId * id, std::string_view sourceUnit, std::uint32_t line,
            int level )
      : file_( file ), id_( id ), sourceUnit_( sourceUnit ), line_( line ), level_( level ) {}

   MsgDesc & operator<<( std::string_view text ) {
      format_.put( text );
      return *this;
   }
   MsgFormatString & format() { return format_; }
   void finish();

 private:
   TraceFile & file_;
   MsgId * id_;
   std::string_view sourceUnit_;
   std::uint32_t line_;
   int level_;
   MsgFormatString format_;
};

/** One level's ring. A record is begun, given its arguments and ended; it exists for readers from
 * `endMsg` on. */
class RingBuf {
 public:
   /** Begins a record in the ring of the id's level, whose oldest records make room. The
    * arguments must be at hand: no other record may begin before this one has ended. */
   static RingBuf & startMsg( TraceFile & file, MsgId id );
   void endMsg();

   /** Appends raw bytes; what doesn't fit any more is left out. */
   void append( void const * bytes, std::size_t size );
   std::size_t room() const { return static_cast< std::size_t >( limit_ - cursor_ ); }

 private:
   friend class TraceFile;

   void makeRoom();
   std::uint64_t sizeAt( std::uint64_t position ) const;

   TraceFile * file_ = nullptr;
   char * base_ = nullptr;
   std::uint64_t size_ = 0;
   std::uint64_t tail_ = 0;
   std::uint64_t head_ = 0;
   std::uint64_t * publishedTail_ = nullptr;
   std::uint64_t * publishedHead_ = nullptr;
   std::size_t maxMsg_ = 0;
   std::uint64_t start_ = 0;  // position of the record in the making
   std::uint64_t time_ = 0;
   MsgId id_ = 0;
   char * cursor_ = nullptr;
   char * limit_ = nullptr;
};

void put( RingBuf & ring, std::uint32_t value );
void put( RingBuf & ring, std::uint16_t value );
void put( RingBuf & ring, bool value );
/** The text is cut to fit, and is marked as cut; `keep` bytes are left for later arguments. */
void put( RingBuf & ring, std::string_view text, std::size_t keep = 0 );

}  // namespace Flashlog
