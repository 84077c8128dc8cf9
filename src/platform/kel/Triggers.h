#pragma once

#include <cstdint>
#include <span>
#include <type_traits>

#include "platform/kel/Reactor.h"

/* What a trigger table is made of: which attribute of the notifier runs which handler. */

namespace Kel {

/** Names an attribute of a notifier and the type of its key, void for none. */
template < AttributeId attribute, class K >
struct AttributeTag {
   static constexpr AttributeId id = attribute;
   using Key = K;
};

/** Runs a handler of a machine. What belongs to another is used by its handlers, so that one is
 *  held as well, and so on upwards. */
template < class Owner, class F >
void runHeld( Owner & owner, F const & f ) {
   if constexpr ( requires { typename Owner::KelOwned; } ) {
      if ( StateMachine * const outer = owner.kelOwner() ) {
         duringOwners( *outer, f );
         return;
      }
   }
   f();
}

/** `Handler` runs the handler in any of its forms; `Single` can be called for one that has a single
 *  form alone. */
template < class Owner, class N, class Tag, class Handler, class Single >
constexpr Trigger triggerRow( char const * attributeName, char const * handlerName, Tag, Handler,
                              Single ) {
   static_assert( std::is_invocable_v< Tag, N const * >,
                  "a trigger names an attribute that its notifier does not have" );
   using Attribute = std::invoke_result_t< Tag, N const * >;
   using Key = typename Attribute::Key;
   constexpr bool hasSweep = std::is_invocable_v< Handler, Owner & >;
   auto sweep = []( StateMachine & owner ) {
      if constexpr ( hasSweep ) {
         Handler{}( static_cast< Owner & >( owner ) );
      }
   };
   if constexpr ( std::is_void_v< Key > ) {
      static_assert( hasSweep, "a trigger names a handler that its machine does not have" );
      return { attributeName,
               handlerName,
               Attribute::id,
               false,
               []( PtrInterface & owner, void const * ) {
                  auto & machine = static_cast< Owner & >( owner );
                  runHeld( machine, [&machine] { Handler{}( machine ); } );
               },
               sweep };
   } else {
      constexpr bool hasKeyed = std::is_invocable_v< Handler, Owner &, Key const & >;
      static_assert( hasKeyed || hasSweep,
                     "a trigger names a handler that its machine does not have" );
      static_assert( hasKeyed || std::is_invocable_v< Single, Owner & >,
                     "a trigger names a handler that takes a key of another type than its "
                     "attribute's" );
      return { attributeName,
               handlerName,
               Attribute::id,
               true,
               []( PtrInterface & owner, void const * key ) {
                  if ( !key ) {
                     return;
                  }
                  auto & machine = static_cast< Owner & >( owner );
                  runHeld( machine, [&] {
                     if constexpr ( hasKeyed ) {
                        Handler{}( machine, *static_cast< Key const * >( key ) );
                     } else {
                        Handler{}( machine );
                     }
                  } );
               },
               hasSweep ? +sweep : nullptr };
   }
}

consteval TriggerTable triggerTable( char const * reactorName,
                                     TypeRecord const & ( *notifierType )(),
                                     std::span< Trigger const > rows,
                                     void ( *filterKeys )( Reactor &, bool ) ) {
   TriggerTable table{ reactorName, notifierType, rows, 0, {}, filterKeys };
   for ( Trigger const & row : rows ) {
      std::uint64_t const bit = std::uint64_t{ 1 } << row.attribute;
      if ( table.interest & bit ) {
         throw "two rows of a trigger table name the same attribute";
      }
      table.interest |= bit;
      table.run[row.attribute] = row.run;
   }
   return table;
}

}  // namespace Kel
