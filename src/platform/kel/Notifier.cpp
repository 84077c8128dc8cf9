#include "platform/kel/Notifier.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace Kel {

void NotifieeList::loneIs( Notifiee & notifiee ) {
   static_assert( alignof( Notifiee ) > 1 && alignof( Rep ) > 1 );
   word_ = reinterpret_cast< std::uintptr_t >( &notifiee ) + 1;
   notifiee.position_ = 0;
}

void NotifieeList::Rep::append( Notifiee & notifiee ) {
   std::uint64_t const all = notifiee.filtered_ ? 0 : notifiee.interest_;
   notifiee.position_ = slots.size();
   slots.push_back( { &notifiee, all } );
   interest |= all;
}

void NotifieeList::add( Notifiee & notifiee, std::uint64_t interest ) {
   notifiee.interest_ = interest;
   if ( empty() && !notifiee.filtered_ ) {
      loneIs( notifiee );
      return;
   }
   if ( empty() || isLone() ) {
      auto several = std::make_unique< Rep >();
      if ( isLone() ) {
         several->append( lone() );
      }
      word_ = reinterpret_cast< std::uintptr_t >( several.release() );
   }
   rep()->append( notifiee );
}

void NotifieeList::remove( Notifiee & notifiee, bool visited ) {
   notifiee.interest_ = 0;
   if ( isLone() ) {
      word_ = 0;
      return;
   }
   rep()->slots[notifiee.position_] = { nullptr, 0 };
   ++rep()->gaps;
   if ( !visited && rep()->gaps * 2 > rep()->slots.size() ) {
      closeGaps();
   }
}

void NotifieeList::interestIs( Notifiee & notifiee, std::uint64_t interest ) {
   notifiee.interest_ = interest;
   if ( !isLone() && !notifiee.filtered_ ) {
      rep()->slots[notifiee.position_].interest = interest;
      rep()->interest |= interest;
   }
}

void NotifieeList::closeGaps() {
   auto slots = std::exchange( rep()->slots, {} );
   std::erase_if( slots, []( Slot const & slot ) { return slot.notifiee == nullptr; } );
   if ( slots.empty() || ( slots.size() == 1 && rep()->filters.empty() ) ) {
      delete rep();
      word_ = 0;
      if ( !slots.empty() ) {
         add( *slots[0].notifiee, slots[0].notifiee->interest_ );
      }
      return;
   }
   rep()->gaps = 0;
   rep()->interest = 0;
   for ( Slot const & slot : slots ) {
      rep()->append( *slot.notifiee );
   }
}

std::size_t NotifieeList::Rep::next( std::uint64_t bit, std::size_t from, std::size_t end ) const {
   Slot const * const at = slots.data();
   while ( end - from >= 4 && !( ( at[from].interest | at[from + 1].interest |
                                   at[from + 2].interest | at[from + 3].interest ) &
                                 bit ) ) {
      from += 4;
   }
   while ( from != end && !( at[from].interest & bit ) ) {
      ++from;
   }
   return from;
}

std::size_t NotifieeList::Rep::nextByKey( AttributeId attribute, void const * key, std::size_t from,
                                          std::size_t end ) const {
   std::size_t wanting = end;
   for ( Filtered const & candidate : filters ) {
      if ( candidate.attribute == attribute ) {
         wanting = std::min( wanting, candidate.filter->next( key, from ) );
      }
   }
   std::uint64_t const bit = std::uint64_t{ 1 } << attribute;
   return interest & bit ? next( bit, from, wanting ) : wanting;
}

void Notifier::visit( AttributeId attribute, void const * key ) {
   if ( notifiees_.rep()->gaps != 0 && !isInUse() ) {
      notifiees_.closeGaps();
      tellAll( attribute, key );
      return;
   }
   NotifieeList::Rep const & rep = *notifiees_.rep();
   std::uint64_t const bit = std::uint64_t{ 1 } << attribute;
   bool const byKey = rep.filtered & bit;
   if ( byKey ? !key : !( rep.interest & bit ) ) {
      return;
   }
   InUse::during( *this, [=, &rep] {
      std::size_t const end = rep.slots.size();
      auto next = [=, &rep]( std::size_t from ) {
         return byKey ? rep.nextByKey( attribute, key, from, end ) : rep.next( bit, from, end );
      };
      for ( std::size_t i = next( 0 ); i != end; i = next( i + 1 ) ) {
         rep.slots[i].notifiee->tell( attribute, key );
      }
   } );
}

}  // namespace Kel
