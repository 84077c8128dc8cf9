#pragma once

#include <functional>
#include <map>
#include <string>

#include "platform/kel/Value.h"

namespace Web {

/** What a client asks for. Its texts may hold anything. */
struct Request {
   std::string method = "GET";
   std::string path = {};
   /** Of several of one name the first. */
   std::map< std::string, std::string, std::less<> > query = {};
   /** Headers; empty where they are not sent. */
   std::string host = {};
   std::string origin = {};
   std::string authorization = {};

   /** Empty for one that isn't there. */
   std::string of( std::string_view name ) const {
      auto const found = query.find( name );
      return found == query.end() ? std::string() : found->second;
   }
};

/** What it gets. */
struct Answer {
   unsigned status = 200;
   std::string type = "application/json";
   std::string body = {};
   /** A stream of events, which begins with the body and has no end. */
   bool isStream = false;
   /** A header that goes with the status; empty for none. */
   std::string header = {};
   std::string headerText = {};
};

/** A value as JSON. Whatever bytes its texts have, the answer is UTF-8. */
Answer jsonAnswer( Kel::Value const & value );
/** The same for what cannot be answered: `{ "error": WORDS }`. */
Answer errorAnswer( unsigned status, std::string const & words );

}  // namespace Web
