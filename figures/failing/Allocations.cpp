/*
 * To be loaded before all libraries: the allocation of this number fails, counted from the
 * program's start; the number stands in QORCLIENT_FAIL_ALLOCATION, and the file that
 * QORCLIENT_FAILED names takes "INJECTED" then. A program that ends by itself writes how many it
 * has asked for into the file that QORCLIENT_ALLOCATIONS names.
 */

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

extern "C" {

void * __libc_malloc( std::size_t );
void * __libc_calloc( std::size_t, std::size_t );
void * __libc_realloc( void *, std::size_t );

namespace {

unsigned long asked = 0;
unsigned long failing = 0;
char const * told = nullptr;
bool isCounting = false;

bool fails() {
   if ( isCounting && ++asked == failing ) {
      // Nothing here asks for memory.
      if ( int const fd = told ? ::open( told, O_WRONLY | O_CREAT | O_CLOEXEC, 0600 ) : -1;
           fd != -1 ) {
         [[maybe_unused]] auto const written = ::write( fd, "INJECTED\n", 9 );
         ::close( fd );
      }
      errno = ENOMEM;
      return true;
   }
   return false;
}

__attribute__( ( constructor ) ) void begin() {
   char const * const text = std::getenv( "QORCLIENT_FAIL_ALLOCATION" );
   failing = text ? std::strtoul( text, nullptr, 10 ) : 0;
   told = std::getenv( "QORCLIENT_FAILED" );
   isCounting = true;
}

void tell() {
   isCounting = false;
   char const * const name = std::getenv( "QORCLIENT_ALLOCATIONS" );
   if ( std::FILE * const file = name ? std::fopen( name, "w" ) : nullptr ) {
      std::fprintf( file, "%lu\n", asked );
      std::fclose( file );
   }
}

}  // namespace

void * malloc( std::size_t size ) {
   return fails() ? nullptr : __libc_malloc( size );
}
void * calloc( std::size_t count, std::size_t size ) {
   return fails() ? nullptr : __libc_calloc( count, size );
}
void * realloc( void * at, std::size_t size ) {
   return fails() ? nullptr : __libc_realloc( at, size );
}
/** As the programs end. */
void _Exit( int code ) noexcept {
   tell();
   ::syscall( SYS_exit_group, code );
   __builtin_unreachable();
}
}
