#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/corestore/EntityManager.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "views/packet/Walk.h"
#include "views/tables/Words.h"

namespace Views {

/** A flow table and what the hardware has of it. */
class RuleTable {
 public:
   /** The rules of the policy, and those for routed traffic. */
   static RuleTable ofPolicy( Corestore::EntityManager const & em );
   static RuleTable ofRoutedPolicy( Corestore::EntityManager const & em );

   struct Rule {
      Kel::Name name;
      OpenFlowTable::FlowEntry entry;
      std::string path;

      bool does( std::uint64_t action ) const { return entry.actions.actionFieldSet & action; }
   };
   using Fits = std::function< bool( Kel::Name const &, OpenFlowTable::FlowEntry const & ) >;
   /** The rule in the hardware that decides: of those that fit the one with the highest priority,
    *  of equal ones the first by name. Tells the steps of those ahead that aren't in the hardware.
    */
   std::optional< Rule > first( OpenFlowTable::TableType type, Fits const & fits,
                                std::vector< Step > & steps ) const;
   OpenFlowTable::PinFlowHwConfig const & config() const { return *config_; }

 private:
   using AnswerOf = HardwareAnswer ( * )( OpenFlowTable::HwStatus const &, Kel::Name const & );
   RuleTable( Corestore::EntityManager const & em, char const * config, char const * hardware,
              AnswerOf answer );

   Kel::Ptr< OpenFlowTable::PinFlowHwConfig const > config_;
   Kel::Ptr< OpenFlowTable::HwStatus const > hardware_;
   AnswerOf answer_;
   std::string path_;
};

}  // namespace Views
