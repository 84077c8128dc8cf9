#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "documents/StateExpect.h"
#include "documents/StatePatch.h"
#include "platform/corestore/EntityManager.h"
#include "platform/warden/CAgent.h"
#include "scenario/Clock.h"
#include "scenario/simulated/SwitchAgents.h"

namespace Scenarios {

/** A change that the agent made to one of its outputs. */
struct OutputChange {
   /** The entity's path; for a nested one that of its root, then attribute and key of each level.
    */
   std::string path;
   char const * attribute;
   /** Nothing for an attribute without keys. */
   std::optional< std::string > key;
   /** What stands now; null for what was deleted. */
   Kel::Value value;
   bool deleted;
};

/**
 * A switch in small: state database, shared tables, scheduler on a virtual clock, and the agent.
 * All operations return when no task is ready any more; time stands still but for `advance`. They
 * throw Corestore::StoreError when the state cannot be saved.
 *
 * The agent's own failures are not caught here. Since an agent uses singletons of its process, one
 * switch stands at a time.
 */
class Switch {
 public:
   enum class With { Agent, StateAlone };
   struct Setup {
      With with = With::Agent;
      /** As below; it is told of the agent's first writes too. */
      std::function< void( OutputChange const & ) > observer = {};
      /** The other agents of the switch, which answer this one; none for a switch that is all
       *  patched by hand. */
      std::optional< Simulated::Settings > simulated = {};
      /** What the state begins with, where there is no `store`; read by the constructor alone. */
      Corestore::Store * initial = nullptr;
      /** Where the state is kept beyond the life of the switch; it is saved at the end of each
       *  turn. Not owned; null to keep it in memory. */
      Corestore::Store * store = nullptr;
   };

   /** Throws Corestore::StoreError and, as it loads the store, Kel::ValueError. */
   explicit Switch( Setup setup );
   Switch() : Switch( Setup{} ) {}
   ~Switch();
   Switch( Switch const & ) = delete;
   Switch & operator=( Switch const & ) = delete;

   /** Checks a state document and applies it as a merge patch. Throws Kel::ValueError, with nothing
    *  changed, when it does not fit. */
   void patch( Kel::Value const & document );
   /** Moves the clock; timers fire in order on the way. Throws Kel::ValueError, with nothing
    *  changed, for a time that no clock tells. */
   void advance( Orb::Seconds seconds );
   /** Kills the agent and starts a new one on the state as it was saved; the clock goes on. */
   void restart();
   /** Damages a row of a table that `checkRow` has let pass; false when there is no such row. */
   bool corrupt( std::string const & path, std::string const & table, std::string const & key );

   /** Where in its document a patch is at work, as a JSON pointer; empty outside of one. */
   std::string place() const;

   /** What a checked document names and does not stand so. */
   std::vector< Documents::Unmet > expect( Kel::Value const & document ) const;
   /** The state as a document. */
   Kel::Value dump() const;

   /** Told of each change that the agent makes to its outputs from now on, restarts included, in
    *  order. Empty for none. */
   void outputObserverIs( std::function< void( OutputChange const & ) > observer );

   Corestore::EntityManager & entityManager() const { return *em_; }
   Orb::TaskScheduler & scheduler() const { return *scheduler_; }

   /** The entity at a path of the mount plan, to read. */
   template < class T >
   Kel::Ptr< T const > entity( std::string_view path ) const {
      return em_->entity< T >( path );
   }

 private:
   /** `state` is what a switch without a store begins with. */
   void start( Corestore::Store * state );
   void stop();
   void endTurn();
   void observe();
   void mutate( std::function< void() > const & mutator );

   Setup setup_;
   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   Kel::Ptr< Corestore::EntityManager > em_;
   Kel::Ptr< Clock > clock_;
   Kel::Ptr< Warden::CAgent > agent_;
   std::optional< Simulated::SwitchAgents > simulated_;
   Documents::Place place_;
   std::optional< Corestore::ChangeObserver > observer_;
};

}  // namespace Scenarios
