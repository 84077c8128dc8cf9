#include "platform/slab/Segment.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

namespace Slab {

namespace {

constexpr std::string_view namePrefix = "qorclient-";

[[noreturn]] void throwErrno( int error, std::string const & name, char const * operation ) {
   throw std::system_error( error, std::generic_category(),
                            "Slab segment " + name + ": " + operation );
}

/** Closes the descriptor on every way out; a mapping does not need it. */
struct Descriptor {
   explicit Descriptor( int value ) : fd( value ) {}
   Descriptor( Descriptor const & ) = delete;
   Descriptor & operator=( Descriptor const & ) = delete;
   ~Descriptor() { ::close( fd ); }

   int const fd;
};

/** Takes a decimal number and a '-' off the front of `text`; -1 if they aren't there. */
pid_t takeNumber( std::string_view & text ) {
   pid_t number = -1;
   auto const [rest, error] = std::from_chars( text.data(), text.data() + text.size(), number );
   if ( error != std::errc() || rest == text.data() + text.size() || *rest != '-' ) {
      return -1;
   }
   text.remove_prefix( static_cast< std::size_t >( rest - text.data() ) + 1 );
   return number;
}

/** The process that made the segment; -1 for another kind of file. */
pid_t makerOf( std::string_view name ) {
   if ( !name.starts_with( namePrefix ) ) {
      return -1;
   }
   name.remove_prefix( namePrefix.size() );
   pid_t const pid = takeNumber( name );
   return pid > 0 && takeNumber( name ) >= 0 ? pid : -1;
}

/** Unlinks the segments whose maker is as wanted. */
template < class Wanted >
std::size_t removeSegments( Wanted wanted ) {
   std::vector< std::string > segments;
   std::error_code error;
   // The loop of a range would throw where the folder cannot be read on.
   for ( std::filesystem::directory_iterator entry( "/dev/shm", error ), end; entry != end;
         entry.increment( error ) ) {
      std::string const name = entry->path().filename().string();
      pid_t const maker = makerOf( name );
      if ( maker > 0 && wanted( maker ) ) {
         segments.push_back( "/" + name );
      }
   }
   // Another process may sweep at the same time, or own a segment; neither is a fault of ours.
   return static_cast< std::size_t >(
      std::count_if( segments.begin(), segments.end(),
                     []( auto const & name ) { return ::shm_unlink( name.c_str() ) == 0; } ) );
}

}  // namespace

Segment Segment::create( std::string const & name, std::size_t size ) {
   Descriptor const object( ::shm_open( name.c_str(), O_CREAT | O_EXCL | O_RDWR, 0644 ) );
   if ( object.fd < 0 ) {
      throwErrno( errno, name, "create" );
   }
   if ( ::ftruncate( object.fd, static_cast< off_t >( size ) ) != 0 ) {
      int const error = errno;
      ::shm_unlink( name.c_str() );
      throwErrno( error, name, "set size" );
   }
   return Segment( name, object.fd, size, ::getpid() );
}

Segment Segment::open( std::string const & name ) {
   Descriptor const object( ::shm_open( name.c_str(), O_RDONLY, 0 ) );
   if ( object.fd < 0 ) {
      throwErrno( errno, name, "open" );
   }
   struct stat status = {};
   if ( ::fstat( object.fd, &status ) != 0 ) {
      throwErrno( errno, name, "get size" );
   }
   return Segment( name, object.fd, static_cast< std::size_t >( status.st_size ), 0 );
}

Segment::Segment( std::string const & name, int fd, std::size_t size, pid_t creator )
   : name_( name ), size_( size ), creator_( creator ) {
   if ( size == 0 ) {
      return;
   }
   int const protection = creator != 0 ? PROT_READ | PROT_WRITE : PROT_READ;
   void * const mapped = ::mmap( nullptr, size, protection, MAP_SHARED, fd, 0 );
   if ( mapped == MAP_FAILED ) {
      int const error = errno;
      if ( creator != 0 ) {
         ::shm_unlink( name.c_str() );
      }
      throwErrno( error, name, "map" );
   }
   data_ = static_cast< std::byte * >( mapped );
}

Segment::~Segment() {
   if ( data_ ) {
      ::munmap( data_, size_ );
   }
   if ( creator_ != 0 && creator_ == ::getpid() ) {
      ::shm_unlink( name_.c_str() );
   }
}

std::string processSegmentName( std::string const & tablePath ) {
   static std::atomic< unsigned > counter = 0;
   std::string path = tablePath;
   std::replace( path.begin(), path.end(), '/', '.' );
   for ( ;; ) {
      std::string name = "/" + std::string( namePrefix ) + std::to_string( ::getpid() ) + "-" +
                         std::to_string( counter++ ) + "-" + path;
      // A killed process of the same number may have left this very name.
      int const taken = ::shm_open( name.c_str(), O_RDONLY, 0 );
      if ( taken < 0 ) {
         return name;
      }
      ::close( taken );
   }
}

std::size_t removeAbandonedSegments() {
   return removeSegments( []( pid_t maker ) { return !processAlive( maker ); } );
}

std::size_t removeProcessSegments() {
   return removeSegments( []( pid_t maker ) { return maker == ::getpid(); } );
}

bool processAlive( pid_t pid ) {
   return ::kill( pid, 0 ) == 0 || errno != ESRCH;
}

}  // namespace Slab
