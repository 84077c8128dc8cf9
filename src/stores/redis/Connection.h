#pragma once

#include <deque>
#include <functional>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/orb/TaskScheduler.h"
#include "stores/redis/Address.h"

struct redisAsyncContext;
struct redisReply;

namespace Redis {

/** What a command is made of. */
using Words = std::span< std::string_view const >;

/** One connection to a server, served by the scheduler: nothing here waits. It is not destroyed
 *  from within its own calls. */
class Connection : private Orb::Descriptor, private Orb::Timer {
 public:
   /** Takes a reply, which may be an error; never called after the connection has closed. */
   using Answer = std::function< void( redisReply const & ) >;
   /** Takes the reason for which the connection has closed, once. */
   using Closed = std::function< void( std::string const & reason ) >;

   /** Begins to connect. */
   Connection( Kel::Ptr< Orb::TaskScheduler > scheduler, Address const & address, Closed closed );
   ~Connection() override;
   Connection( Connection const & ) = delete;
   Connection & operator=( Connection const & ) = delete;

   /** Sends a command; without `answer` its reply is dropped, but for an error. */
   void send( Words words, Answer answer = {} );
   void send( std::initializer_list< std::string_view > words, Answer answer = {} ) {
      send( Words( words.begin(), words.size() ), std::move( answer ) );
   }
   /** Sends a command that begins a subscription; `message` takes its reply and what comes later.
    *  No other command may be sent after it. */
   void subscribe( std::string_view channel, Answer message );
   /** Nobody is called any more, from within a call too. */
   void silence() { silent_ = true; }
   /** The last error among the replies that were dropped. */
   std::string const & droppedError() const { return droppedError_; }

 private:
   void attach();
   void write();
   void ready( short events ) override;
   void due() override;
   void waitFor( int events );
   static Connection & of( void * data ) { return *static_cast< Connection * >( data ); }
   void close( std::string const & reason );

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   Closed closed_;
   bool isRemote_;
   redisAsyncContext * context_ = nullptr;
   std::deque< Answer > answers_;
   Answer message_;
   std::string droppedError_;
   /** So much of what the library has gathered is out already. */
   std::size_t sent_ = 0;
   int events_ = 0;
   bool silent_ = false;
   // Used for each command again.
   std::vector< char const * > texts_;
   std::vector< std::size_t > sizes_;
};

/** The reply as an error's text; empty for any other. */
std::string_view errorOf( redisReply const & reply );
/** The reply's text, or number as text; empty for none. */
std::string_view textOf( redisReply const & reply );
bool isNothing( redisReply const & reply );
std::span< redisReply * const > elementsOf( redisReply const & reply );

}  // namespace Redis
