#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>

#include "platform/kel/Value.h"

namespace Web {

/** What is told to all pages that are open, as text of server-sent events. The last ones are kept
 *  for those that read slowly; whoever has missed some is told to read all anew. */
class Events {
 public:
   void tell( std::string_view name, Kel::Value const & data );
   /** How often something was told. */
   std::uint64_t told() const { return told_; }
   /** Keeps a connection from looking dead, to the page too. */
   void beat() { add( "event: beat\ndata: {}\n\n" ); }

   /** How far a page has come. */
   struct Reader {
      std::uint64_t event = 0;
      /** Of its text. */
      std::size_t offset = 0;
   };
   /** A page that begins now. */
   Reader begin() const { return { first_ + texts_.size(), 0 }; }
   /** The next bytes for a page; none when it has all. */
   std::size_t read( Reader & reader, char * bytes, std::size_t most );
   /** Runs when there is something new. */
   void newIs( std::function< void() > handler ) { new_ = std::move( handler ); }

 private:
   void add( std::string text );

   static constexpr std::size_t kept = 64;
   std::uint64_t told_ = 0;
   std::deque< std::string > texts_;
   /** The number of the first one that is kept. */
   std::uint64_t first_ = 0;
   std::function< void() > new_;
};

/** One event as a stream has it. */
std::string eventText( std::string_view name, Kel::Value const & data );

}  // namespace Web
