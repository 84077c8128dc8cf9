#pragma once

#include "platform/slab/Table.h"
#include "records/bridging/MacVlanPair.h"
#include "records/l2rib/Host.h"

namespace L2Rib {

/** The rows of a table that nobody gives another size. */
inline constexpr std::uint32_t hostTableRows = 16384;

/** The hosts that one source feeds into the L2 RIB, in shared memory. */
class HostInput : public Slab::TableEntity {
   KEL_ENTITY_OF( L2Rib::HostInput, ::Slab::TableEntity )
   KEL_SLAB_TABLE( Bridging::MacVlanPair, Host, host, hostTableRows )

   /** Writes a host under its own key; one that is equal but for its time changes nothing. */
   void hostIs( Host const & row ) { hostIs( row.key, row ); }
};
KEL_FACTORY( hostInputFactory, HostInput )

}  // namespace L2Rib
