#pragma once

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
   /**
    * Runs the handlers of every reactor that was registered and interested when the visit began
    * and still is when its turn comes. Reactors may come and go during the visit.
    */
   void visit( AttributeId attribute, void const * key );

   bool empty() const { return !rep_; }
   std::size_t size() const;

   // For reactors alone: register, leave, and change which attributes are of interest.
   void add( Reactor & reactor, std::uint64_t interest );
   void remove( Reactor & reactor );
   void interestIs( Reactor & reactor, std::uint64_t interest );

 private:
   struct Slot {
      Reactor * reactor;
      std::uint64_t interest;
   };
   struct Rep {
      std::vector< Slot > slots;
      unsigned visits = 0;
      std::size_t gaps = 0;
   };
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
      if ( !notifiees_.empty() || changeSink_ ) {
         deliver( attribute, key );
      }
   }

 private:
   void deliver( AttributeId attribute, void const * key );

   static inline ChangeSink * changeSink_ = nullptr;

   mutable NotifieeList notifiees_;
};

}  // namespace Kel
