#pragma once

#include <array>
#include <functional>
#include <span>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "platform/kel/Attribute.h"
#include "platform/kel/Exceptions.h"
#include "platform/kel/HashMap2018.h"
#include "platform/kel/OrderedMap.h"
#include "platform/kel/Reactor.h"
#include "platform/kel/String.h"
#include "platform/kel/Walk.h"

/*
 * What every state machine has in common: construction, activation, the zombie rule, tear-down,
 * and the members that hold children. StateMachine.h has the declarations that use it.
 *
 * A machine is made in this order: its inputs are given (reactors are armed, no handler runs), it
 * takes its place at its owner, nested reactors for what is there already are made,
 * `handleInitialized` runs, and its notification-active flag is set. Standing in its place before
 * the first handler runs means that whatever its own first writes cause finds it.
 */

namespace Kel {

/** What is done to all members of a machine, in declaration order. */
enum class MemberOp {
   ActivateReactors,
   DeactivateReactors,
   ActivateChildren,
   DeactivateChildren,
   MakeZombie,
   UnmakeZombie,
   DropReactors,
   DropChildren
};

struct MachineType {
   char const * name;
   /** Calls the function for each trigger table, in declaration order. */
   void ( *forEachTable )( std::function< void( TriggerTable const & ) > const & );
};

/** Registers a class of machines at load time. */
bool machineTypeIs( MachineType const & ( *type )() );
/** All registered classes, by name. */
std::vector< MachineType const * > machineTypes();

class StateMachine : public PtrInterface {
 public:
   static void kelAttribute( NoAttribute );
   virtual MachineType const & machineType() const = 0;

   /** Sets the flag, then that of the reactors, then that of the children. */
   void hasNotificationActiveIs( bool active ) override;
   /** Takes notifications off the machine's own reactors, nested ones included. */
   void kelTakeNotificationsOff();
   /** A zombie is reached by no further notification. */
   void kelDoZombieReactors( bool zombie );

   /** The machine's first run: it catches up with what its inputs held before. */
   virtual void handleInitialized() {}
   /** Makes the nested reactors for what the inputs hold already. */
   virtual void createNestedReactors() {}

   virtual void kelMembers( MemberOp op ) = 0;

 protected:
   /** The class's own end, first when the last reference goes; its inputs still work. */
   virtual void handleEnd() {}

