#pragma once

#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/kel/Attribute.h"
#include "platform/kel/Reactor.h"

/*
 * What every state machine has in common: construction, activation, the zombie rule and tear-down.
 * MachineChildren.h has the members that hold children, Triggers.h what a reactor's table is made
 * of, StateMachine.h the declarations that use them.
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
   MakeTreeZombie,
   DropReactors,
   DropChildren
};

/** What is known of a class of machines without one of it. */
struct MachineType {
   char const * name;
   /** Calls the function for each trigger table, in declaration order. */
   void ( *forEachTable )( std::function< void( TriggerTable const & ) > const & );
};

/** Registers a class of machines at load time. */
bool machineTypeIs( MachineType const & ( *type )() );
/** All registered classes, by name. */
std::vector< MachineType const * > machineTypes();

/** The base of every state machine: reacts to what its inputs tell, owns its children. It is made
 * by its owner, or by `create`. */
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
   /** Makes the machine and all below it zombies, for the end of the process: none of them hears of
    *  another's end, and none comes to an end of its own, so nothing is taken back. */
   void kelMakeTreeZombie();

   /** The machine's first run: it catches up with what its inputs held before. */
   virtual void handleInitialized() {}
   /** Makes the nested reactors for what the inputs hold already. */
   virtual void createNestedReactors() {}

   /** Does `op` to every member in order of declaration; made by the macros. */
   virtual void kelMembers( MemberOp op ) = 0;

 protected:
   /** The class's own end, first when the last reference goes; its inputs still work. A machine
    *  that is a zombie already has none. */
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

}  // namespace Kel
