#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "platform/kel/HashMap2018.h"
#include "platform/kel/KeyFilter.h"
#include "platform/kel/MachineChildren.h"
#include "platform/kel/OrderedMap.h"
#include "platform/kel/Triggers.h"
#include "platform/kel/Walk.h"

/*
 * How a state machine is declared: here one that watches a service and owns two others, a child,
 * and for each interface of a set a nested reactor.
 *
 *   class ServiceSm : public Kel::StateMachine {
 *      KEL_STATE_MACHINE( Example::ServiceSm )
 *      // Inputs: given at construction, in this order.
 *      KEL_REACTOR( KelStatus, Controller::ServiceStatusV1 const, status,
 *         KEL_ON( enabled, handleEnabled ) )
 *      KEL_REACTOR( KelIntfConfig, Bridging::SwitchIntfConfigDir const, intfConfig,
 *         KEL_ON( switchIntfConfig, handleIntfConfig ) )
 *      KEL_GIVEN( Kel::Ptr< QorClient::Status >, agentStatus )
 *      // Children.
 *      KEL_CHILD( ReportSm, reportSm )
 *      KEL_NESTED( Wirekit::IntfId, IntfSm, intf )
 *      // Own state.
 *      KEL_OWN( bool, initialized )
 *      // Handlers.
 *      void createNestedReactors() override;
 *      void handleInitialized() override;
 *      void handleEnabled();
 *      void handleIntfConfig( Wirekit::IntfId const & intfId );
 *    protected:
 *      void handleEnd() override;
 *   };
 *   KEL_FACTORY( serviceSmFactory, ServiceSm )
 *
 * There is no constructor to write: an owner makes the machine with the inputs as arguments. Each
 * declaration leaves the access at public. The machine's source file holds one more line,
 *
 *   KEL_MACHINE_TYPE( Example::ServiceSm )
 *
 * A child is made and deleted by its owner, with its inputs. A second `xIs` with equal inputs
 * leaves the child as it is; with others it makes a new one.
 *
 *   void ServiceSm::handleEnabled() {
 *      if ( status()->enabled() ) {
 *         reportSmIs( agentStatus() );
 *      } else {
 *         reportSmDel();
 *      }
 *   }
 *
 * A nested reactor is a machine too: its first input is what it watches, its second the owner.
 *
 *   class IntfSm : public Kel::StateMachine {
 *      KEL_STATE_MACHINE( Example::IntfSm )
 *      KEL_REACTOR( KelConfig, Bridging::Input::SwitchIntfConfig const, config,
 *         KEL_ON( trunkNativeVlan, handleTrunkNativeVlan ) )
 *      KEL_OWNER( ServiceSm, owner )
 *      static Wirekit::IntfId keyOf(
 *         Kel::Ptr< Bridging::Input::SwitchIntfConfig const > const & config );
 *      void handleTrunkNativeVlan();
 *   };
 *
 * The owner makes those for what stands already in `createNestedReactors`, and the others as they
 * come:
 *
 *   void ServiceSm::createNestedReactors() {
 *      for ( auto const & [intfId, config] : intfConfig()->switchIntfConfig() ) {
 *         intfIs( config );
 *      }
 *   }
 *   void ServiceSm::handleIntfConfig( Wirekit::IntfId const & intfId ) {
 *      if ( auto const config = intfConfig()->switchIntfConfig( intfId ) ) {
 *         intfIs( config );
 *      } else {
 *         intfDel( intfId );
 *      }
 *   }
 *
 * The end runs when the last reference goes, while inputs and children still work, and takes back
 * what the machine has written. It does not run at the end of the process (`kelMakeTreeZombie`).
 *
 *   void ServiceSm::handleEnd() {
 *      agentStatus()->activeIs( false );
 *   }
 */

/** Opens a state machine; `Type` is its full name. */
#define KEL_STATE_MACHINE( Type ) KEL_STATE_MACHINE_OF( Type, ::Kel::StateMachine )
/** The same for a machine that extends another and continues its attributes. */
#define KEL_STATE_MACHINE_OF( Type, Base )             \
   KEL_ATTRIBUTES( Type, Base )                        \
   static ::Kel::TypeRecord const & kelType();         \
   ::Kel::TypeRecord const & fwkType() const override; \
   void kelMembers( ::Kel::MemberOp op ) override;     \
                                                       \
 private:                                              \
   static bool const kelRegistered;                    \
                                                       \
 public:

/** The rest of a state machine's class: one line in its source file, outside any namespace, so that
 *  it is compiled once. */
