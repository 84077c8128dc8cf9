#pragma once

#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/corestore/EntityRows.h"
#include "platform/corestore/PendingChanges.h"
#include "platform/corestore/Store.h"
#include "platform/kel/Entity.h"
#include "platform/orb/TaskScheduler.h"

/*
 * The central state database: entities at fixed paths. An agent asks for those that it needs in a
 * mount group; the entities outlive it.
 */

namespace Corestore {

class EntityManager;

/** What became of a closed group. Here a mount succeeds or meets an entity of another type; the
 *  other two belong to the real database. */
enum class MountStatus {
   mountPending_ = 1,
   mountDenied_ = 2,
   mountTypeMismatch_ = 3,
   mountSuccess_ = 4
};

/** One wanted entity. Mode: "r" read, "w" write; "i" and "c" ask for a directory's entries and for
 *  an entity that the writer fills. */
struct Mount {
   std::string path;
   std::string type;
   std::string mode;

   bool isWrite() const { return mode.starts_with( 'w' ); }
};

/** Whoever mounts; told once its closed group is complete. */
class Mounter : public Kel::NamedEntity {
   KEL_ATTRIBUTES( Corestore::Mounter, ::Kel::NamedEntity )
   using NamedEntity::NamedEntity;
   virtual void doMountsComplete( MountStatus status, Kel::Ptr< EntityManager > em ) = 0;
};

/** What one mounter asks for, and is told of in one call. */
class MountGroup : public Kel::PtrInterface {
 public:
   MountGroup( EntityManager & em, Mounter & mounter ) : em_( em ), mounter_( &mounter ) {}

   void doMount( Mount const & mount ) { mounts_.push_back( mount ); }
   /** Ends the group and starts the mounting, which completes in a later turn of the scheduler.
    *  The arguments belong to the real database's protocol; here nothing hangs on them. */
   void doClose( bool oneShot, Kel::String const & tag, double timeout );

 private:
   EntityManager & em_;
   Kel::Ptr< Mounter > mounter_;
   std::vector< Mount > mounts_;
};

/** A change of an entity that the manager owns, or of one below it. */
struct Change {
   Kel::Entity const & entity;
   /** The path at which the entity's root is mounted. */
   std::string const & rootPath;
   Kel::AttributeRecord const & attribute;
   /** Null for an attribute without keys. */
   void const * key;
   /** Who made it: `EntityManager::agent` for what the agent writes to its outputs, the name of a
    *  hand that `byHand` was given; empty where it is not known. */
   std::string_view writer;
};

class EntityManager;

/** Sees every change of a manager's entities, before the agents do, for as long as it lives, which
 *  is not longer than the manager. Of several the oldest comes first. */
class ChangeObserver {
 public:
   ChangeObserver( EntityManager & em, std::function< void( Change const & ) > seen );
   ~ChangeObserver();
   ChangeObserver( ChangeObserver const & ) = delete;
   ChangeObserver & operator=( ChangeObserver const & ) = delete;

 private:
   friend class EntityManager;
   EntityManager & em_;
   std::function< void( Change const & ) > seen_;
};

class EntityManager : public Kel::PtrInterface, public RowHolder, private Kel::ChangeSink {
 public:
   explicit EntityManager( Kel::Ptr< Orb::TaskScheduler > scheduler );

   /** From now on the state is kept by a store, which is not owned and may be null: what it holds
    * is loaded into the roots, which stand already, and what changes later is written to it by
    * `save`. Throws as `loadFrom`. */
   void storeIs( Store * store );

   Kel::Ptr< MountGroup > getMountGroup( Kel::Ptr< Mounter > const & mounter );

   /** The entity at a path, to read; null when there is none. */
   Kel::Ptr< Kel::Entity const > getEntity( std::string_view path ) const;
   /** The same by its class; null when it is of another. */
   template < class T >
   Kel::Ptr< T const > entity( std::string_view path ) const {
      return Kel::ptrCast< T const >( getEntity( path ) );
   }
   /** The entity at a path, whatever its mount; for the platform's own side. Null when there is
    *  none. */
   Kel::Ptr< Kel::Entity > standing( std::string_view path ) const;
   /** The entity at a path, for a writer; null when there is none or it is mounted to be read. */
   Kel::Ptr< Kel::Entity > getWritableEntity( std::string_view path ) const;

