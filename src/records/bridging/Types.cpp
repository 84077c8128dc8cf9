#include "records/bridging/AllowedVlans.h"
#include "records/bridging/Config.h"
#include "records/bridging/SwitchIntfConfig.h"

KEL_SHARED_TYPE( Bridging::Input::TrunkGroup )
KEL_SHARED_TYPE( Bridging::Input::AllowedVlans )
KEL_SHARED_TYPE( Bridging::VlanConfig )
KEL_SHARED_TYPE( Bridging::Config )
KEL_SHARED_TYPE( Bridging::Input::SwitchIntfConfig )
KEL_SHARED_TYPE( Bridging::SwitchIntfConfigDir )
