#pragma once

#include "platform/kel/Entity.h"

namespace Kel {

/** A directory of named entities. */
class Dir : public NamedEntity {
   KEL_ATTRIBUTES( Kel::Dir, ::Kel::NamedEntity )
   using NamedEntity::NamedEntity;
   KEL_TYPE_RECORD( Kel::Dir )

   KEL_NEXT_ATTRIBUTE( entityId )
   using Kel_entity = AttributeTag< entityId, Name >;
   class EntityRecord;
   static EntityRecord kelAttribute( Index< entityId > );

   /** Null when absent. */
   Ptr< Entity > entity( Name const & name ) const;
   MemberWalk< HashMap2018< Name, Ptr< Entity > > > entity() const { return { this, entities_ }; }
   bool entityHas( Name const & name ) const { return entities_.has( name ); }
   std::size_t entityCount() const { return entities_.size(); }

   /**
    * Makes an entity of a registered type; one that stands under the name stays and is returned.
    * Throws NoTypeNodeException when the type is not registered. `prepare` sees a new entity
    * before it is announced.
    */
   Ptr< Entity > createEntity( Name const & typeName, Name const & name,
                               std::function< void( Entity & ) > const & prepare = {} );
   /** Does nothing when there is no such entity. */
   void deleteEntity( Name const & name );

   ~Dir() override;

 private:
   static inline bool const kelRegistered = typeNodeIs( &kelType );

   HashMap2018< Name, Ptr< Entity > > entities_;
};

class Dir::EntityRecord final : public AttributeRecord {
 public:
   EntityRecord() : AttributeRecord( "entity", AttributeKind::Directory ) {}
   std::string keyText( void const * key ) const override;
   bool has( Notifier const & notifier, void const * key ) const override;
   std::vector< std::string > keys( Notifier const & notifier ) const override;
   Ptr< Entity > child( Notifier const & notifier, std::string_view key ) const override;
   Ptr< Entity > childIs( Notifier & notifier, std::string_view key, TypeRecord const * type,
                          std::function< void( Entity & ) > const & prepare ) const override;
   void childDel( Notifier & notifier, std::string_view key ) const override;
};

}  // namespace Kel
