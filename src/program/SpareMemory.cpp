#include "program/SpareMemory.h"

#include <malloc.h>
#include <unistd.h>

#include <fstream>
#include <utility>

namespace Program {

namespace {

constexpr Orb::Seconds interval = 1;
/** So few turns in that time are none to speak of. */
constexpr std::uint64_t fewTurns = 20;
/** It has to have grown by so much: what is free is looked for all over the heap. */
constexpr std::uint64_t worthwhile = 16UL * 1024 * 1024;

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
   std::uint64_t const turns = scheduler_->turns().count;
   if ( turns - std::exchange( turns_, turns ) < fewTurns &&
        residentBytes() > resident_ + worthwhile ) {
      ::malloc_trim( 0 );
      resident_ = residentBytes();
   }
}

}  // namespace Program
