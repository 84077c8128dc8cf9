#pragma once

#include <concepts>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "platform/kel/HashMap2018.h"
#include "platform/kel/Machine.h"
#include "platform/kel/Walk.h"

/* The members of a machine that hold other machines: children, and nested reactors. */

namespace Kel {

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

/** The name of a machine's input, counted from 0. */
template < class Machine, std::size_t input, int n = 0 >
constexpr char const * inputName() {
   if constexpr ( isArgument< AttributeType< Machine, n > > &&
                  inputsBefore< Machine, n >() == input ) {
      return Machine::kelAttribute( Index< n >{} ).name;
   } else {
      return inputName< Machine, input, n + 1 >();
   }
}

/** Which of a machine's inputs tells its key: the first, unless the machine says `keyInput`. */
template < class Machine >
constexpr std::size_t keyInputOf() {
   if constexpr ( requires { Machine::keyInput; } ) {
      return Machine::keyInput;
   } else {
      return 0;
   }
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
[[noreturn]] void throwNullParameter( StateMachine const & owner, char const * parameter,
                                      char const * attribute );

/** Throws RangeException when the record that tells a new member's key is null. */
template < class Machine, class... Inputs >
void checkKeyRecord( StateMachine const & owner, char const * attribute,
                     Inputs const &... inputs ) {
   constexpr std::size_t input = keyInputOf< Machine >();
   auto const & record = std::get< input >( std::tie( inputs... ) );
   if constexpr ( requires { record.ptr(); } ) {
      if ( !record ) {
         throwNullParameter( owner, inputName< Machine, input >(), attribute );
      }
   }
}

/** An owned child machine. */
template < class Machine >
class Child {
 public:
   using KelMachine = Machine;
   static constexpr AttributeKind kelKind = AttributeKind::Child;

   Ptr< Machine > machine() const { return machine_; }

   /** The child that stands, when its inputs are those given; otherwise a new one in its place. An
    *  owner at its end keeps no new one. */
   template < std::derived_from< PtrInterface > Owner, class... Inputs >
   Ptr< Machine > is( Owner & owner, Inputs const &... inputs ) {
      if ( machine_ && !differentInput( *machine_, inputs... ).name ) {
         return machine_;
      }
      if constexpr ( std::derived_from< Owner, StateMachine > ) {
         if ( owner.kelIsEnding() ) {
            return create< Machine >( inputs... );
         }
      }
      // The new child's first run may drop the owner's last reference.
      Ptr< PtrInterface > const hold( &owner );
      Ptr< Machine > fresh = construct< Machine >( inputs... );
      Ptr< Machine > old = std::exchange( machine_, fresh );
      start( fresh );
      if ( machine_ == fresh ) {
         fresh->hasNotificationActiveIs( true );
      }
      return fresh;
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
      } else if ( machine_ && op == MemberOp::MakeTreeZombie ) {
         machine()->kelMakeTreeZombie();
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
   using KelMachine = Machine;
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
   /** An owner at its end keeps no new member. */
   Ptr< Machine > add( StateMachine & owner, K const & key, Ptr< Machine > const & fresh ) {
      Ptr< StateMachine > const hold( &owner );
      if ( owner.kelIsEnding() ) {
         start( fresh );
         fresh->hasNotificationActiveIs( true );
         return fresh;
      }
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
   static constexpr AttributeKind kelKind = AttributeKind::ChildrenByKey;

   /** Throws NameInUseException when the key's child has other inputs, RangeException when the
    *  record that tells the key is null. */
   template < class... Inputs >
   Ptr< Machine > is( StateMachine & owner, char const * attribute, Inputs const &... inputs ) {
      checkKeyRecord< Machine >( owner, attribute, inputs... );
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

   void delAll( StateMachine & owner ) {
      Ptr< StateMachine > const hold( &owner );
      for ( K const & key : keysOf( this->members_ ) ) {
         this->del( key );
      }
   }

   void apply( MemberOp op ) {
      bool const activate = op == MemberOp::ActivateChildren;
      if ( op == MemberOp::DropChildren ) {
         this->forEach( [this]( K const & key, auto const & ) { this->del( key ); } );
      } else if ( op == MemberOp::MakeTreeZombie ) {
         this->forEach( []( K const &, auto const & machine ) { machine->kelMakeTreeZombie(); } );
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
   static constexpr AttributeKind kelKind = AttributeKind::NestedByKey;

   /** A member whose notifier is another meets the new one. Throws RangeException on null. */
   template < class Owner, class N >
   Ptr< Machine > is( Owner & owner, Ptr< N > const & notifier, char const * attribute ) {
      using First = std::remove_cvref_t< decltype( watchedOf( std::declval< Machine & >() ) ) >;
      static_assert(
         isArgument< AttributeType< Machine, 0 > > && ReactorMember< First > &&
            std::is_same_v< OwnerAttribute< Machine, Owner >, AttributeType< Machine, 1 > >,
         "a nested machine's first two attributes are its notifier (KEL_REACTOR) and "
         "its owner (KEL_OWNER)" );
      checkKeyRecord< Machine >( owner, attribute, notifier );
      K const key = Machine::keyOf( notifier );
      if ( Ptr< Machine > standing = this->find( key ) ) {
         watchedOf( *standing ).notifierIs( notifier );
         return standing;
      }
      if ( !tie_ && !owner.kelIsEnding() ) {
         tie_ = new OwnerTie( owner );
      }
      Ptr< Machine > fresh = construct< Machine >( notifier, tie_ );
      fresh->kelDoZombieReactors( owner.kelMarkedForDeletion() );
      if ( !tie_ ) {
         // It has no owner to work for any more.
         return fresh;
      }
      return this->add( owner, key, fresh );
   }

   void apply( MemberOp op ) {
      if ( op == MemberOp::DropReactors && tie_ ) {
         tie_->owner = nullptr;
         tie_ = nullptr;
      }
      this->forEach( [this, op]( K const & key, Ptr< Machine > const & machine ) {
         switch ( op ) {
            case MemberOp::DeactivateReactors:
               machine->kelTakeNotificationsOff();
               break;
            case MemberOp::MakeZombie:
            case MemberOp::UnmakeZombie:
               machine->kelDoZombieReactors( op == MemberOp::MakeZombie );
               break;
            case MemberOp::MakeTreeZombie:
               machine->kelMakeTreeZombie();
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

 private:
   static auto & watchedOf( Machine & machine ) {
      return machine.*Machine::kelAttribute( Index< 0 >{} ).member;
   }

   /** Made with the first member, cut when the owner goes. */
   Ptr< OwnerTie > tie_;
};

}  // namespace Kel
