#pragma once

#include "program/WebService.h"

namespace Program {

/** Becomes the program of the page, "qorclient-web" beside this one, with the same words: only it
 *  needs the HTTP library, and what that loads. Throws InputError when it isn't there. */
int startWeb( WebOptions const & options );

}  // namespace Program