#define KEL_MACHINE_TYPE( Type )                                                 \
   ::Kel::TypeRecord const & Type::kelType() {                                   \
      static ::Kel::TypeRecord const type = ::Kel::machineType< Type >( #Type ); \
      return type;                                                               \
   }                                                                             \
   ::Kel::TypeRecord const & Type::fwkType() const {                             \
      return kelType();                                                          \
   }                                                                             \
   void Type::kelMembers( ::Kel::MemberOp op ) {                                 \
      ::Kel::applyToMembers( *this, op );                                        \
   }                                                                             \
   bool const Type::kelRegistered = ::Kel::typeNodeIs( &Type::kelType );

/** The same for a machine that is defined in a source file: all in one line. */
#define KEL_LOCAL_STATE_MACHINE( Type ) KEL_LOCAL_STATE_MACHINE_OF( Type, ::Kel::StateMachine )
#define KEL_LOCAL_STATE_MACHINE_OF( Type, Base )                                    \
   KEL_ATTRIBUTES( Type, Base )                                                     \
   static ::Kel::TypeRecord const & kelType() {                                     \
      static ::Kel::TypeRecord const type = ::Kel::machineType< KelSelf >( #Type ); \
      return type;                                                                  \
   }                                                                                \
   ::Kel::TypeRecord const & fwkType() const override {                             \
      return kelType();                                                             \
   }                                                                                \
   void kelMembers( ::Kel::MemberOp op ) override {                                 \
      ::Kel::applyToMembers( *this, op );                                           \
   }                                                                                \
                                                                                    \
 private:                                                                           \
   static inline bool const kelRegistered = ::Kel::typeNodeIs( &kelType );          \
                                                                                    \
 public:

/** A watched input: the reactor class, the notifier's type (const when only read), its name and
 *  the trigger table: a KEL_ON, or several in KEL_ROWS. */
#define KEL_REACTOR( Class, NotifierType, attribute, ... ) \
   KEL_REACTOR_AS( argument, Class, NotifierType, attribute, __VA_ARGS__ )
/** The same for a notifier that the machine finds or makes itself. `xArm` gives the first one as
 *  construction gives an input: unlike `xIs`, it runs no handler. */
#define KEL_OWN_REACTOR( Class, NotifierType, attribute, ... )          \
   void attribute##Arm( ::Kel::Ptr< NotifierType > const & notifier ) { \
      attribute##_.arm( notifier );                                     \
   }                                                                    \
   KEL_REACTOR_AS( own, Class, NotifierType, attribute, __VA_ARGS__ )
/** The same for a process-wide singleton, fetched at construction. */
#define KEL_SINGLETON_REACTOR( Class, NotifierType, attribute, ... ) \
   KEL_REACTOR_AS( singleton, Class, NotifierType, attribute, __VA_ARGS__ )

#define KEL_REACTOR_AS( role, Class, NotifierType, attribute, ... )                      \
   KEL_REACTOR_OF( role, Class, ::Kel::Watched< NotifierType >, NotifierType, attribute, \
                   __VA_ARGS__ )
#define KEL_REACTOR_OF( role, Class, Base, NotifierType, attribute, ... )                      \
   class Class : public Base {                                                                 \
    public:                                                                                    \
      explicit Class( KelSelf & owner ) : Base( owner, KelSelf::attribute##Triggers() ) {}     \
   };                                                                                          \
   ::Kel::Ptr< NotifierType > attribute() const {                                              \
      return attribute##_.notifier();                                                          \
   }                                                                                           \
   void attribute##Is( ::Kel::Ptr< NotifierType > const & notifier ) {                         \
      attribute##_.notifierIs( notifier );                                                     \
   }                                                                                           \
   ::Kel::Ptr< NotifierType > attribute##Del() {                                               \
      ::Kel::Ptr< NotifierType > old = attribute();                                            \
      attribute##_.detach();                                                                   \
      return old;                                                                              \
   }                                                                                           \
   KEL_NEXT_ATTRIBUTE( attribute##Number )                                                     \
   static auto kelAttribute( ::Kel::Index< attribute##Number > ) {                             \
      return ::Kel::role( #attribute, &KelSelf::attribute##_, &KelSelf::attribute##Triggers ); \
   }                                                                                           \
   static ::Kel::TriggerTable const & attribute##Triggers() {                                  \
      using Owner [[maybe_unused]] = KelSelf;                                                  \
      using Watch [[maybe_unused]] = std::remove_const_t< NotifierType >;                      \
      static constexpr ::Kel::Trigger rows[] = { __VA_ARGS__ };                                \
      static constexpr ::Kel::TriggerTable table =                                             \
         ::Kel::triggerTable( #Class, &Watch::kelType, rows, Class::filterKeys );              \
      return table;                                                                            \
   }                                                                                           \
                                                                                               \
 private:                                                                                      \
   Class attribute##_{ *this };                                                                \
                                                                                               \
 public:

/**
 * A watched input of which the machine hears only for the keys that it wants: a notifier that very
 * many watch leads each change to those alone whom it concerns. `xWants( part, bool )` says which;
 * at first there are none. What is wanted is a part of the key: `Part` is the class of a function
 * object that yields it, std::identity for the whole key. One row, for the attribute `watched`.
 */
#define KEL_REACTOR_BY_KEY( Class, NotifierType, attribute, watched, Part, handler )         \
   using Class##Base =                                                                       \
      ::Kel::WatchedByKey< NotifierType, std::remove_const_t< NotifierType >::Kel_##watched, \
                           Part >;                                                           \
   void attribute##Wants( Class##Base::Wanted const & part, bool wanted ) {                  \
      attribute##_.wants( part, wanted );                                                    \
   }                                                                                         \
   KEL_REACTOR_OF( argument, Class, Class##Base, NotifierType, attribute,                    \
                   KEL_ON( watched, handler ) )

/** A row of a trigger table. Both the form with the key and the one without are found. */
#define KEL_ON( attribute, handler )                                                           \
   ::Kel::triggerRow< Owner, Watch >(                                                          \
      #attribute, #handler, []< class N >( N const * ) requires requires {                     \
         typename N::Kel_##attribute;                                                          \
      } { return typename N::Kel_##attribute{}; },                                             \
      []( auto & owner, auto const &... key ) requires requires { owner.handler( key... ); } { \
         owner.handler( key... );                                                              \
      },                                                                                       \
      []< class O >( O & ) requires requires { &O::handler; } {} ),

/** The rows of a table that has more than one, a row a line: the formatter leaves what stands in it
 *  as it is. */
#define KEL_ROWS( ... ) __VA_ARGS__

#define KEL_MEMBER_AS( role, attribute, ... )                      \
   KEL_NEXT_ATTRIBUTE( attribute##Number )                         \
   static auto kelAttribute( ::Kel::Index< attribute##Number > ) { \
      return ::Kel::role( #attribute, &KelSelf::attribute##_ );    \
   }                                                               \
                                                                   \
 private:                                                          \
   __VA_ARGS__ attribute##_{};                                     \
                                                                   \
 public:

/** An input that is only held. It stays as it was given for as long as the machine is there. */
#define KEL_GIVEN( Type, attribute ) \
   Type const & attribute() const {  \
      return attribute##_;           \
   }                                 \
   KEL_MEMBER_AS( argument, attribute, Type )

/** The owner of a nested reactor, its second input, right behind its notifier. It isn't kept but
 *  while a handler of the nested one runs; `x()` is null when it has gone, and to use that ends the
 *  process with a text. */
#define KEL_OWNER( Type, attribute )                   \
   using KelOwned = Type;                              \
   ::Kel::OwnerPtr< Type > const & attribute() const { \
      return attribute##_;                             \
   }                                                   \
   ::Kel::StateMachine * kelOwner() const override {   \
      return attribute##_.machine();                   \
   }                                                   \
   KEL_MEMBER_AS( argument, attribute, ::Kel::OwnerPtr< Type > )

/** A process-wide singleton that is only held, fetched at construction. */
#define KEL_SINGLETON( Type, attribute )  \
   ::Kel::Ptr< Type > attribute() const { \
      return attribute##_;                \
   }                                      \
   KEL_MEMBER_AS( singleton, attribute, ::Kel::Ptr< Type > )

/** A scalar of the machine's own state. */
#define KEL_OWN( Type, attribute )       \
   Type attribute() const {              \
      return attribute##_;               \
   }                                     \
   void attribute##Is( Type value ) {    \
      attribute##_ = std::move( value ); \
   }                                     \
   KEL_MEMBER_AS( own, attribute, Type )

/** A map of the machine's own state. */
#define KEL_OWN_MAP( K, V, attribute )                                              \
   V attribute( K const & key ) const {                                             \
      auto const * found = attribute##_.find( key );                                \
      return found ? *found : V{};                                                  \
   }                                                                                \
   bool attribute##Has( K const & key ) const {                                     \
      return attribute##_.has( key );                                               \
   }                                                                                \
   void attribute##Is( K const & key, V const & value ) {                           \
      attribute##_.set( key, value );                                               \
   }                                                                                \
   void attribute##Del( K const & key ) {                                           \
      attribute##_.erase( key );                                                    \
   }                                                                                \
   void attribute##DelAll() {                                                       \
      attribute##_.clear();                                                         \
   }                                                                                \
   std::size_t attribute##Count() const {                                           \
      return attribute##_.size();                                                   \
   }                                                                                \
   auto attribute() const {                                                         \
      return ::Kel::MemberWalk< ::Kel::HashMap2018< K, V > >( this, attribute##_ ); \
   }                                                                                \
   KEL_MEMBER_AS( own, attribute, ::Kel::HashMap2018< K, V > )

/** A set of the machine's own state. */
#define KEL_OWN_SET( K, attribute )                                                           \
   bool attribute##Has( K const & key ) const {                                               \
      return attribute##_.has( key );                                                         \
   }                                                                                          \
   void attribute##Is( K const & key ) {                                                      \
      attribute##_.set( key, ::Kel::Nothing{} );                                              \
   }                                                                                          \
   void attribute##Del( K const & key ) {                                                     \
      attribute##_.erase( key );                                                              \
   }                                                                                          \
   void attribute##DelAll() {                                                                 \
      attribute##_.clear();                                                                   \
   }                                                                                          \
   std::size_t attribute##Count() const {                                                     \
      return attribute##_.size();                                                             \
   }                                                                                          \
   auto attribute() const {                                                                   \
      return ::Kel::KeyWalk< ::Kel::HashMap2018< K, ::Kel::Nothing > >( this, attribute##_ ); \
   }                                                                                          \
   KEL_MEMBER_AS( own, attribute, ::Kel::HashMap2018< K, ::Kel::Nothing > )

/** An owned child machine. `xIs` takes the child's inputs. */
#define KEL_CHILD( Type, attribute )                              \
   ::Kel::Ptr< Type > attribute() const {                         \
      return attribute##_.machine();                              \
   }                                                              \
   template < class... Inputs >                                   \
   ::Kel::Ptr< Type > attribute##Is( Inputs const &... inputs ) { \
      return attribute##_.is( *this, inputs... );                 \
   }                                                              \
   ::Kel::Ptr< Type > attribute##Del() {                          \
      return attribute##_.del();                                  \
   }                                                              \
   KEL_MEMBER_AS( own, attribute, ::Kel::Child< Type > )

