#pragma once

#include <algorithm>
#include <type_traits>
#include <unordered_map>

#include "platform/kel/Machine.h"

namespace Kel {

/** Reactors by the part of an attribute's key that they want. */
template < class Key, class Part >
class PartFilter final : public KeyFilter {
 public:
   using Wanted = std::remove_cvref_t< std::invoke_result_t< Part, Key const & > >;

   explicit PartFilter( AttributeId attribute ) : attribute_( attribute ) {}

   void add( Wanted const & part, Reactor & reactor ) { reactors_.emplace( part, &reactor ); }
   void remove( Wanted const & part, Reactor & reactor ) {
      auto const [begin, end] = reactors_.equal_range( part );
      reactors_.erase( std::find_if(
         begin, end, [&]( auto const & wanting ) { return wanting.second == &reactor; } ) );
   }

   std::size_t next( void const * key, std::size_t from ) const override {
      std::size_t found = none;
      auto const [begin, end] =
         reactors_.equal_range( Part{}( *static_cast< Key const * >( key ) ) );
      for ( auto at = begin; at != end; ++at ) {
         Reactor const & reactor = *at->second;
         if ( reactor.position() >= from && reactor.interest() >> attribute_ & 1 ) {
            found = std::min( found, reactor.position() );
         }
      }
      return found;
   }

 private:
   struct Hash {
      std::size_t operator()( Wanted const & part ) const { return hashOf( part ); }
   };

   AttributeId attribute_;
   std::unordered_multimap< Wanted, Reactor *, Hash > reactors_;
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
