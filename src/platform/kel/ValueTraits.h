#pragma once

#include "platform/kel/NeutralForm.h"
#include "platform/kel/String.h"
#include "platform/kel/TextForm.h"
#include "platform/kel/ValueTypes.h"

/*
 * What the generic code needs to know of a value type: its neutral form, its text and its hash.
 *
 * A type is one of: a plain number, boolean or enumeration; a checked number (`Number`, `value()`);
 * a text type (`stringValue()`, `parse()`, and `form`, what `parse` wants, unless any text will
 * do); a record, which lists its fields with KEL_RECORD; a set (`ValueSet`), a map (`ValueMap`) or
 * a `std::array`. A new value type therefore needs no code here.
 */