/** Owned child machines by key; the child's `keyOf( inputs... )` tells its key. */
#define KEL_CHILDREN_BY_KEY( K, Type, attribute ) \
   KEL_MACHINES_AS( K, Type, attribute, ::Kel::ChildMap< ::Kel::HashMap2018, K, Type > )
/** The same, walked in ascending order of the keys. */
#define KEL_CHILDREN_IN_ORDER( K, Type, attribute ) \
   KEL_MACHINES_AS( K, Type, attribute, ::Kel::ChildMap< ::Kel::OrderedMap, K, Type > )

#define KEL_MACHINES_AS( K, Type, attribute, ... )                \
   ::Kel::Ptr< Type > attribute( K const & key ) const {          \
      return attribute##_.find( key );                            \
   }                                                              \
   template < class... Inputs >                                   \
   ::Kel::Ptr< Type > attribute##Is( Inputs const &... inputs ) { \
      return attribute##_.is( *this, #attribute, inputs... );     \
   }                                                              \
   ::Kel::Ptr< Type > attribute##Del( K const & key ) {           \
      return attribute##_.del( key );                             \
   }                                                              \
   void attribute##DelAll() {                                     \
      attribute##_.delAll( *this );                               \
   }                                                              \
   std::size_t attribute##Count() const {                         \
      return attribute##_.size();                                 \
   }                                                              \
   auto attribute() const {                                       \
      return attribute##_.walk( this );                           \
   }                                                              \
   KEL_MEMBER_AS( own, attribute, __VA_ARGS__ )

/**
 * Nested reactors by key: reactors with state and handlers of their own, one per entity that they
 * watch. A member's inputs are its notifier and the owner. Notifications are taken off them with
 * their owner's; a member whose entity is replaced meets the new one.
 */
#define KEL_NESTED( K, Type, attribute )                                  \
   ::Kel::Ptr< Type > attribute( K const & key ) const {                  \
      return attribute##_.find( key );                                    \
   }                                                                      \
   template < class N >                                                   \
   ::Kel::Ptr< Type > attribute##Is( ::Kel::Ptr< N > const & notifier ) { \
      return attribute##_.is( *this, notifier, #attribute );              \
   }                                                                      \
   ::Kel::Ptr< Type > attribute##Del( K const & key ) {                   \
      return attribute##_.del( key );                                     \
   }                                                                      \
   std::size_t attribute##Count() const {                                 \
      return attribute##_.size();                                         \
   }                                                                      \
   auto attribute() const {                                               \
      return attribute##_.walk( this );                                   \
   }                                                                      \
   KEL_MEMBER_AS( own, attribute, ::Kel::NestedMap< K, Type > )
