#pragma once

#include <ostream>
#include <string>

#include "platform/kel/ValueTraits.h"

namespace OpenFlowTable {

/** Prints the mask of a record, in hexadecimal, and the fields whose bit is set. */
template < class Record >
void printMasked( std::ostream & out, Record const & record ) {
   auto const flags = out.flags();
   out << "mask 0x" << std::hex << record.kelMask();
   out.flags( flags );
   Kel::forEachField< Record >( [&]( auto const & field ) {
      if ( record.kelMask() & field.maskBit ) {
         out << ' ' << field.name << ' ' << Kel::textOf( record.*field.member );
      }
   } );
}

}  // namespace OpenFlowTable
