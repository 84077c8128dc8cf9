#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/kel/Ptr.h"

namespace Kel {

class Entity;
class Notifier;
class Reactor;
struct NoAttribute;
struct TypeRecord;

/** The place of an attribute among those of its class, base classes first. */
using AttributeId = unsigned;
/** More attributes than an interest mask has bits are refused at compile time. */
inline constexpr AttributeId attributeLimit = 64;

/** The reactors of one notifier, in the order in which they registered. */
class NotifieeList {
 public:
   bool empty() const { return !rep_; }
   std::size_t size() const { return rep_ ? rep_->slots.size() - rep_->gaps : 0; }

   // For reactors alone: register, leave, and change which attributes are of interest.
   void add( Reactor & reactor, std::uint64_t interest );
   void remove( Reactor & reactor, bool visited );
   void interestIs( Reactor & reactor, std::uint64_t interest );

 private:
   friend Notifier;

   struct Slot {
      Reactor * reactor;
      std::uint64_t interest;
   };
   struct Rep {
      std::vector< Slot > slots;
      std::size_t gaps = 0;
   };

   /** A visit counts slots, so gaps are closed between visits, and not one by one. */
   void closeGaps();

   std::unique_ptr< Rep > rep_;
};

/** Sees every change of every notifier, before the reactors do. Journal and store are built on it.
 */
class ChangeSink {
 public:
   virtual ~ChangeSink() = default;
   /** `key` is null for an attribute without keys. The change has been made. */
   virtual void changed( Notifier const & notifier, AttributeId attribute, void const * key ) = 0;
};

/** An object whose changes can be watched. */
class Notifier : public PtrInterface {
 public:
   static void kelAttribute( NoAttribute );

   /** The class's type record: its name and attributes. */
   virtual TypeRecord const & fwkType() const = 0;

   NotifieeList & notifieeList() const { return notifiees_; }

   /** The one sink of the process, not owned; null for none. */
   static void changeSinkIs( ChangeSink * sink ) { changeSink_ = sink; }
   static ChangeSink * changeSink() { return changeSink_; }

   /** For the attributes: tells all that are interested. The change has been made before. */
   void notify( AttributeId attribute, void const * key = nullptr ) {
      if ( changeSink_ ) [[unlikely]] {
         changeSink_->changed( *this, attribute, key );
      }
      if ( !notifiees_.empty() ) {
         visit( attribute, key );
      }
   }

 private:
   /**
    * Runs the handler of every reactor that was registered when the visit began and is interested
    * when its turn comes. Reactors may come and go during the visit.
    */
   void visit( AttributeId attribute, void const * key );

   static inline ChangeSink * changeSink_ = nullptr;

   mutable NotifieeList notifiees_;
};

}  // namespace Kel
