#include "platform/kel/Reactor.h"

#include <utility>

#include "platform/kel/StateMachine.h"

namespace Kel {

Reactor::Reactor( StateMachine & owner, TriggerTable const & table )
   : Notifiee( owner, table.run.data(), table.filterKeys != nullptr ), table_( table ) {}

StateMachine & Reactor::machine() const {
   return static_cast< StateMachine & >( owner() );
}

void Reactor::arm( Ptr< Notifier const > notifier ) {
   if ( notifier ) {
      active_ = true;
      notifier_ = std::move( notifier );
      enter();
   }
}

void Reactor::enter() {
   if ( std::exchange( registered_, true ) ) {
      return;
   }
   notifier_->notifieeList().add( *this, wanted() );
   if ( table_.filterKeys ) {
      table_.filterKeys( *this, true );
   }
}

void Reactor::leave() {
   if ( !std::exchange( registered_, false ) ) {
      return;
   }
   if ( table_.filterKeys ) {
      table_.filterKeys( *this, false );
   }
   notifier_->notifieeList().remove( *this, notifier_->isInUse() );
}

void Reactor::notifierIs( Ptr< Notifier const > notifier ) {
   if ( notifier == notifier_ ) {
      return;
   }
   bool const first = !notifier_;
   if ( !notifier ) {
      detach();
      return;
   }
   if ( first ) {
      active_ = true;
      zombie_ = machine().kelMarkedForDeletion();
   } else {
      leave();
   }
   notifier_ = notifier;
   Ptr< StateMachine > const hold( &machine() );
   for ( Trigger const & trigger : table_.rows ) {
      if ( trigger.sweep && !zombie_ && notifier_ == notifier ) {
         trigger.sweep( machine() );
      }
   }
   // A sweep may have given the machine another notifier, or ended it.
   if ( notifier_ == notifier ) {
      enter();
   }
}

void Reactor::detach() {
   if ( notifier_ ) {
      leave();
      notifier_ = nullptr;
   }
   active_ = false;
   zombie_ = false;
}

void Reactor::notificationActiveIs( bool active ) {
   if ( active == active_ || !notifier_ ) {
      return;
   }
   active_ = active;
   tellInterest();
}

void Reactor::tellInterest() {
   if ( registered_ ) {
      notifier_->notifieeList().interestIs( *this, wanted() );
   }
}

void Reactor::doZombie( bool zombie ) {
   if ( zombie == zombie_ ) {
      return;
   }
   notificationActiveIs( !zombie );
   zombie_ = zombie;
   tellInterest();
}

}  // namespace Kel
