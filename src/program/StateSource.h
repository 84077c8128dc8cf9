#pragma once

#include <string>

#include "program/LiveState.h"
#include "scenario/Scenario.h"
#include "scenario/Switch.h"

namespace Program {

/** Where a state comes from, one of the three: the other ones are empty. */
struct StateSource {
   /** A scenario, which is played to its end. */
   std::string scenario;
   /** A state document, or the file in which a run has kept its state. */
   std::string state;
   /** The state as it stands now. */
   LiveOptions live;
};

/** The state, which stands to the end of the process, and whether all expectations of the scenario
 *  were met: those that were not are told on standard error. */
struct OpenedState {
   Corestore::EntityManager const & entityManager;
   bool met = true;
};

/** Throws InputError and Corestore::StoreError. */
OpenedState openState( StateSource const & source );

/** As `readScenario`; of the file in which a run has kept its state it says what that is. */
Scenarios::Scenario openScenario( std::string const & file );

}  // namespace Program
