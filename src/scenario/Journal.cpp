#include "scenario/Journal.h"

#include "platform/corestore/ValueText.h"

namespace Scenarios {

std::string journalLine( std::int64_t step, OutputChange const & change ) {
   Kel::Value::Object line{
      { "step", step }, { "path", change.path }, { "attribute", change.attribute } };
   if ( change.key ) {
      line.emplace_back( "key", *change.key );
   }
   line.emplace_back( "op", change.deleted ? "del" : "set" );
   line.emplace_back( "value", change.value );
   return Corestore::jsonLine( line );
}

}  // namespace Scenarios
