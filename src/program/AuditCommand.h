#pragma once

#include "program/LiveState.h"

namespace Program {

struct AuditOptions {
   LiveOptions live;
   bool json = false;
   /** Take out what nothing wants, after asking unless `sure`. */
   bool remove = false;
   bool sure = false;
};

/** Says what stands in the live state and should not, what is missing in it, and who works on it.
 *  Yields 1 when something is found, 0 otherwise. Throws Corestore::StoreError. */
int auditState( AuditOptions const & options );

}  // namespace Program
