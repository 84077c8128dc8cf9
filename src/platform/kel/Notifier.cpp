#include "platform/kel/Notifier.h"

#include <algorithm>

#include "platform/kel/StateMachine.h"

namespace Kel {

void NotifieeList::add( Reactor & reactor, std::uint64_t interest ) {
   if ( !rep_ ) {
      rep_ = std::make_unique< Rep >();
   }
   reactor.position = rep_->slots.size();
   rep_->slots.push_back( { &reactor, interest } );
   rep_->interest |= interest;
}

void NotifieeList::remove( Reactor & reactor, bool visited ) {
   rep_->slots[reactor.position] = { nullptr, 0 };
   ++rep_->gaps;
   if ( rep_->gaps * 2 > rep_->slots.size() && !visited ) {
      closeGaps();
   }
}

void NotifieeList::interestIs( Reactor & reactor, std::uint64_t interest ) {
   rep_->slots[reactor.position].interest = interest;
   rep_->interest |= interest;
}

void NotifieeList::closeGaps() {
   std::erase_if( rep_->slots, []( Slot const & slot ) { return slot.reactor == nullptr; } );
   rep_->gaps = 0;
   rep_->interest = 0;
   for ( std::size_t i = 0; i != rep_->slots.size(); ++i ) {
      rep_->slots[i].reactor->position = i;
      rep_->interest |= rep_->slots[i].interest;
   }
   if ( rep_->slots.empty() ) {
      rep_.reset();
   }
}

std::size_t NotifieeList::Rep::next( AttributeId attribute, void const * key, std::size_t from,
                                     std::size_t end ) const {
   std::size_t wanting = end;
   for ( Filtered const & candidate : filters ) {
      if ( candidate.attribute == attribute ) {
         wanting = std::min( wanting, candidate.filter->next( key, from ) );
      }
   }
   std::uint64_t const bit = std::uint64_t{ 1 } << attribute;
   for ( std::size_t i = from; ( interest & bit ) && i < wanting; ++i ) {
      if ( slots[i].interest & bit ) {
         return i;
      }
   }
   return wanting;
}

void Notifier::visitByKey( AttributeId attribute, void const * key ) {
   NotifieeList::Rep const & rep = *notifiees_.rep_;
   std::size_t const end = rep.slots.size();
   for ( std::size_t i = 0; ( i = rep.next( attribute, key, i, end ) ) != end; ++i ) {
      Reactor & reactor = *rep.slots[i].reactor;
      InUse const machine( reactor.owner() );
      reactor.table().run[attribute]( reactor.owner(), key );
   }
}

void Notifier::visit( AttributeId attribute, void const * key ) {
   if ( notifiees_.rep_->gaps != 0 && !isInUse() ) [[unlikely]] {
      notifiees_.closeGaps();
      if ( notifiees_.empty() ) {
         return;
      }
   }
   InUse const notifier( *this );
   NotifieeList::Rep & rep = *notifiees_.rep_;
   std::uint64_t const bit = std::uint64_t{ 1 } << attribute;
   if ( rep.filtered & bit ) {
      visitByKey( attribute, key );
      return;
   }
   NotifieeList::Slot const * slots = rep.slots.data();
   for ( std::size_t i = 0, end = rep.slots.size(); i != end; ++i ) {
      if ( slots[i].interest & bit ) {
         Reactor & reactor = *slots[i].reactor;
         InUse const machine( reactor.owner() );
         reactor.table().run[attribute]( reactor.owner(), key );
         slots = rep.slots.data();
      }
   }
}

}  // namespace Kel
