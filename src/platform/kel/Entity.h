#pragma once

#include <concepts>
#include <string>

#include "platform/kel/Attributes.h"
#include "platform/kel/Notifier.h"
#include "platform/kel/String.h"
#include "platform/kel/TypeRecord.h"

/*
 * Entities: notifiers with a name and a place in a tree.
 *
 *   class Status : public Kel::NamedEntity {
 *      KEL_ENTITY( QorClient::Status )
 *      KEL_SCALAR( bool, active )
 *      KEL_MAP( Bridging::MacVlanPair, Wirekit::IntfId, warmHost )
 *      KEL_CHILDREN( Kel::String, PolicyFragmentInfo, policyFragmentInfo )
 *   };
 *   KEL_FACTORY( statusFactory, Status )
 *
 * Each line gives the named operations of the attribute and its entry in the type record.
 */

namespace Kel {

class Entity : public Notifier {
 public:
   /** The key under which the entity stands at its parent, in text. */
   virtual std::string keyName() const = 0;
   Entity const * asEntity() const final { return this; }
   /** The path from the root: names of attributes and keys, joined by slashes. */
   std::string fullName() const;
   /** The entity that holds this one; null for a root and for one that was deleted. */
   Entity * parent() const { return parent_; }
   AttributeId parentAttribute() const { return parentAttribute_; }
   /** The name of the parent's attribute that holds this one; empty for a root. */
   char const * parentAttrName() const;

   /** For the attributes: the entity has taken or lost its place. */
   void parentIs( Entity * parent, AttributeId attribute ) {
      parent_ = parent;
      parentAttribute_ = attribute;
   }

   /** The process-wide singleton of a type; null if there is none yet. */
   static Ptr< Entity > singletonExists( std::string_view typeName );
   /** Makes the singleton of a type under a name; the one that exists stays. */
   static Ptr< Entity > singletonIs( TypeRecord const & type, Name const & name );
   /** Forgets all singletons, as the end of the process would. */
   static void singletonsDel();

 private:
   Entity * parent_ = nullptr;  // which holds this one
   AttributeId parentAttribute_ = 0;
};

/** An entity whose key is of type `K`, and which carries it. */
template < class K >
class KeyedEntity : public Entity {
 public:
   using Entity::kelAttribute;
   explicit KeyedEntity( K key ) : key_( std::move( key ) ) {}
   K const & kelKey() const { return key_; }
   std::string keyName() const final { return textOf( key_ ); }

 private:
   K key_;
};

/** An entity whose key is its name. */
class NamedEntity : public KeyedEntity< Name > {
 public:
   using KeyedEntity::KeyedEntity;
   Name name() const { return kelKey(); }
};

/** An entity that the caller holds; it takes its key. */
template < std::derived_from< Entity > T, class... Inputs >
Ptr< T > create( Inputs const &... inputs ) {
   return Ptr< T >( new T( inputs... ) );
}

/** The singleton of a class of named entities, made when it is first asked for. */
template < class T >
Ptr< T > singletonOf( Name const & name ) {
   Ptr< Entity > standing = Entity::singletonExists( T::kelType().name );
   return ptrCast< T >( standing ? standing : Entity::singletonIs( T::kelType(), name ) );
}

}  // namespace Kel

/** Opens an entity class; `Type` is its full name. */
#define KEL_ENTITY( Type ) KEL_ENTITY_OF( Type, ::Kel::NamedEntity )
/** The same for a class that extends another, or that has a key of another type. */
#define KEL_ENTITY_OF( Type, ... )                                         \
 public:                                                                   \
   using KelBase = __VA_ARGS__;                                            \
   KEL_ATTRIBUTES( Type, KelBase )                                         \
   using KelBase::KelBase;                                                 \
   KEL_TYPE_RECORD( Type )                                                 \
                                                                           \
 private:                                                                  \
   static inline bool const kelRegistered = ::Kel::typeNodeIs( &kelType ); \
                                                                           \
 public:

/** The same as KEL_ENTITY and KEL_ENTITY_OF for a class that many source files include: its type
 *  record, which is most of the code, is compiled once, where KEL_SHARED_TYPE stands. */
#define KEL_SHARED_ENTITY( Type ) KEL_SHARED_ENTITY_OF( Type, ::Kel::NamedEntity )
#define KEL_SHARED_ENTITY_OF( Type, ... )              \
 public:                                               \
   using KelBase = __VA_ARGS__;                        \
   KEL_ATTRIBUTES( Type, KelBase )                     \
   using KelBase::KelBase;                             \
   static ::Kel::TypeRecord const & kelType();         \
   ::Kel::TypeRecord const & fwkType() const override; \
                                                       \
 private:                                              \
   static bool const kelRegistered;                    \
                                                       \
 public:
/** The type record of such a class; stands in one source file, outside any namespace. */
#define KEL_SHARED_TYPE( Type )                                                     \
   ::Kel::TypeRecord const & Type::kelType() {                                      \
      static ::Kel::TypeRecord const type{ #Type, &::Kel::attributeRecords< Type >, \
                                           &::Kel::createNamed< Type > };           \
      return type;                                                                  \
   }                                                                                \
   ::Kel::TypeRecord const & Type::fwkType() const {                                \
      return kelType();                                                             \
   }                                                                                \
   bool const Type::kelRegistered = ::Kel::typeNodeIs( &Type::kelType );

/** An accessor that names the key of an entity. */
#define KEL_KEY( Type, keyAttribute ) \
   Type keyAttribute() const {        \
      return kelKey();                \
   }
