#pragma once

#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "platform/kel/Value.h"
#include "scenario/Switch.h"

namespace Scenarios {

struct PatchStep {
   Kel::Value document;
};
struct AdvanceStep {
   Orb::Seconds seconds;
};
struct RestartStep {};
struct CorruptStep {
   struct Row {
      std::string path;
      std::string table;
      std::string key;
   };
   std::vector< Row > rows;
};
struct ExpectStep {
   Kel::Value document;
};
using Step = std::variant< PatchStep, AdvanceStep, RestartStep, CorruptStep, ExpectStep >;

struct Scenario {
   std::string file;
   /** The other agents of the switch; none where the scenario speaks for them itself. */
   std::optional< Simulated::Settings > simulated;
   std::vector< Step > steps;

   // For the tests that play every scenario a second time, with restarts in between.
   /** The steps after which a restart would change the outcome, and why. */
   std::set< std::size_t > noRestartAfter;
   std::string noRestartWhy;
   /** A regular expression (POSIX, extended) for the text with which the process ends. */
   std::optional< std::string > expectDeath;
};

/** Reads a scenario and checks all of it, the documents of its steps included. Throws InputError.
 */
Scenario readScenario( std::string const & file );
/** The same for the document that the file holds. */
Scenario scenarioOf( std::string const & file, Kel::Value const & document );

/** The JSON pointer of a step's action in the scenario's file. */
std::string actionPointer( Scenario const & scenario, std::size_t step );

/** Throws InputError when `expectDeath` is no regular expression. */
void checkDeath( Scenario const & scenario );

/** Plays one step. Should the process be aborted in it, its last line says where that is. Yields
 * what an expectation found otherwise, with pointers inside the scenario's file. Throws InputError
 * for a row to damage that isn't there, a table without room and a time that no clock tells. */
std::vector< Documents::Unmet > playStep( Switch & device, Scenario const & scenario,
                                          std::size_t step );

/** "FILE: pointer: wanted this, found that". */
std::string describe( Scenario const & scenario, Documents::Unmet const & unmet );

}  // namespace Scenarios