   void handleZeroRef() noexcept final;
};

// --- Roles of attributes ---

template < class Owner, class Member >
struct MachineAttribute {
   char const * name;
   Member Owner::*member;
   TriggerTable const & ( *triggers )() = nullptr;
};
/** Given at construction. */
template < class Owner, class Member >
struct ArgumentAttribute : MachineAttribute< Owner, Member > {};
/** Fetched at construction. */
template < class Owner, class Member >
struct SingletonAttribute : MachineAttribute< Owner, Member > {};

template < class Owner, class Member >
auto argument( char const * name, Member Owner::*member,
               TriggerTable const & ( *triggers )() = nullptr ) {
   return ArgumentAttribute< Owner, Member >{ { name, member, triggers } };
}
template < class Owner, class Member >
auto singleton( char const * name, Member Owner::*member,
                TriggerTable const & ( *triggers )() = nullptr ) {
   return SingletonAttribute< Owner, Member >{ { name, member, triggers } };
}
template < class Owner, class Member >
auto own( char const * name, Member Owner::*member,
          TriggerTable const & ( *triggers )() = nullptr ) {
   return MachineAttribute< Owner, Member >{ name, member, triggers };
}

template < class T >
inline constexpr bool isArgument = false;
template < class Owner, class Member >
inline constexpr bool isArgument< ArgumentAttribute< Owner, Member > > = true;
template < class T >
inline constexpr bool isSingleton = false;
template < class Owner, class Member >
inline constexpr bool isSingleton< SingletonAttribute< Owner, Member > > = true;

template < class T, int n >
using AttributeType = decltype( T::kelAttribute( Index< n >{} ) );

/** The number of inputs among the first `n` attributes. */
template < class T, int n >
consteval std::size_t inputsBefore() {
   return []< int... i >( std::integer_sequence< int, i... > ) {
      return ( std::size_t{ isArgument< AttributeType< T, i > > } + ... + std::size_t{ 0 } );
   }
   ( std::make_integer_sequence< int, n >() );
}

// --- Reactors as members ---

template < class Member >
concept ReactorMember = std::is_base_of_v< Reactor, Member >;
template < class Member >
concept OwnerMember = requires( Member & m ) {
   m.apply( MemberOp::MakeZombie );
};

inline void applyToReactor( Reactor & reactor, MemberOp op ) {
   switch ( op ) {
      case MemberOp::ActivateReactors:
      case MemberOp::DeactivateReactors:
         reactor.notificationActiveIs( op == MemberOp::ActivateReactors );
         break;
      case MemberOp::MakeZombie:
      case MemberOp::UnmakeZombie:
         reactor.doZombie( op == MemberOp::MakeZombie );
         break;
      case MemberOp::DropReactors:
         reactor.detach();
         break;
      default:
         break;
   }
}

template < class Machine >
void applyToMembers( Machine & machine, MemberOp op ) {
   forEachAttribute< Machine >( [&]( auto const & attribute ) {
      auto & member = machine.*attribute.member;
      using Member = std::remove_cvref_t< decltype( member ) >;
      if constexpr ( ReactorMember< Member > ) {
         applyToReactor( member, op );
      } else if constexpr ( OwnerMember< Member > ) {
         member.apply( op );
      }
   } );
}

template < class Machine >
void listTables( std::function< void( TriggerTable const & ) > const & f ) {
   forEachAttribute< Machine >( [&]( auto const & attribute ) {
      if ( attribute.triggers ) {
         f( attribute.triggers() );
      }
   } );
}

// --- Construction ---

/** A new machine with its inputs given; no handler has run. */
template < class Machine, class... Inputs >
Ptr< Machine > construct( Inputs const &... inputs ) {
   static_assert( inputsBefore< Machine, attributeCount< Machine >() >() == sizeof...( Inputs ),
                  "the arguments do not match the machine's inputs in number" );
   Ptr< Machine > machine( new Machine );
   [&]< int... n >( std::integer_sequence< int, n... > ) {
      auto given = std::tie( inputs... );
      auto take = [&]< int i >( Index< i > ) {
         using Type = AttributeType< Machine, i >;
         auto attribute = Machine::kelAttribute( Index< i >{} );
         auto & member = ( *machine ).*attribute.member;
         using Member = std::remove_cvref_t< decltype( member ) >;
         if constexpr ( isArgument< Type > ) {
            auto const & input = std::get< inputsBefore< Machine, i >() >( given );
            if constexpr ( ReactorMember< Member > ) {
               member.arm( decltype( member.notifier() )( input ) );
            } else {
               member = input;
            }
         } else if constexpr ( isSingleton< Type > ) {
            if constexpr ( ReactorMember< Member > ) {
               member.arm( std::remove_cvref_t< decltype( *member.notifier() ) >::singleton() );
            } else {
               member = std::remove_cvref_t< decltype( *member ) >::singleton();
            }
         }
      };
      ( take( Index< n >{} ), ... );
   }
   ( std::make_integer_sequence< int, attributeCount< Machine >() >() );
   return machine;
}

/** The first run of a machine that stands in its place. */
template < class Machine >
void start( Ptr< Machine > const & machine ) {
   machine->createNestedReactors();
   machine->handleInitialized();
}

/** A machine of its own, held by the caller. */
template < class Machine, class... Inputs >
Ptr< Machine > create( Inputs const &... inputs ) {
   Ptr< Machine > machine = construct< Machine >( inputs... );
   start( machine );
   machine->hasNotificationActiveIs( true );
   return machine;
}

/** The name and texts of the first input that differs from those given; null name for none. */
struct DifferentInput {
   char const * name = nullptr;
   std::string given;
   std::string current;
};

template < class T >
std::string inputText( T const & v ) {
   std::ostringstream text;
   if constexpr ( requires { v.ptr(); } ) {
      text << static_cast< void const * >( v.ptr() );
   } else {
      text << v;
   }
   return text.str();
}

template < class Machine, class... Inputs >
DifferentInput differentInput( Machine & machine, Inputs const &... inputs ) {
   DifferentInput different;
   [&]< int... n >( std::integer_sequence< int, n... > ) {
      auto given = std::tie( inputs... );
      auto compare = [&]< int i >( Index< i > ) {
         using Type = AttributeType< Machine, i >;
         if constexpr ( isArgument< Type > ) {
            auto attribute = Machine::kelAttribute( Index< i >{} );
            auto & member = machine.*attribute.member;
            using Member = std::remove_cvref_t< decltype( member ) >;
            auto check = [&]( auto const & current ) {
               std::remove_cvref_t< decltype( current ) > wanted(
                  std::get< inputsBefore< Machine, i >() >( given ) );
               if ( !different.name && !( wanted == current ) ) {
                  different = { attribute.name, inputText( wanted ), inputText( current ) };
               }
            };
            if constexpr ( ReactorMember< Member > ) {
               check( member.notifier() );
            } else {
               check( member );
            }
         }
      };
      ( compare( Index< n >{} ), ... );
   }
   ( std::make_integer_sequence< int, attributeCount< Machine >() >() );
   return different;
}

[[noreturn]] void throwReinstantiation( DifferentInput const & different );
[[noreturn]] void throwNullNotifier( char const * machine, char const * parameter,
                                     char const * attribute );

// --- Children ---

/** An owned child machine. */
template < class Machine >
class Child {
 public:
   Ptr< Machine > machine() const { return machine_; }

