#include "views/packet/RuleTable.h"

#include <algorithm>

#include "records/catalog/Catalog.h"
#include "views/packet/Ports.h"

namespace Views {

RuleTable::RuleTable( Corestore::EntityManager const & em, char const * config,
                      char const * hardware, AnswerOf answer )
   : config_( em.entity< OpenFlowTable::PinFlowHwConfig >( Catalog::pathOf( config ) ) ),
     hardware_( em.entity< OpenFlowTable::HwStatus >( Catalog::pathOf( hardware ) ) ),
     answer_( answer ),
     path_( Catalog::pathOf( config ) ) {}

RuleTable RuleTable::ofPolicy( Corestore::EntityManager const & em ) {
   return { em, "pfHwConfig", "pfHwStatus", policyAnswer };
}

RuleTable RuleTable::ofRoutedPolicy( Corestore::EntityManager const & em ) {
   return { em, "pfHwConfigL3", "pfHwStatusL3", routedAnswer };
}

std::optional< RuleTable::Rule > RuleTable::first( OpenFlowTable::TableType type, Fits const & fits,
                                                   std::vector< Step > & steps ) const {
   std::vector< std::pair< Kel::Name, OpenFlowTable::Priority > > fitting;
   for ( auto const & rule : config_->flowEntry() ) {
      if ( rule.value.tableType == type && fits( rule.key, rule.value ) ) {
         fitting.emplace_back( rule.key, rule.value.priority );
      }
   }
   std::ranges::sort( fitting, []( auto const & a, auto const & b ) {
      return a.second != b.second ? a.second > b.second : a.first < b.first;
   } );
   for ( auto const & [name, priority] : fitting ) {
      std::string const path = pathOfKey( path_, "flowEntry", name );
      HardwareAnswer const answer = answer_( *hardware_, name );
      if ( answer.kind == HardwareAnswer::Kind::programmed ) {
         return Rule{ name, config_->flowEntry( name ), path };
      }
      steps.push_back( { Step::Kind::inactive, name.stringValue() + ": " + answer.words, path } );
   }
   return std::nullopt;
}

}  // namespace Views
