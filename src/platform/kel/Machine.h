#pragma once

#include <concepts>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

#include "platform/kel/Attribute.h"
#include "platform/kel/Reactor.h"
#include "platform/kel/TypeRecord.h"

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

/** The base of every state machine: reacts to what its inputs tell, owns its children. It is made
 * by its owner, or by its factory. */
class StateMachine : public PtrInterface {
 public:
   KEL_ATTRIBUTE_ROOT()
   /** The class's type record: its name, attributes and trigger tables. */
   virtual TypeRecord const & fwkType() const = 0;

   /** Sets the flag, then that of the reactors, then that of the children. */
   void hasNotificationActiveIs( bool active ) override;
   /** Takes notifications off the machine's own reactors, nested ones included. */
   void kelTakeNotificationsOff();
   /** A zombie is reached by no further notification. */
   void kelDoZombieReactors( bool zombie );
   /** Makes the machine and all below it zombies, for the end of the process: none of them hears of
    *  another's end, and none comes to an end of its own, so nothing is taken back. */
   void kelMakeTreeZombie();

   /** The machine that a nested reactor belongs to; null for others, and when it has gone. */
   virtual StateMachine * kelOwner() const { return nullptr; }
   /** True once the machine lets go of what it owns; what it makes from then on it doesn't keep. */
   bool kelIsEnding() const { return ending_; }

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

 private:
   bool ending_ = false;
};

/** Runs `f` and keeps the machine meanwhile, and all to which it belongs. */
template < class F >
void duringOwners( StateMachine & machine, F const & f ) {
   InUse::during( machine, [&] {
      if ( StateMachine * const outer = machine.kelOwner() ) {
         duringOwners( *outer, f );
      } else {
         f();
      }
   } );
}

/** The tie between an owner and its nested reactors, cut when the owner goes. */
struct OwnerTie : PtrInterface {
   explicit OwnerTie( StateMachine & machine ) : owner( &machine ) {}
   StateMachine * owner;
};

/** A nested reactor's pointer to its owner, which doesn't keep it; null when the owner has gone. */
template < class Owner >
class OwnerPtr {
 public:
   OwnerPtr() = default;
   OwnerPtr( Ptr< OwnerTie > tie ) : tie_( std::move( tie ) ) {}

   StateMachine * machine() const { return tie_ ? tie_->owner : nullptr; }
   Owner * ptr() const { return static_cast< Owner * >( machine() ); }
   /** To use an owner that has gone ends the process with a text. */
   Owner * operator->() const {
      if ( !machine() ) [[unlikely]] {
         nullFollowed( __PRETTY_FUNCTION__ );
      }
      return ptr();
   }
   Owner & operator*() const { return *operator->(); }
   explicit operator bool() const { return machine() != nullptr; }

 private:
   Ptr< OwnerTie > tie_;
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

/** Given at construction to a nested reactor: its owner. */
template < class Machine, class Owner >
using OwnerAttribute = ArgumentAttribute< Machine, OwnerPtr< Owner > >;

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

template < class Member, bool given >
constexpr AttributeKind memberKind() {
   if constexpr ( ReactorMember< Member > ) {
      return AttributeKind::Watched;
   } else if constexpr ( requires { Member::kelKind; } ) {
      return Member::kelKind;
   } else if constexpr ( requires { typename Member::Cursor; } ) {
      return AttributeKind::OwnCollection;
   } else if constexpr ( given ) {
      return AttributeKind::Given;
   } else {
      return AttributeKind::Own;
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

/** What a member holds: its type, null for a plain value, and whether it may be written. */
struct Held {
   TypeRecord const & ( *type )() = nullptr;
   bool isWritable = false;
};
template < class Member >
inline constexpr Held heldBy{};
template < class T >
requires requires {
   T::kelType();
}
inline constexpr Held heldBy< Ptr< T > >{ &T::kelType, !std::is_const_v< T > };
template < ReactorMember Member >
inline constexpr Held heldBy< Member > =
   heldBy< decltype( std::declval< Member const & >().notifier() ) >;
template < class Member >
requires requires {
   typename Member::KelMachine;
}
inline constexpr Held heldBy< Member >{ &Member::KelMachine::kelType };

class MemberRecord final : public AttributeRecord {
 public:
   MemberRecord( char const * name, AttributeKind kind, Held held,
                 TriggerTable const & ( *table )() )
      : AttributeRecord( name, kind ), held_( held ), triggers_( table ) {}

   TypeRecord const * elementType() const override { return held_.type ? &held_.type() : nullptr; }
   bool isWritable() const override { return held_.isWritable; }
   TriggerTable const * triggers() const override { return triggers_ ? &triggers_() : nullptr; }

 private:
   Held held_;
   TriggerTable const & ( *triggers_ )();
};

/** A class's attributes. */
template < class Machine >
AttributeRecords const & machineAttributeRecords() {
   static AttributeRecords const records = [] {
      AttributeRecords list;
      forEachAttribute< Machine >( [&]< class Attribute >( Attribute const & attribute ) {
         using Member =
            std::remove_cvref_t< decltype( std::declval< Machine & >().*attribute.member ) >;
         constexpr bool given = isArgument< Attribute > || isSingleton< Attribute >;
         list.push_back( std::make_unique< MemberRecord >(
            attribute.name, memberKind< Member, given >(), heldBy< Member >, attribute.triggers ) );
         list.back()->idIs( static_cast< AttributeId >( list.size() - 1 ) );
      } );
      return list;
   }();
   return records;
}

template < class Machine >
constexpr TypeRecord machineType( char const * name ) {
   return { name, &machineAttributeRecords< Machine >, &createNothing, true };
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

/** A machine that the caller holds. */
template < std::derived_from< StateMachine > Machine, class... Inputs >
Ptr< Machine > create( Inputs const &... inputs ) {
   Ptr< Machine > machine = construct< Machine >( inputs... );
   start( machine );
   machine->hasNotificationActiveIs( true );
   return machine;
}

}  // namespace Kel
