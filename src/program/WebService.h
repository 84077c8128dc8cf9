#pragma once

#include <string>
#include <vector>

#include "program/LiveState.h"

namespace Program {

struct WebOptions {
   LiveOptions live;
   /** As Redis::addressOf reads it. */
   std::string listen = "127.0.0.1:8080";
   /** Further names by which the page is reached. */
   std::vector< std::string > names;
   /** A file whose first line everyone has to know; empty for none. */
   std::string tokenFile;
   std::string logFormat = "text";
   /** The command line as it was given. */
   char const * const * words = nullptr;
};

/** Serves the page of a switch until SIGTERM or SIGINT, and yields the exit code. It only reads.
 *  Throws InputError for a token that is none, and std::system_error for an address that cannot be
 *  had. */
int serveWeb( WebOptions const & options );

}  // namespace Program
