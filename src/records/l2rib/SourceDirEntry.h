#pragma once

#include <cstdint>

#include "platform/kel/Entity.h"

namespace L2Rib {

/** Who feeds the L2 RIB. */
enum class Source : std::uint32_t { none = 0, qor = 256 };

/** Tells the L2 RIB of a table of hosts. */
class SourceDirEntry : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( L2Rib::SourceDirEntry )
   KEL_SCALAR( Kel::String, hostTableSlabPath )
   /** Rows. */
   KEL_SCALAR( std::uint32_t, hostTableLen )
   KEL_SCALAR( Source, source )
   /** Set last: the other attributes are valid. */
   KEL_SCALAR( bool, initialized )
};
KEL_FACTORY( sourceDirEntryFactory, SourceDirEntry )

}  // namespace L2Rib
