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

struct redisContext;
struct redisReply;

namespace Redis {

/** What a command is made of. */
using Words = std::span< std::string_view const >;

/** A command that grows word by word, as it goes to a server. */
class CommandText {
 public:
   CommandText() = default;
   explicit CommandText( std::string_view word ) { add( { word } ); }

   /** Adds a word that is made of these parts. */
   void add( std::initializer_list< std::string_view > parts );
   /** Adds the words of another one. */
   void add( CommandText const & more );
   bool isEmpty() const { return count_ == 0; }
   std::size_t size() const { return count_; }
   void clear();

 private:
   friend class Connection;
   std::string words_;
   std::size_t count_ = 0;
};

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
   /** Without an answer. */
   void send( CommandText const & command, Answer answer = {} );
   /** Sends a further command, whose reply goes to the `answer` of the last one. */
   void sendOn( Words words );
   void sendOn( std::initializer_list< std::string_view > words ) {
      sendOn( Words( words.begin(), words.size() ) );
   }
   /** What was sent goes out now, as far as the server takes it; otherwise a later turn does that.
    */
   void flush();
   /** Sends a command that begins a subscription; `message` takes its reply and what comes later.
    *  No other command may be sent after it. */
   void subscribe( std::string_view channel, Answer message );
   /** Nobody is called any more, from within a call too. */
   void silence() { silent_ = true; }
   /** The last error among the replies that were dropped. */
   std::string const & droppedError() const { return droppedError_; }

 private:
   /** Commands of which the replies are still to come. */
   struct Awaited {
      Answer answer;
      std::size_t count;
   };

   void awaitReply( Answer answer );
   void add( Words words );
   /** What has been added goes out, or will. */
   void added();
   void write();
   void connected();
   void read();
   void take( redisReply const & reply );
   void ready( short events ) override;
   void due() override;
   void waitFor( int events );
   void close( std::string const & reason );

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   Closed closed_;
   /** Null when it has closed. */
   redisContext * context_ = nullptr;
   bool isConnected_ = false;
   /** What has gathered, of which so much is out already; the next piece goes when there is so
    *  much of it. */
   std::string out_;
   std::size_t sent_ = 0;
   std::size_t nextPiece_ = 0;
   /** They grow while more comes. */
   std::size_t pieceSize_;
   /** In the order of the commands. */
   std::deque< Awaited > awaited_;
   Answer message_;
   std::string droppedError_;
   int events_ = 0;
   bool silent_ = false;
};

/** The reply as an error's text; empty for any other. */
std::string_view errorOf( redisReply const & reply );
/** The reply's text, or number as text; empty for none. */
std::string_view textOf( redisReply const & reply );
bool isNothing( redisReply const & reply );
std::span< redisReply * const > elementsOf( redisReply const & reply );

}  // namespace Redis
