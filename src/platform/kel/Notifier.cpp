#include "platform/kel/Notifier.h"

#include "platform/kel/Reactor.h"

namespace Kel {

void NotifieeList::visit( AttributeId attribute, void const * key ) {
   Rep & rep = *rep_;
   struct Visit {
      NotifieeList & list;
      ~Visit() {
         if ( --list.rep_->visits == 0 && list.rep_->gaps != 0 ) {
            list.closeGaps();
         }
      }
   };
   ++rep.visits;
   Visit visit{ *this };
   std::uint64_t const bit = std::uint64_t{ 1 } << attribute;
   for ( std::size_t i = 0, end = rep.slots.size(); i != end; ++i ) {
      if ( rep.slots[i].interest & bit ) {
         rep.slots[i].reactor->onAttribute( attribute, key );
      }
   }
}

std::size_t NotifieeList::size() const {
   return rep_ ? rep_->slots.size() - rep_->gaps : 0;
}

void NotifieeList::add( Reactor & reactor, std::uint64_t interest ) {
   if ( !rep_ ) {
      rep_ = std::make_unique< Rep >();
   }
   reactor.position = rep_->slots.size();
   rep_->slots.push_back( { &reactor, interest } );
}

void NotifieeList::remove( Reactor & reactor ) {
   rep_->slots[reactor.position] = { nullptr, 0 };
   ++rep_->gaps;
   // A visit counts slots, so gaps are closed between visits, and not one by one.
   if ( rep_->visits == 0 && rep_->gaps * 2 > rep_->slots.size() ) {
      closeGaps();
   }
}

void NotifieeList::interestIs( Reactor & reactor, std::uint64_t interest ) {
   rep_->slots[reactor.position].interest = interest;
}

void NotifieeList::closeGaps() {
   std::erase_if( rep_->slots, []( Slot const & slot ) { return slot.reactor == nullptr; } );
   rep_->gaps = 0;
   for ( std::size_t i = 0; i != rep_->slots.size(); ++i ) {
      rep_->slots[i].reactor->position = i;
   }
   if ( rep_->slots.empty() ) {
      rep_.reset();
   }
}

void Notifier::deliver( AttributeId attribute, void const * key ) {
   if ( changeSink_ ) {
      changeSink_->changed( *this, attribute, key );
   }
   if ( !notifiees_.empty() ) {
      // A handler may drop the last reference to this very object.
      Ptr< Notifier const > hold( this );
      notifiees_.visit( attribute, key );
   }
}

}  // namespace Kel
