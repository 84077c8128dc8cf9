#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "platform/kel/Attribute.h"
#include "platform/kel/Ptr.h"

namespace Kel {

class Entity;
class Notifier;
struct TypeRecord;

/** What its notifier knows of a reactor: whose handlers it runs, and for which attributes. */
class Notifiee {
 public:
   /** Runs a handler of the owner; `key` is that of an attribute with keys. */
   using Run = void ( * )( PtrInterface & owner, void const * key );

   Notifiee( Notifiee const & ) = delete;
   Notifiee & operator=( Notifiee const & ) = delete;

   /** A bit per attribute: what the reactor may be told of now. */
   std::uint64_t interest() const { return interest_; }
   /** Where the reactor stands in its notifier's list. */
   std::size_t position() const { return position_; }

   /** Runs the handler for a change of an attribute, if it is of interest now. */
   void tell( AttributeId attribute, void const * key ) const {
      if ( interest_ >> attribute & 1 ) {
         Run const run = runs_[attribute];
         InUse::during( owner_, [run, key, &owner = owner_] { run( owner, key ); } );
      }
   }

 protected:
   /** `runs` has an entry for each attribute of interest. One that is `filtered` is found through
    *  the filters alone. */
   Notifiee( PtrInterface & owner, Run const * runs, bool filtered )
      : owner_( owner ), runs_( runs ), filtered_( filtered ) {}
   ~Notifiee() = default;
   PtrInterface & owner() const { return owner_; }

 private:
   friend class NotifieeList;

   PtrInterface & owner_;
   Run const * const runs_;
   std::uint64_t interest_ = 0;
   std::size_t position_ = 0;
   bool const filtered_;
};

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
   NotifieeList() = default;
   NotifieeList( NotifieeList const & ) = delete;
   NotifieeList & operator=( NotifieeList const & ) = delete;
   ~NotifieeList() {
      if ( !isLone() ) {
         delete rep();
      }
   }

   bool empty() const { return word_ == 0; }
   std::size_t size() const { return isLone() ? 1 : rep() ? rep()->slots.size() - rep()->gaps : 0; }

   // For reactors alone: register, leave, and change which attributes are of interest.
   void add( Notifiee & notifiee, std::uint64_t interest );
   /** `visited` says whether a visit of the list is under way. */
   void remove( Notifiee & notifiee, bool visited );
   void interestIs( Notifiee & notifiee, std::uint64_t interest );
   /** The filter of that kind for an attribute, made when it is first asked for by a filtered
    *  reactor of the list. It goes with the last reactor. */
   template < class Filter >
   Filter & filter( AttributeId attribute ) {
      for ( auto const & filtered : rep()->filters ) {
         if ( auto * filter = dynamic_cast< Filter * >( filtered.filter.get() );
              filter && filtered.attribute == attribute ) {
            return *filter;
         }
      }
      auto fresh = std::make_unique< Filter >( attribute );
      Filter & filter = *fresh;
      rep()->filters.push_back( { attribute, std::move( fresh ) } );
      rep()->filtered |= std::uint64_t{ 1 } << attribute;
      return filter;
   }

 private:
   friend class Notifier;

   struct Slot {
      Notifiee * notifiee;  // a machine's member, which leaves when it goes
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

      void append( Notifiee & notifiee );
      /** The first slot, `from` or behind, that is interested in all keys; `end` for none. */
      std::size_t next( std::uint64_t bit, std::size_t from, std::size_t end ) const;
      /** The first one to be told of this key. */
      std::size_t nextByKey( AttributeId attribute, void const * key, std::size_t from,
                             std::size_t end ) const;
   };

   /** True when one unfiltered reactor stands alone in the list, as for most notifiers. */
   bool isLone() const { return word_ & 1; }
   Notifiee & lone() const { return *reinterpret_cast< Notifiee * >( word_ - 1 ); }
   /** Null for an empty list. To be called when no reactor stands alone. */
   Rep * rep() const { return reinterpret_cast< Rep * >( word_ ); }
   void loneIs( Notifiee & notifiee );
   /** A visit counts slots, so gaps are closed between visits, and not one by one. */
   void closeGaps();

   /** Zero, the address of the lone one plus one, or that of a Rep. */
   std::uintptr_t word_ = 0;
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
   KEL_ATTRIBUTE_ROOT()

   /** The class's type record: its name and attributes. */
   virtual TypeRecord const & fwkType() const = 0;

   /** Null for a notifier that is none. */
   virtual Entity const * asEntity() const { return nullptr; }

   NotifieeList & notifieeList() const { return notifiees_; }

   /** The one sink of the process, not owned; null for none. */
   static void changeSinkIs( ChangeSink * sink ) { changeSink_ = sink; }
   static ChangeSink * changeSink() { return changeSink_; }

   /** Whether anyone may be told of a change. */
   bool isWatched() const { return changeSink_ || !notifiees_.empty(); }
   /** For the attributes: tells all that are interested. The change has been made before. */
   void notify( AttributeId attribute, void const * key = nullptr ) {
      if ( changeSink_ ) [[unlikely]] {
         changeSink_->changed( *this, attribute, key );
      }
      tellAll( attribute, key );
   }

 private:
   void tellAll( AttributeId attribute, void const * key ) {
      if ( notifiees_.isLone() ) {
         // Nothing is touched afterwards, so that list and notifier may go.
         notifiees_.lone().tell( attribute, key );
      } else if ( !notifiees_.empty() ) {
         visit( attribute, key );
      }
   }
   /**
    * Tells every reactor that was registered when the visit began and is interested when its turn
    * comes. Reactors may come and go during the visit.
    */
   void visit( AttributeId attribute, void const * key );

   /** Not owned. */
   static inline ChangeSink * changeSink_ = nullptr;

   mutable NotifieeList notifiees_;
};

}  // namespace Kel
