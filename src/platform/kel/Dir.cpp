#include "platform/kel/Dir.h"

namespace Kel {

Dir::EntityRecord Dir::kelAttribute( Index< entityId > ) {
   return {};
}

Dir::~Dir() {
   for ( auto const & [name, entity] :
         MemberWalk< HashMap2018< Name, Ptr< Entity > > >( nullptr, entities_ ) ) {
      entity->parentIs( nullptr, 0 );
   }
}

Ptr< Entity > Dir::entity( Name const & name ) const {
   Ptr< Entity > const * found = entities_.find( name );
   return found ? *found : nullptr;
}

Ptr< Entity > Dir::createEntity( Name const & typeName, Name const & name,
                                 std::function< void( Entity & ) > const & prepare ) {
   TypeRecord const * const type = typeNode( typeName );
   Ptr< Entity > standing = entity( name );
   Ptr< Entity > fresh = type && !standing ? type->create( name ) : nullptr;
   if ( !type || ( !standing && !fresh ) ) {
      throw NoTypeNodeException( "unable to find type " + typeName.stringValue() +
                                 " to create entity" );
   }
   if ( standing ) {
      return standing;
   }
   if ( prepare ) {
      prepare( *fresh );
   }
   fresh->parentIs( this, entityId );
   entities_.set( name, fresh );
   Name const key = name;
   notify( entityId, &key );
   return fresh;
}

void Dir::deleteEntity( Name const & name ) {
   Name const key = name;
   if ( Ptr< Entity > old = entities_.take( key ).value_or( nullptr ) ) {
      old->parentIs( nullptr, 0 );
      notify( entityId, &key );
   }
}

std::string Dir::EntityRecord::keyText( void const * key ) const {
   return static_cast< Name const * >( key )->stringValue();
}

bool Dir::EntityRecord::has( Notifier const & notifier, void const * key ) const {
   return static_cast< Dir const & >( notifier ).entity( *static_cast< Name const * >( key ) ) !=
          nullptr;
}

std::vector< std::string > Dir::EntityRecord::keys( Notifier const & notifier ) const {
   std::vector< std::string > names;
   for ( auto const & [name, entity] : static_cast< Dir const & >( notifier ).entity() ) {
      names.push_back( name.stringValue() );
   }
   return names;
}

Ptr< Entity > Dir::EntityRecord::child( Notifier const & notifier, std::string_view key ) const {
   return static_cast< Dir const & >( notifier ).entity( Name( key ) );
}

Ptr< Entity > Dir::EntityRecord::childIs(
   Notifier & notifier, std::string_view key, TypeRecord const * type,
   std::function< void( Entity & ) > const & prepare ) const {
   return static_cast< Dir & >( notifier ).createEntity( type->name, Name( key ), prepare );
}

void Dir::EntityRecord::childDel( Notifier & notifier, std::string_view key ) const {
   static_cast< Dir & >( notifier ).deleteEntity( Name( key ) );
}

}  // namespace Kel
