#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "scenario/Scenario.h"

namespace Kill {

/** When a process dies by its own hand: at the n-th operation of its store, counted from 1; 0 for
 *  never. */
using Instant = std::uint64_t;

/** How a process ended. */
enum class Ended { Finished, Killed, Failed };

/** A change of a flow entry; a start counts to the step in which the process before it died. */
struct FlowChange {
   std::uint64_t step;
   bool deleted;
   /** The table's path and the entry's name. */
   std::string entry;
};

/**
 * A scenario that is played in processes which are killed, each of which goes on from the file that
 * the one before has left: it starts the agent on it, and plays the rest beginning with the step in
 * which that one died. Steps that no restart may follow are played without being killed.
 */
class KilledRun {
 public:
   /** `directory` holds the files; it exists and is empty. */
   KilledRun( Scenarios::Scenario const & scenario, std::string const & directory );
   ~KilledRun();
   KilledRun( KilledRun const & ) = delete;
   KilledRun & operator=( KilledRun const & ) = delete;

   /** Starts the scenario anew, on no file. */
   void begin();
   /** One process, which dies at the instant. */
   Ended processUntil( Instant instant );
   /** One process, which is killed after so many microseconds if it has not finished by then. */
   Ended processFor( std::uint32_t microseconds );

   /** The step in which the last process ended. */
   std::uint64_t step() const { return progress_->step; }
   /** The operations of the store in the last process. */
   std::uint64_t operations() const { return progress_->operations; }
   /** The final state, once a process has finished. */
   std::string finalState() const;
   /** What the agents have done to their flow tables since the beginning, in order. */
   std::vector< FlowChange > flowChanges() const;
   /** Why a process failed. */
   std::string failure() const;

 private:
   class Player;
   /** What outlives the processes beside their file. */
   struct Progress {
      std::uint64_t step;
      /** Where the present step's wait ends; negative before the step begins. */
      double waitEnds;
      std::uint64_t operations;
      bool mayDie;
      /** Whether the state before the present step can bear a restart. */
      bool deathBefore;
   };

   template < class Watch >
   Ended process( Instant instant, Watch const & watch );
   [[noreturn]] void child( Instant instant );

   Scenarios::Scenario const & scenario_;
   std::string directory_;
   Progress * progress_;
};

}  // namespace Kill
