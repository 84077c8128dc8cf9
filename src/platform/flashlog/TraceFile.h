#pragma once

#include <string>
#include <vector>

#include "platform/flashlog/FileFormat.h"
#include "platform/flashlog/Flashlog.h"
#include "platform/kel/Assert.h"

namespace Flashlog {

/** The open, mapped trace file. There is one, made and ended by `initialize` and `shutdown`. */
class TraceFile {
 public:
   struct Options {
      std::uint64_t descBytes;
      std::uint64_t descStep;
      bool reserve;
      std::size_t maxMsgSize;
   };

   /** @throw std::runtime_error with the reason, without the file's name. */
   TraceFile( std::string const & fileName, SizeSpec const & sizes,
              std::string const & previousName, Options const & options );
   ~TraceFile();
   TraceFile( TraceFile const & ) = delete;
   TraceFile & operator=( TraceFile const & ) = delete;

   /** The ring of the id's level; the id is one that `describe` gave. */
   RingBuf & ring( MsgId id ) { return rings_[id & 15]; }
   std::uint64_t nextSequence() { return ++sequence_; }
   void describe( MsgId * id, std::string_view sourceUnit, std::uint32_t line, int level,
                  std::string_view text );
   void flush();
   /** Levels that have a ring, a bit each. */
   std::uint32_t levels() const;

 private:
   void layOut( SizeSpec const & sizes );
   void extend( std::uint64_t size );
   bool descRoomFor( std::uint64_t size );
   Format::FileHeader & header() { return *reinterpret_cast< Format::FileHeader * >( map_ ); }

   Options options_;
   int fd_ = -1;
   char * map_ = nullptr;
   std::size_t mapSize_ = 0;  // address space; the file grows into it
   std::uint64_t fileSize_ = 0;
   bool descFull_ = false;
   std::uint64_t sequence_ = 0;
   std::uint32_t messages_ = 0;
   std::array< RingBuf, Kel::traceLevels > rings_;
   std::vector< MsgId * > ids_;
   Kel::FlushHook flushHook_{ [this] { flush(); } };
};

}  // namespace Flashlog
