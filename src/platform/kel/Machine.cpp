#include "platform/kel/Machine.h"

namespace Kel {

void StateMachine::hasNotificationActiveIs( bool active ) {
   if ( active == hasNotificationActive() ) {
      return;
   }
   PtrInterface::hasNotificationActiveIs( active );
   kelMembers( active ? MemberOp::ActivateReactors : MemberOp::DeactivateReactors );
   kelMembers( active ? MemberOp::ActivateChildren : MemberOp::DeactivateChildren );
}

void StateMachine::kelTakeNotificationsOff() {
   PtrInterface::hasNotificationActiveIs( false );
   kelMembers( MemberOp::DeactivateReactors );
}

void StateMachine::kelDoZombieReactors( bool zombie ) {
   if ( zombie == kelMarkedForDeletion() ) {
      return;
   }
   kelMembers( zombie ? MemberOp::MakeZombie : MemberOp::UnmakeZombie );
   kelMarkedForDeletionIs( zombie );
}

void StateMachine::kelMakeTreeZombie() {
   kelDoZombieReactors( true );
   kelMembers( MemberOp::MakeTreeZombie );
}

void StateMachine::handleZeroRef() noexcept {
   // Held by one reference of its own, so that handlers on the way may take and drop others.
   newRef();
   if ( !kelMarkedForDeletion() ) {
      handleEnd();
   }
   kelDoZombieReactors( true );
   ending_ = true;
   kelMembers( MemberOp::DropReactors );
   kelMembers( MemberOp::DropChildren );
   delete this;
}

}  // namespace Kel
