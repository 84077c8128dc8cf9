#pragma once

#include <cstddef>
#include <type_traits>

#include "platform/kel/HashMap2018.h"
#include "platform/kel/Ptr.h"
#include "platform/kel/Walk.h"

/*
 * Indexes of a map attribute, for questions that would walk all its members otherwise.
 *
 *   struct ByIntf {
 *      IntfId operator()( Binding const & key, bool ) const { return key.intfId; }
 *   };
 *   KEL_INDEXED_MAP( Binding, bool, binding, ::Kel::KeyIndex< Binding, bool, ByIntf > )
 *
 * `GroupOf` tells the group of a member. An index is up to date whenever a handler runs.
 */

namespace Kel {

/** How many members each group has. */
template < class K, class V, class GroupOf >
class CountIndex {
 public:
   using Grouping = GroupOf;
   using Group = std::invoke_result_t< GroupOf, K const &, V const & >;

   std::size_t count( Group const & group ) const {
      std::size_t const * found = counts_.find( group );
      return found ? *found : 0;
   }
   void enter( K const & key, V const & value ) {
      Group const group = GroupOf{}( key, value );
      counts_.set( group, count( group ) + 1 );
   }
   void leave( K const & key, V const & value ) {
      Group const group = GroupOf{}( key, value );
      if ( std::size_t const left = count( group ) - 1 ) {
         counts_.set( group, left );
      } else {
         counts_.erase( group );
      }
   }

 private:
   HashMap2018< Group, std::size_t > counts_;
};

/** The keys of each group, in the order in which they entered it: that of the map, where the key
 *  alone tells the group. */
template < class K, class V, class GroupOf >
class KeyIndex {
 public:
   using Grouping = GroupOf;
   using Group = std::invoke_result_t< GroupOf, K const &, V const & >;
   using Keys = HashMap2018< K, Nothing >;

   std::size_t count( Group const & group ) const {
      Ptr< Members > const * found = groups_.find( group );
      return found ? ( *found )->keys.size() : 0;
   }
   /** The walk holds the group, and goes on to keys that enter it meanwhile. */
   KeyWalk< Keys > keys( Group const & group ) const {
      Ptr< Members > const * found = groups_.find( group );
      Ptr< Members > const members = found ? *found : Ptr< Members >( new Members );
      return KeyWalk< Keys >( members, members->keys );
   }
   void enter( K const & key, V const & value ) {
      Group const group = GroupOf{}( key, value );
      Ptr< Members > const * found = groups_.find( group );
      Ptr< Members > const members = found ? *found : Ptr< Members >( new Members );
      members->keys.set( key, Nothing{} );
      if ( !found ) {
         groups_.set( group, members );
      }
   }
   void leave( K const & key, V const & value ) {
      Group const group = GroupOf{}( key, value );
      Ptr< Members > const & members = *groups_.find( group );
      members->keys.erase( key );
      // One that a walk stands on may get members again before the walk's next step.
      if ( members->keys.empty() && members->references() == 1 ) {
         groups_.erase( group );
      }
   }

 private:
   struct Members : PtrInterface {
      Keys keys;
   };

   HashMap2018< Group, Ptr< Members > > groups_;
};

}  // namespace Kel
