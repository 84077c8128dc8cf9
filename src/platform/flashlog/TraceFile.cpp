#include "platform/flashlog/TraceFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace Flashlog {

namespace {

[[noreturn]] void fail( std::string const & action, int error ) {
   throw std::runtime_error( action + ": " + std::generic_category().message( error ) );
}

/** Whether a trace has that name. Throws for what else has it and must not be replaced: a trace is
 *  never empty, and an empty file is no loss. */
bool standsAsTrace( std::string const & fileName ) {
   struct stat status {};
   if ( ::stat( fileName.c_str(), &status ) != 0 ) {
      return false;
   }
   if ( !S_ISREG( status.st_mode ) ) {
      throw std::runtime_error( "cannot replace " + fileName + ", which is no regular file" );
   }
   char head[sizeof Format::magic] = {};
   std::ifstream( fileName, std::ios::binary ).read( head, sizeof head );
   bool const isTrace = std::memcmp( head, Format::magic, sizeof head ) == 0;
   if ( !isTrace && status.st_size != 0 ) {
      throw std::runtime_error( "cannot replace " + fileName + ", which is no trace" );
   }
   return isTrace;
}

}  // namespace

TraceFile::TraceFile( std::string const & fileName, SizeSpec const & sizes,
                      std::string const & previousName, Options const & options )
   : options_( options ) {
   bool const earlier = standsAsTrace( fileName );
   if ( earlier ) {
      standsAsTrace( previousName );
   }
   std::string const temporary = fileName + ".new" + std::to_string( ::getpid() );
   fd_ = ::open( temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644 );
   if ( fd_ < 0 && errno == EEXIST ) {
      // Left behind by an earlier process of our id, which cannot be alive.
      ::unlink( temporary.c_str() );
      fd_ = ::open( temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644 );
   }
   if ( fd_ < 0 ) {
      fail( "cannot create", errno );
   }
   try {
      layOut( sizes );
      if ( earlier && ::rename( fileName.c_str(), previousName.c_str() ) != 0 && errno != ENOENT ) {
         fail( "cannot keep the earlier file", errno );
      }
      if ( ::rename( temporary.c_str(), fileName.c_str() ) != 0 ) {
         fail( "cannot rename into place", errno );
      }
   } catch ( ... ) {
      if ( map_ ) {
         ::munmap( map_, mapSize_ );
      }
      ::close( fd_ );
      ::unlink( temporary.c_str() );
      throw;
   }
}

TraceFile::~TraceFile() {
   for ( MsgId * id : ids_ ) {
      *id = 0;
   }
   ::munmap( map_, mapSize_ );
   ::close( fd_ );
}

void TraceFile::layOut( SizeSpec const & sizes ) {
   std::uint64_t offset = Format::headerSize;
   for ( auto kib : sizes ) {
      if ( kib > Format::maxRingKiB ) {
         throw std::runtime_error( "a ring of " + std::to_string( kib ) + " KiB is too large" );
      }
      offset += std::uint64_t{ kib } * 1024;
   }
   mapSize_ = offset + Format::maxDescBytes;
   extend( offset + options_.descBytes );
   void * const map =
      ::mmap( nullptr, mapSize_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_NORESERVE, fd_, 0 );
   if ( map == MAP_FAILED ) {
      fail( "cannot map", errno );
   }
   map_ = static_cast< char * >( map );
   auto & head = header();
   std::memcpy( head.magic, Format::magic, sizeof head.magic );
   head.version = Format::version;
   head.byteOrder = Format::byteOrderMark;
   head.pid = static_cast< std::uint32_t >( ::getpid() );
   head.descOffset = offset;

   offset = Format::headerSize;
   for ( std::size_t level = 0; level < sizes.size(); ++level ) {
      auto & control = head.ring[level];
      control.offset = offset;
      control.size = sizes[level] * std::uint64_t{ 1024 };
      auto & ring = rings_[level];
      ring.file_ = this;
      ring.base_ = map_ + offset;
      ring.size_ = control.size;
      ring.publishedTail_ = &control.tail;
      ring.publishedHead_ = &control.head;
      ring.maxMsg_ = std::min( options_.maxMsgSize, control.size / 2 ) & ~std::size_t{ 7 };
      offset += control.size;
   }
}

void TraceFile::extend( std::uint64_t size ) {
   int const error = options_.reserve
                        ? ::posix_fallocate( fd_, 0, static_cast< off_t >( size ) )
                        : ( ::ftruncate( fd_, static_cast< off_t >( size ) ) == 0 ? 0 : errno );
   if ( error != 0 ) {
      fail( "cannot extend to " + std::to_string( size ) + " bytes", error );
   }
   fileSize_ = size;
}

bool TraceFile::descRoomFor( std::uint64_t size ) {
   auto const & head = header();
   std::uint64_t const needed = head.descOffset + head.descUsed + size;
   if ( descFull_ || needed > mapSize_ ) {
      return false;
   }
   if ( needed > fileSize_ ) {
      try {
         extend( std::min< std::uint64_t >( std::max( needed, fileSize_ + options_.descStep ),
                                            mapSize_ ) );
      } catch ( std::runtime_error const & ) {
         descFull_ = true;  // not tried again: the disk would be asked at every new trace point
         return false;
      }
   }
   return true;
}

void TraceFile::describe( MsgId * id, std::string_view sourceUnit, std::uint32_t line, int level,
                          std::string_view text ) {
   auto & head = header();
   sourceUnit = sourceUnit.substr( 0, 255 );
   std::uint64_t const size =
      Format::roundUp( sizeof( Format::DescHead ) + sourceUnit.size() + text.size() );
   ids_.push_back( id );
   if ( !descRoomFor( size ) ) {
      *id = lostMsgId;
      ++head.descLost;
      return;
   }
   *id = ++messages_ << 4 | static_cast< std::uint32_t >( level );
   char * const at = map_ + head.descOffset + head.descUsed;
   std::memcpy( at + sizeof( Format::DescHead ), sourceUnit.data(), sourceUnit.size() );
   std::memcpy( at + sizeof( Format::DescHead ) + sourceUnit.size(), text.data(), text.size() );
   Format::DescHead desc{ *id, line, static_cast< std::uint16_t >( sourceUnit.size() ),
                          static_cast< std::uint16_t >( text.size() ), 0 };
   desc.check = Format::checkOf( desc, { at + sizeof desc, sourceUnit.size() + text.size() } );
   std::memcpy( at, &desc, sizeof desc );
   std::atomic_ref( head.descUsed ).store( head.descUsed + size, std::memory_order_release );
}

void TraceFile::flush() {
   ::msync( map_, fileSize_, MS_SYNC );
}

std::uint32_t TraceFile::levels() const {
   std::uint32_t levels = 0;
   for ( std::size_t level = 0; level < rings_.size(); ++level ) {
      levels |= rings_[level].size_ ? 1u << level : 0;
   }
   return levels;
}

}  // namespace Flashlog
