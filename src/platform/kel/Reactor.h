#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "platform/kel/Notifier.h"

namespace Kel {

class Reactor;
class StateMachine;

/** One row of a trigger table: a change of this attribute runs this handler. */
struct Trigger {
   char const * attributeName;
   char const * handlerName;
   AttributeId attribute;
   /** True for an attribute with keys. */
   bool keyed;
   /** Runs the handler for a change; does nothing for a keyed attribute with a null `key`. */
   Notifiee::Run run;
   /** Runs the handler's key-less form; null when it has none. */
   void ( *sweep )( StateMachine & owner );
};

/** The trigger table of one reactor class. */
struct TriggerTable {
   char const * reactorName;
   TypeRecord const & ( *notifierType )();
   std::span< Trigger const > rows;
   std::uint64_t interest;
   /** What each attribute of interest runs. */
   std::array< Notifiee::Run, attributeLimit > run;
   /** Enters the keys that the reactor wants into its notifier's filter, or takes them out; null
    *  for a reactor that hears of all keys. */
   void ( *filterKeys )( Reactor & reactor, bool enter );
};

/**
 * The link from a notifier to the handlers of one state machine. It is a part of the machine that
 * owns it; a dispatch holds the machine, and so the reactor.
 */
class Reactor : public Notifiee {
 public:
   Reactor( StateMachine & owner, TriggerTable const & table );
   ~Reactor() { detach(); }

   /** First notifier, at the machine's construction: no handler runs. Null leaves it out. */
   void arm( Ptr< Notifier const > notifier );
   /**
    * Another notifier: every handler without a key runs once, as for a machine that meets its
    * notifier for the first time, and changes are heard of after that, so that a sweep which
    * writes its own notifier runs once. The same notifier changes nothing; null detaches.
    */
   void notifierIs( Ptr< Notifier const > notifier );
   void detach();

   void notificationActiveIs( bool active );
   void doZombie( bool zombie );

   Ptr< Notifier const > const & watched() const { return notifier_; }
   TriggerTable const & table() const { return table_; }

 protected:
   /** Whether the notifier tells the reactor of changes. */
   bool isRegistered() const { return registered_; }

 private:
   std::uint64_t wanted() const { return active_ && !zombie_ ? table_.interest : 0; }
   /** Hears of changes from now on; does nothing where it does so already. */
   void enter();
   void leave();
   void tellInterest();

   StateMachine & machine() const;

   TriggerTable const & table_;
   Ptr< Notifier const > notifier_;
   bool registered_ = false;
   bool active_ = false;
   bool zombie_ = false;
};

/** A reactor on a notifier of type `N`; `N` is const for one that is only read. */
template < class N >
class Watched : public Reactor {
 public:
   using Reactor::Reactor;
   static constexpr void ( *filterKeys )( Reactor &, bool ) = nullptr;
   Ptr< N > notifier() const {
      return Ptr< N >( static_cast< N * >( const_cast< Notifier * >( watched().ptr() ) ) );
   }
};

}  // namespace Kel
