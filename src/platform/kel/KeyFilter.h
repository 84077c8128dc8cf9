#pragma once

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "platform/kel/HashMap2018.h"
#include "platform/kel/Reactor.h"
#include "platform/kel/Walk.h"

namespace Kel {

/** The reactors that want one part, in the order in which they stand in their notifier's list. That
 *  order outlives the closing of its gaps, so the list stays sorted by the positions of the day. */
class WantingReactors {
 public:
   bool empty() const { return reactors_.empty(); }
   bool isLone() const { return reactors_.size() == 1; }
   Reactor * first() const { return reactors_.front(); }
   void add( Reactor & reactor ) { reactors_.insert( from( reactor.position() ), &reactor ); }
   void remove( Reactor & reactor ) { reactors_.erase( from( reactor.position() ) ); }
   /** The position of the first one, `position` or behind, that is interested in the attribute. */
   std::size_t next( AttributeId attribute, std::size_t position ) const {
      for ( auto at = from( position ); at != reactors_.end(); ++at ) {
         if ( ( *at )->interest() >> attribute & 1 ) {
            return ( *at )->position();
         }
      }
      return KeyFilter::none;
   }

 private:
   using Reactors = std::vector< Reactor * >;

   Reactors::const_iterator from( std::size_t position ) const {
      return std::ranges::lower_bound( reactors_, position, {}, &Reactor::position );
   }

   Reactors reactors_;
};

/** Reactors by the part of an attribute's key that they want. */
template < class Key, class Part >
class PartFilter final : public KeyFilter {
 public:
   using Wanted = std::remove_cvref_t< std::invoke_result_t< Part, Key const & > >;

   explicit PartFilter( AttributeId attribute ) : attribute_( attribute ) {}

   void add( Wanted const & part, Reactor & reactor ) {
      Reactor * const * const lone = lone_.find( part );
      if ( !lone ) {
         lone_.add( part, &reactor );
         return;
      }
      WantingReactors & several = several_[part];
      if ( several.empty() ) {
         several.add( **lone );
      }
      several.add( reactor );
   }
   void remove( Wanted const & part, Reactor & reactor ) {
      auto const several = several_.find( part );
      if ( several != several_.end() ) {
         several->second.remove( reactor );
         lone_.set( part, several->second.first() );
         if ( several->second.isLone() ) {
            several_.erase( several );
         }
      } else {
         lone_.erase( part );
      }
   }

   std::size_t next( void const * key, std::size_t from ) const override {
      auto const & part = Part{}( *static_cast< Key const * >( key ) );
      Reactor * const * const lone = lone_.find( part );
      if ( !lone ) {
         return none;
      }
      if ( !several_.empty() ) {
         if ( auto const several = several_.find( part ); several != several_.end() ) {
            return several->second.next( attribute_, from );
         }
      }
      Reactor const & reactor = **lone;
      bool const isNext = reactor.position() >= from && reactor.interest() >> attribute_ & 1;
      return isNext ? reactor.position() : none;
   }

 private:
   struct Hash {
      std::size_t operator()( Wanted const & part ) const { return hashOf( part ); }
   };

   AttributeId attribute_;
   /** For each part that is wanted one of those that want it; most parts have no other. */
   HashMap2018< Wanted, Reactor * > lone_;
   /** All of them, for a part that several want. */
   std::unordered_map< Wanted, WantingReactors, Hash > several_;
};

/** A reactor that hears only of the keys that it wants. `Tag` names the attribute. */
template < class N, class Tag, class Part >
class WatchedByKey : public Watched< N > {
   using Filter = PartFilter< typename Tag::Key, Part >;

 public:
   using Wanted = typename Filter::Wanted;
   using Watched< N >::Watched;
   ~WatchedByKey() { this->detach(); }

   void wants( Wanted const & part, bool wanted ) {
      bool const changed = wanted ? wanted_.set( part, Nothing{} ) : wanted_.erase( part );
      if ( changed && this->isRegistered() ) {
         enter( part, wanted );
      }
   }
   static void filterKeys( Reactor & reactor, bool enter ) {
      auto & self = static_cast< WatchedByKey & >( reactor );
      for ( Wanted const & part : KeyWalk< Parts >( nullptr, self.wanted_ ) ) {
         self.enter( part, enter );
      }
   }

 private:
   using Parts = HashMap2018< Wanted, Nothing >;

   void enter( Wanted const & part, bool enter ) {
      Filter & filter = this->watched()->notifieeList().template filter< Filter >( Tag::id );
      enter ? filter.add( part, *this ) : filter.remove( part, *this );
   }

   Parts wanted_;
};

}  // namespace Kel
