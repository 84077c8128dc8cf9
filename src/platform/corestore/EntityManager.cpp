#include "platform/corestore/EntityManager.h"

#include <algorithm>
#include <utility>

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
      // What others change is applied as one turn, saved and told at its end.
      store_->arrivalsTo( [this]( std::vector< RowChange > changes ) {
         scheduler_->post( [em = Kel::Ptr< EntityManager >( this ),
                            changes = std::move( changes )] { em->arrived( changes ); } );
      } );
   }
   sinkIs();
}

EntityManager::~EntityManager() {
   if ( store_ ) {
      store_->arrivalsTo( {} );
   }
   if ( Kel::Notifier::changeSink() == this ) {
      Kel::Notifier::changeSinkIs( nullptr );
   }
}

void EntityManager::sinkIs() {
   if ( store_ || !observers_.empty() ) {
      Kel::Notifier::changeSinkIs( this );
   } else if ( Kel::Notifier::changeSink() == this ) {
      Kel::Notifier::changeSinkIs( nullptr );
   }
}

ChangeObserver::ChangeObserver( EntityManager & em, std::function< void( Change const & ) > seen )
   : em_( em ), seen_( std::move( seen ) ) {
   em_.observers_.push_back( this );
   em_.sinkIs();
}

ChangeObserver::~ChangeObserver() {
   if ( em_.walks_ != 0 ) {
      std::ranges::replace( em_.observers_, this, nullptr );
   } else {
      std::erase( em_.observers_, this );
   }
   em_.sinkIs();
}

void EntityManager::tellObservers( Change const & change ) {
   ++walks_;
   // One that comes meanwhile sees later changes alone.
   for ( std::size_t i = 0, end = observers_.size(); i != end; ++i ) {
      if ( observers_[i] ) {
         observers_[i]->seen_( change );
      }
   }
   if ( --walks_ == 0 ) {
      std::erase( observers_, nullptr );
   }
}

void EntityManager::byHand( std::string_view writer, std::function< void() > const & mutator ) {
   hand_ = writer;
   try {
      mutator();
   } catch ( ... ) {
      hand_ = {};
      throw;
   }
   hand_ = {};
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

void EntityManager::arrived( std::vector< RowChange > const & changes ) {
   for ( RowChange const & change : changes ) {
      try {
         byHand( others, [&] { applyArrival( change ); } );
      } catch ( std::runtime_error const & e ) {
         // The text of a value that does not fit, or of a table without room.
         store_->refused( change, e.what() );
      }
   }
}

void EntityManager::applyArrival( RowChange const & change ) {
   std::string const & path = change.row.path;
   auto root = entities_.upper_bound( path );
   Kel::Ptr< Kel::Entity > entity;
   // Paths of roots hold slashes themselves; the longest that begins the row's own is its root.
   while ( !entity && root != entities_.begin() ) {
      --root;
      std::string const & start = root->first;
      if ( path.starts_with( start ) &&
           ( path.size() == start.size() || path[start.size()] == '/' ) ) {
         entity = entityAt( root->second, path );
      }
   }
   if ( !entity ) {
      throw Kel::ValueError( "stands without its entity" );
   }
   if ( change.deleted ) {
      deleteRow( *entity, change.row );
   } else {
      applyRow( *entity, change.row );
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
   std::string_view writer = std::exchange( hand_, {} );
   // What has come through the store stands there already.
   if ( store_ && writer.data() != others.data() ) {
      unsaved_.add( *entity, attribute, key );
   }
   if ( !observers_.empty() ) {
      if ( writer.empty() && isMountedForWrite( root->first ) ) {
         writer = agent;
      }
      tellObservers( { *entity, root->first, attribute, key, writer } );
   }
}

}  // namespace Corestore
