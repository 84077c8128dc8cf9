#include "program/SpareMemory.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <utility>

namespace Program {

namespace {

constexpr Orb::Seconds interval = 1;
/** What it may have used of a processor in that time, in seconds, when it has little to do. */
constexpr double little = 0.1;
/** It has to have grown by so much: what is free is looked for all over the heap. */
constexpr std::uint64_t worthwhile = 4UL * 1024 * 1024;

/** The memory of this process that the machine has to find room for, in bytes. */
std::uint64_t residentBytes() {
   std::ifstream in( "/proc/self/statm" );
   std::uint64_t all = 0;
   std::uint64_t resident = 0;
   in >> all >> resident;
   return resident * static_cast< std::uint64_t >( ::sysconf( _SC_PAGESIZE ) );
}

}  // namespace

SpareMemory::SpareMemory( Kel::Ptr< Orb::TaskScheduler > scheduler )
   : scheduler_( std::move( scheduler ) ), resident_( residentBytes() ) {
   scheduler_->arm( *this, scheduler_->now() + interval );
}

void SpareMemory::due() {
   scheduler_->arm( *this, scheduler_->now() + interval );
   double const used = static_cast< double >( std::clock() ) / CLOCKS_PER_SEC;
   if ( used - std::exchange( used_, used ) >= little ) {
      return;
   }
   std::uint64_t const resident = residentBytes();
   resident_ = std::min( resident_, resident );
   if ( resident > resident_ + worthwhile ) {
      ::malloc_trim( 0 );
      resident_ = residentBytes();
   }
}

}  // namespace Program
