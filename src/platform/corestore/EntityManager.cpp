#include "platform/corestore/EntityManager.h"

#include "platform/corestore/EntityRows.h"
#include "platform/kel/StandardError.h"

namespace Corestore {

void MountGroup::doClose( bool, Kel::String const &, double ) {
   em_.scheduler().post(
      [group = Kel::Ptr< MountGroup >( this ), em = Kel::Ptr< EntityManager >( &em_ )] {
         MountStatus status = MountStatus::mountSuccess_;
         for ( Mount const & mount : group->mounts_ ) {
            MountStatus one = em->mount( mount );
            status = one == MountStatus::mountSuccess_ ? status : one;
         }
         group->mounter_->doMountsComplete( status, em );
      } );
}

EntityManager::EntityManager( Kel::Ptr< Orb::TaskScheduler > scheduler, Store * store )
   : scheduler_( std::move( scheduler ) ), store_( store ) {
   if ( store_ ) {
      loadFrom( *store_ );
   }
   sinkIs();
}

EntityManager::~EntityManager() {
   if ( Kel::Notifier::changeSink() == this ) {
      Kel::Notifier::changeSinkIs( nullptr );
   }
}

void EntityManager::sinkIs() {
   if ( store_ || observer_ ) {
      Kel::Notifier::changeSinkIs( this );
   } else if ( Kel::Notifier::changeSink() == this ) {
      Kel::Notifier::changeSinkIs( nullptr );
   }
}

void EntityManager::changeObserverIs( std::function< void( Change const & ) > observer ) {
   observer_ = std::move( observer );
   sinkIs();
}

Kel::Ptr< MountGroup > EntityManager::getMountGroup( Kel::Ptr< Mounter > const & mounter ) {
   return new MountGroup( *this, *mounter );
}

MountStatus EntityManager::mount( Mount const & mount ) {
   mounts_[mount.path] = mount;
   return entityIs( mount.path, mount.type ) ? MountStatus::mountSuccess_
                                             : MountStatus::mountTypeMismatch_;
}

Kel::Ptr< Kel::Entity const > EntityManager::getEntity( std::string_view path ) const {
   return standing( path );
}

Kel::Ptr< Kel::Entity > EntityManager::standing( std::string_view path ) const {
   auto found = entities_.find( path );
   return found == entities_.end() ? nullptr : found->second;
}

Kel::Ptr< Kel::Entity > EntityManager::getWritableEntity( std::string_view path ) const {
   return isMountedForWrite( path ) ? standing( path ) : nullptr;
}

bool EntityManager::isMountedForWrite( std::string_view path ) const {
   auto mount = mounts_.find( path );
   return mount != mounts_.end() && mount->second.isWrite();
}

Kel::Ptr< Kel::Entity > EntityManager::entityIs( std::string_view path, std::string_view type ) {
   if ( auto found = entities_.find( path ); found != entities_.end() ) {
      return found->second->fwkType().name == type ? found->second : nullptr;
   }
   Kel::TypeRecord const * record = Kel::typeNode( type );
   Kel::Ptr< Kel::Entity > fresh = record ? record->create( Kel::Name( path ) ) : nullptr;
   if ( fresh ) {
      entities_.emplace( path, fresh );
      if ( store_ ) {
         store_->put( { "", "", std::string( path ), record->name } );
      }
   }
   return fresh;
}

void EntityManager::saveTo( Store & store ) const {
   for ( auto const & [path, entity] : entities_ ) {
      store.put( { "", "", path, entity->fwkType().name } );
      forEachRow( *entity, path, [&store]( Row const & row ) { store.put( row ); } );
   }
   store.flush();
}

void EntityManager::loadFrom( Store & store ) {
   // Entities by their paths in the store, so that a row finds its own at once.
   std::map< std::string, Kel::Ptr< Kel::Entity >, std::less<> > byPath;
   auto load = [&]( Row const & row ) {
      if ( row.path.empty() ) {
         Kel::TypeRecord const * type = Kel::typeNode( row.value );
         Kel::Ptr< Kel::Entity > root = type ? type->create( Kel::Name( row.key ) ) : nullptr;
         if ( !root ) {
            throw Kel::ValueError( "unknown type " + Kel::shownName( row.value ) );
         }
         entities_.emplace( row.key, root );
         byPath.emplace( row.key, root );
         return;
      }
      auto entity = byPath.find( row.path );
      if ( entity == byPath.end() ) {
         throw Kel::ValueError( "stands without its entity" );
      }
      applyRow( *entity->second, row );
      Kel::AttributeRecord const * attribute = entity->second->fwkType().attribute( row.attribute );
      if ( Kel::Ptr< Kel::Entity > child = attribute->child( *entity->second, row.key ) ) {
         byPath.emplace( row.path + Kel::pointerStep( row.attribute ) + Kel::pointerStep( row.key ),
                         child );
      }
   };
   store.load( [&]( Row const & row ) {
      auto const at = [&row]( Kel::ValueError error ) {
         for ( std::string const * part : { &row.key, &row.attribute, &row.path } ) {
            error = part->empty() ? error : error.below( *part );
         }
         return error;
      };
      try {
         load( row );
      } catch ( Kel::ValueError const & e ) {
         throw at( e );
      } catch ( std::runtime_error const & e ) {
         // A table has no room for the row, or its type is not made by name.
         throw at( Kel::ValueError( e.what() ) );
      }
   } );
}

EntityManager::Entities::const_iterator EntityManager::rootOf( Kel::Entity const & entity ) const {
   Kel::Entity const * root = &entity;
   while ( root->parent() ) {
      root = root->parent();
   }
   auto const found = entities_.find( root->keyName() );
   return found != entities_.end() && found->second.ptr() == root ? found : entities_.end();
}

void EntityManager::save() {
   if ( store_ ) {
      unsaved_.writeTo( *store_, [this]( Kel::Entity const & entity ) {
         return rootOf( entity ) != entities_.end();
      } );
      store_->flush();
   }
}

void EntityManager::rowDamaged( Kel::Entity const & table, Kel::AttributeRecord const & attribute,
                                std::string const & key ) {
   if ( store_ ) {
      unsaved_.addAbsent( table, attribute, key );
   }
}

void EntityManager::changed( Kel::Notifier const & notifier, Kel::AttributeId id,
                             void const * key ) {
   auto const * entity = dynamic_cast< Kel::Entity const * >( &notifier );
   if ( !entity ) {
      return;
   }
   auto const root = rootOf( *entity );
   if ( root == entities_.end() ) {
      return;
   }
   Kel::AttributeRecord const & attribute = *notifier.fwkType().attributes()[id];
   if ( store_ ) {
      unsaved_.add( *entity, attribute, key );
   }
   if ( observer_ ) {
      observer_( { *entity, root->first, attribute, key } );
   }
}

}  // namespace Corestore
