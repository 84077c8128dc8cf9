#pragma once

#include <algorithm>
#include <type_traits>
#include <unordered_map>

#include "platform/kel/HashMap2018.h"
#include "platform/kel/Reactor.h"
#include "platform/kel/Walk.h"

namespace Kel {

/** Reactors by the part of an attribute's key that they want. */
template < class Key, class Part >
class PartFilter final : public KeyFilter {
 public:
   using Wanted = std::remove_cvref_t< std::invoke_result_t< Part, Key const & > >;

   explicit PartFilter( AttributeId attribute ) : attribute_( attribute ) {}

   void add( Wanted const & part, Reactor & reactor ) {
      if ( first_.has( part ) ) {
         others_.emplace( part, &reactor );
      } else {
         first_.add( part, &reactor );
      }
   }
   void remove( Wanted const & part, Reactor & reactor ) {
      auto const [begin, end] = others_.equal_range( part );
      if ( *first_.find( part ) != &reactor ) {
         others_.erase( std::find_if(
            begin, end, [&]( auto const & wanting ) { return wanting.second == &reactor; } ) );
      } else if ( begin != end ) {
         first_.set( part, begin->second );
         others_.erase( begin );
      } else {
         first_.erase( part );
      }
   }

   std::size_t next( void const * key, std::size_t from ) const override {
      auto const & part = Part{}( *static_cast< Key const * >( key ) );
      Reactor * const * const first = first_.find( part );
      if ( !first ) {
         return none;
      }
      std::size_t found = positionFrom( **first, from );
      if ( !others_.empty() ) {
         auto const [begin, end] = others_.equal_range( part );
         for ( auto at = begin; at != end; ++at ) {
            found = std::min( found, positionFrom( *at->second, from ) );
         }
      }
      return found;
   }

 private:
   struct Hash {
      std::size_t operator()( Wanted const & part ) const { return hashOf( part ); }
   };

   std::size_t positionFrom( Reactor const & reactor, std::size_t from ) const {
      bool const isNext = reactor.position() >= from && reactor.interest() >> attribute_ & 1;
      return isNext ? reactor.position() : none;
   }

   AttributeId attribute_;
   /** One reactor for each part that is wanted; most parts have no other. */
   HashMap2018< Wanted, Reactor * > first_;
   std::unordered_multimap< Wanted, Reactor *, Hash > others_;
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
      if ( changed && this->watched() ) {
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
