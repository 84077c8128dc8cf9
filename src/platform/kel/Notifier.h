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

/** Who wants which keys of one attribute. KeyFilter.h has the one kind there is. */
class KeyFilter {
 public:
   virtual ~KeyFilter() = default;
   /** The position of the first reactor, `from` or behind, that wants the key; `none` for none. */
   virtual std::size_t next( void const * key, std::size_t from ) const = 0;

   static constexpr std::size_t none = ~std::size_t{ 0 };
};

/** The reactors of one notifier, in the order in which they registered. */
class NotifieeList {
 public:
   bool empty() const { return !rep_; }
   std::size_t size() const { return rep_ ? rep_->slots.size() - rep_->gaps : 0; }

   // For reactors alone: register, leave, and change which attributes are of interest.
   void add( Reactor & reactor, std::uint64_t interest );
   void remove( Reactor & reactor, bool visited );
   void interestIs( Reactor & reactor, std::uint64_t interest );
   /** The filter of that kind for an attribute, made when it is first asked for. It goes with the
    *  last reactor. */
   template < class Filter >
   Filter & filter( AttributeId attribute ) {
      for ( auto const & filtered : rep_->filters ) {
         if ( auto * filter = dynamic_cast< Filter * >( filtered.filter.get() );
              filter && filtered.attribute == attribute ) {
            return *filter;
         }
      }
      auto fresh = std::make_unique< Filter >( attribute );
      Filter & filter = *fresh;
      rep_->filters.push_back( { attribute, std::move( fresh ) } );
      rep_->filtered |= std::uint64_t{ 1 } << attribute;
      return filter;
   }

 private:
   friend Notifier;

   struct Slot {
      Reactor * reactor;
      std::uint64_t interest;
   };
   struct Filtered {
      AttributeId attribute;
      std::unique_ptr< KeyFilter > filter;
   };
   struct Rep {
      std::vector< Slot > slots;
      std::size_t gaps = 0;
      /** What any slot is interested in; may say too much. */
      std::uint64_t interest = 0;
      /** The attributes that have filters. */
      std::uint64_t filtered = 0;
      std::vector< Filtered > filters;

      /** The first slot, `from` or behind, to be told of the key; `end` for none. */
      std::size_t next( AttributeId attribute, void const * key, std::size_t from,
                        std::size_t end ) const;
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
   /** The same for an attribute with filters, which lead to those who want the key. */
   void visitByKey( AttributeId attribute, void const * key );

   static inline ChangeSink * changeSink_ = nullptr;

   mutable NotifieeList notifiees_;
};

}  // namespace Kel
