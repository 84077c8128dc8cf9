#pragma once

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
};

}  // namespace Kel
