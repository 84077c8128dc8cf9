#include "platform/kel/MapSlots.h"

#include <utility>

namespace Kel {

void MapSlots::start( std::size_t entries ) {
   std::size_t size = 32;
   while ( size < entries * 4 ) {
      size *= 2;
   }
   slots_ = std::make_unique< Slot[] >( size );
   size_ = size;
}

void MapSlots::drop() {
   slots_ = nullptr;
   size_ = 0;
}

void MapSlots::erase( std::size_t hash, std::size_t position ) {
   std::size_t at = hash >> 32;
   while ( slots_[at & ( size_ - 1 )] != slotOf( hash, position ) ) {
      ++at;
   }
   slots_[at & ( size_ - 1 )] = deletedSlot;
}

void MapSlots::grow() {
   auto const old = std::exchange( slots_, std::make_unique< Slot[] >( size_ * 2 ) );
   std::size_t const oldSize = std::exchange( size_, size_ * 2 );
   for ( std::size_t i = 0; i != oldSize; ++i ) {
      if ( old[i] != 0 && old[i] != deletedSlot ) {
         place( old[i] );
      }
   }
}

}  // namespace Kel