   /** Makes the entity at a path; one of that type that stands already stays. Null when an entity
    *  of another type stands there or the type is unknown. */
   Kel::Ptr< Kel::Entity > entityIs( std::string_view path, std::string_view type );
   /** The same for a root whose rows are made up in some way. */
   Kel::Ptr< Kel::Entity > entityIs( std::string_view path, std::string_view type,
                                     RootRows const & rows );
   /** All entities, in order of their paths. */
   using Entities = std::map< std::string, Kel::Ptr< Kel::Entity >, std::less<> >;
   Entities const & entities() const { return entities_; }
   /** Whether an agent mounted the path to write it. */
   bool isMountedForWrite( std::string_view path ) const;

   /** The writer of what the agent writes. */
   static constexpr std::string_view agent = "agent";
   /** The writer of what has come through the store. */
   static constexpr std::string_view others = "others";
   /** Runs a mutator on behalf of someone, whose name must live as long: the first change is
    * theirs, and what follows from it is the agents'. */
   void byHand( std::string_view writer, std::function< void() > const & mutator );

   /** Brings the store up to date, in one step for whoever reads it, unless it takes nothing now.
    *  Throws what the store throws, which then holds what it held. */
   void save();

   /** A row of a table that was damaged, of which no notification tells: it is not saved. */
   void rowDamaged( Kel::Entity const & table, Kel::AttributeRecord const & attribute,
                    std::string const & key );

   /** Adds what a store holds to the roots, which stand already; it is not kept up to date after
    *  that. What does not fit goes to `Store::refused`, and throws what that throws. */
   void loadFrom( Store & store );
   /** Writes everything that stands into a store, collections in their order. */
   void saveTo( Store & store ) const;

   RowForm formOf( std::string_view path ) const override;
   void arrived( std::vector< RowChange > changes ) override;
   void forEachRow( std::function< void( Row const & ) > const & row ) const override;
   /** The path of the row that others have changed and that is being applied, or that has come
    * alone and has given tasks to do; empty for none. */
   std::string const & arriving() const { return arriving_; }

   Orb::TaskScheduler & scheduler() const { return *scheduler_; }

   /** For mount groups. */
   MountStatus mount( Mount const & mount );

 protected:
   ~EntityManager() override;

 private:
   friend class ChangeObserver;

   /** Applies a row that has come from a store, or is gone there; one that does not fit is given
    *  back to it. */
   void apply( Row const & row, bool deleted, Store & store, Mutate const & mutate );
   /** Throws Kel::ValueError where no row can stand. */
   RowPlace placeOf( std::string_view path ) const;
   RootRows const & rowsOf( std::string_view rootPath ) const;
   void tellObservers( Change const & change );
   void changed( Kel::Notifier const & notifier, Kel::AttributeId id, void const * key ) override;
   void sinkIs();
   /** Where the entity's root stands; the end for one that has no place here. */
   Entities::const_iterator rootOf( Kel::Entity const & entity ) const;
   /** The root that a row's path belongs to; the end for none. */
   Entities::const_iterator rootAbove( std::string_view path ) const;

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   /** The caller's; null for state that lives in memory alone. */
   Store * store_ = nullptr;
   PendingChanges unsaved_;
   std::string arriving_;
   Entities entities_;
   std::unordered_map< Kel::Entity const *, Entities::const_iterator > places_;
   /** The root of the row that was placed last, if no other root stands below it. */
   mutable Entities::const_iterator lastRoot_ = entities_.end();
   /** Of those roots of whose rows more is known than their type tells. */
   std::map< std::string, RootRows, std::less<> > rootRows_;
   std::map< std::string, Mount, std::less<> > mounts_;
   /** Null for one that went while the list was walked. */
   std::vector< ChangeObserver * > observers_;
   int walks_ = 0;
   /** Whose the next change is. */
   std::string_view hand_;
};

}  // namespace Corestore