   /** The child that stands, when its inputs are those given; otherwise a new one in its place. */
   template < class... Inputs >
   Ptr< Machine > is( Inputs const &... inputs ) {
      if ( machine_ && !differentInput( *machine_, inputs... ).name ) {
         return machine_;
      }
      Ptr< Machine > fresh = construct< Machine >( inputs... );
      Ptr< Machine > old = std::exchange( machine_, fresh );
      start( fresh );
      if ( machine_ == fresh ) {
         fresh->hasNotificationActiveIs( true );
      }
      return fresh;
   }

   /** The same for an owner whose last reference the new child's first run may drop. */
   template < class... Inputs >
   Ptr< Machine > isOf( PtrInterface & owner, Inputs const &... inputs ) {
      Ptr< PtrInterface > const hold( &owner );
      return is( inputs... );
   }

   /** Takes the child out, with notifications off its own reactors; its children stay at work. */
   Ptr< Machine > del() {
      Ptr< Machine > old = std::exchange( machine_, nullptr );
      if ( old ) {
         old->kelTakeNotificationsOff();
      }
      return old;
   }

   void apply( MemberOp op ) {
      if ( op == MemberOp::DropChildren ) {
         del();
      } else if ( machine_ &&
                  ( op == MemberOp::ActivateChildren || op == MemberOp::DeactivateChildren ) ) {
         machine()->hasNotificationActiveIs( op == MemberOp::ActivateChildren );
      }
   }

 private:
   Ptr< Machine > machine_;
};

/** What ChildMap and NestedMap share. `Map` is HashMap2018 or OrderedMap. */
template < template < class, class > class Map, class K, class Machine >
class MachineMap {
 public:
   using Members = Map< K, Ptr< Machine > >;

   Ptr< Machine > find( K const & key ) const {
      Ptr< Machine > const * found = members_.find( key );
      return found ? *found : nullptr;
   }
   std::size_t size() const { return members_.size(); }
   MemberWalk< Members > walk( Ptr< PtrInterface const > owner ) const {
      return { std::move( owner ), members_ };
   }

   Ptr< Machine > del( K const & key ) {
      Ptr< Machine > old = members_.take( key ).value_or( nullptr );
      if ( old ) {
         old->kelTakeNotificationsOff();
      }
      return old;
   }

 protected:
   template < class F >
   void forEach( F && f ) {
      for ( typename Members::Cursor cursor( members_ ); cursor; cursor.advance() ) {
         if ( auto const * member = cursor.member() ) {
            auto const [key, machine] = *member;
            f( key, machine );
         }
      }
   }
   Ptr< Machine > add( PtrInterface & owner, K const & key, Ptr< Machine > const & fresh ) {
      Ptr< PtrInterface > const hold( &owner );
      members_.add( key, fresh );
      start( fresh );
      if ( find( key ) == fresh ) {
         fresh->hasNotificationActiveIs( true );
      }
      return fresh;
   }

