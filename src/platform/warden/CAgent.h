#pragma once

#include "platform/corestore/EntityManager.h"
#include "platform/orb/TaskScheduler.h"

namespace Warden {

/** The base of an agent: the platform makes one by its type's name and calls the two overrides. */
class CAgent : public Corestore::Mounter {
   KEL_ATTRIBUTES( Warden::CAgent, Corestore::Mounter )
   using Mounter::Mounter;

   /** Asks for the agent's mounts. */
   virtual void doInit() = 0;

   Corestore::EntityManager & entityManager() const { return *entityManager_; }
   Kel::Ptr< Orb::TaskScheduler > scheduler() const { return &entityManager_->scheduler(); }

   /** For the platform, before `doInit`. */
   void entityManagerIs( Kel::Ptr< Corestore::EntityManager > em ) { entityManager_ = em; }

 private:
   Kel::Ptr< Corestore::EntityManager > entityManager_;
};

/** Makes the agent of that type and name and lets it ask for its mounts. Throws
 *  Kel::NoTypeNodeException when there is no such agent class. */
Kel::Ptr< CAgent > startAgent( std::string_view typeName, Kel::Name const & name,
                               Kel::Ptr< Corestore::EntityManager > const & em );

}  // namespace Warden
