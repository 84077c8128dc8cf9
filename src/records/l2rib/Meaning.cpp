#include "records/catalog/Meaning.h"
#include "records/l2rib/HostInput.h"
#include "records/l2rib/SourceDirEntry.h"

namespace Catalog {

namespace {

bool const known = meaningsAre( [] {
   return Meanings{
      meaningOf< L2Rib::HostInput >(
         "The hosts that one source feeds into the L2 RIB, in shared memory",
         { { "host", "the hosts" } } ),
      meaningOf< L2Rib::Host >(
         "A host that is offered to the L2 RIB",
         { { "key", "the host" },
           { "hostType", "the kind of the host; the agent writes 16" },
           { "destType", "the kind of its place; 2 is an interface of this switch" },
           { "preference", "which of several offers wins" },
           { "moveCount", "a serial number that wraps" },
           { "updateTime", "seconds of the agent's clock at the write" },
           { "ciDest", "the place" } } ),
      meaningOf< L2Rib::CiDest >( "A place behind an interface of this switch",
                                  { { "intfId", "the interface" } } ),
      meaningOf< L2Rib::SourceDirEntry >( "Tells the L2 RIB of a table of hosts",
                                          { { "hostTableSlabPath", "the path of the table" },
                                            { "hostTableLen", "its rows" },
                                            { "source", "who fills it" },
                                            { "initialized", "set last: the rest is valid" } } ),
      numbersOf< L2Rib::Source >( "Who feeds the L2 RIB",
                                  { number( L2Rib::Source::none, "none", "nobody" ),
                                    number( L2Rib::Source::qor, "qor", "the agent" ) } ),
   };
} );

}  // namespace

}  // namespace Catalog