   Members members_;
};

/** Owned child machines by key. */
template < template < class, class > class Map, class K, class Machine >
class ChildMap : public MachineMap< Map, K, Machine > {
 public:
   /** Throws NameInUseException when the key's child has other inputs. */
   template < class... Inputs >
   Ptr< Machine > is( PtrInterface & owner, Inputs const &... inputs ) {
      K const key = Machine::keyOf( inputs... );
      if ( Ptr< Machine > standing = this->find( key ) ) {
         DifferentInput different = differentInput( *standing, inputs... );
         if ( different.name ) {
            throwReinstantiation( different );
         }
         return standing;
      }
      return this->add( owner, key, construct< Machine >( inputs... ) );
   }

   void delAll( PtrInterface & owner ) {
      Ptr< PtrInterface > const hold( &owner );
      for ( K const & key : keysOf( this->members_ ) ) {
         this->del( key );
      }
   }

   void apply( MemberOp op ) {
      bool const activate = op == MemberOp::ActivateChildren;
      if ( op == MemberOp::DropChildren ) {
         this->forEach( [this]( K const & key, auto const & ) { this->del( key ); } );
      } else if ( activate || op == MemberOp::DeactivateChildren ) {
         this->forEach( [activate]( K const &, auto const & machine ) {
            machine->hasNotificationActiveIs( activate );
         } );
      }
   }
};

/** Nested reactors by key. */
template < class K, class Machine >
class NestedMap : public MachineMap< HashMap2018, K, Machine > {
 public:
   /** A member whose notifier is another meets the new one. Throws RangeException on null. */
   template < class Owner, class N >
   Ptr< Machine > is( Owner & owner, Ptr< N > const & notifier, char const * attribute ) {
      auto watched = Machine::kelAttribute( Index< 0 >{} );
      if ( !notifier ) {
         throwNullNotifier( owner.machineType().name, watched.name, attribute );
      }
      K const key = Machine::keyOf( notifier );
      if ( Ptr< Machine > standing = this->find( key ) ) {
         ( ( *standing ).*watched.member ).notifierIs( notifier );
         return standing;
      }
      Ptr< Machine > fresh = construct< Machine >( notifier, &owner );
      fresh->kelDoZombieReactors( owner.kelMarkedForDeletion() );
      return this->add( owner, key, fresh );
   }

   void apply( MemberOp op ) {
      this->forEach( [this, op]( K const & key, Ptr< Machine > const & machine ) {
         switch ( op ) {
            case MemberOp::DeactivateReactors:
               machine->kelTakeNotificationsOff();
               break;
            case MemberOp::MakeZombie:
            case MemberOp::UnmakeZombie:
               machine->kelDoZombieReactors( op == MemberOp::MakeZombie );
               break;
            case MemberOp::DropReactors:
               this->del( key );
               break;
            case MemberOp::ActivateReactors:
               machine->hasNotificationActiveIs( true );
               break;
            case MemberOp::ActivateChildren:
            case MemberOp::DeactivateChildren:
               machine->kelMembers( op );
               break;
            case MemberOp::DropChildren:
               break;
         }
      } );
   }
};

// --- Trigger tables ---

/** Names an attribute of a notifier and the type of its key, void for none. */
template < AttributeId attribute, class K >
struct AttributeTag {
   static constexpr AttributeId id = attribute;
   using Key = K;
};

template < class Owner, class N, class Tag, class Handler >
constexpr Trigger triggerRow( char const * attributeName, char const * handlerName, Tag, Handler ) {
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
      return {
         attributeName,
         handlerName,
         Attribute::id,
         false,
         []( PtrInterface & owner, void const * ) { Handler{}( static_cast< Owner & >( owner ) ); },
         sweep };
   } else {
      constexpr bool hasKeyed = std::is_invocable_v< Handler, Owner &, Key const & >;
      static_assert( hasKeyed || hasSweep,
                     "a trigger names a handler that its machine does not have" );
      return { attributeName,
               handlerName,
               Attribute::id,
               true,
               []( PtrInterface & owner, void const * key ) {
                  if ( !key ) {
                     return;
                  }
                  if constexpr ( hasKeyed ) {
                     Handler{}( static_cast< Owner & >( owner ),
                                *static_cast< Key const * >( key ) );
                  } else {
                     Handler{}( static_cast< Owner & >( owner ) );
                  }
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
