#pragma once

#include "qorclient/flowtable/PinFlowHwConfig.h"

namespace QorClientL3::V1 {

/**
 * The scratch flow table in which a start notes the end points that the configuration wants, to
 * find those in the flow table that are stale. It stays empty where there can be none.
 */
class EndPointCache : public OpenFlowTable::PinFlowHwConfig {
 public:
   EndPointCache( Kel::Name const & name, bool isNeeded )
      : PinFlowHwConfig( name ), isNeeded_( isNeeded ) {}
   bool isNeeded() const { return isNeeded_; }

 private:
   bool const isNeeded_;
};

}  // namespace QorClientL3::V1
