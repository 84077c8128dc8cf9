#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/corestore/Store.h"
#include "stores/redis/Lease.h"
#include "stores/redis/Link.h"
#include "stores/redis/RowText.h"
#include "stores/redis/StandingRows.h"

namespace Redis {

/** What a switch's state is told by, beside its name. */
struct Identity {
   std::string id;
   /** How often someone has said that an older state is the right one. */
   std::string accepted;

   friend bool operator==( Identity const &, Identity const & ) = default;
};

/**
 * Keeps the rows of a switch in Redis, where others read and write them too. Everything goes
 * through the scheduler and nothing waits: a turn's changes are one transaction, and while its
 * answer is on the way later changes gather. What others change is read as soon as it is heard of,
 * once however often it changed, and arrives as one turn.
 *
 * A state that isn't there, or is another or an older one than before, is no state: what stands
 * stands, and the right one is waited for. When it is back, all is compared: rows that are this
 * process's own go out as they stand here, the other ones come in as they stand there.
 */
class RedisStore final : public Corestore::Store, private Orb::Timer {
 public:
   enum class Event {
      /** Something that goes as it should. */
      progress,
      /** Something that someone may have to look after; it is told once. */
      trouble,
      /** A row that does not fit and is left out; it is told once. */
      skipped,
      /** It has no right to write any more: the process ends. */
      ended
   };
   struct Setup {
      Kel::Ptr< Orb::TaskScheduler > scheduler;
      Address address;
      Access access = {};
      std::string switchName = "local";
      /** As who it writes, one process at a time; empty for one that takes no lease. */
      std::string role = {};
      Orb::Seconds leaseTime = 10;
      /** End when another process has the lease, in place of waiting for it. */
      bool endIfHeld = false;
      /** The rows that are this process's own; empty for none. */
      std::function< bool( std::string_view path ) > owns = {};
      /** The rows that it takes up, its own among them; empty for all. */
      std::function< bool( std::string_view path ) > follows = {};
      /** Of a row that is skipped, its path, too. */
      std::function< void( Event, std::string const & text, std::string const & row ) > tell = {};
      /** What it tells says that it waits for a server that isn't there. */
      bool waits = true;
   };

   /** `holder` says what may stand where; it takes arrivals when `holderIs` has named it. */
   RedisStore( Setup setup, Corestore::RowHolder const & holder );
   ~RedisStore() override;

   /** All has been read, and may be loaded; from then on changes are taken. */
   bool isReady() const { return phase_ == Phase::ready; }
   /** Another number whenever all that is there was, or is being, read anew. */
   std::uint64_t attempt() const { return attempt_; }
   /** All that was put is with the server. */
   bool isWritten() const { return isReady() && !inFlight_ && !transactionOpen_; }
   /** Gives the lease back, behind all that was put; `isWritten` says when that is done. */
   void release();

   /** Calls back when all has been taken that others had changed before now. */
   void settle( std::function< void() > settled );

   /** What is put next stands only if none of these rows has come, changed or gone by then, nor
    *  any that stands now at or below those that are to be taken out; else nothing of it does, and
    *  all is read anew. It counts until all is read anew, whatever for, and for the first 2,000
    *  keys alone. For a process without a role: others' writes are guarded by their lease. */
   void watch( std::vector< std::string > const & rows, std::vector< std::string > const & taken );

   /** A row that is there and does not fit: its path, and why. */
   std::map< std::string, std::string > const & skipped() const { return skipped_; }
   /** How many keys that are no place in the state were found beside those, since all was read. */
   std::size_t furtherSkipped() const { return furtherSkipped_; }

   struct Counters {
      std::uint64_t written = 0;
      std::uint64_t sentAgain = 0;
      std::uint64_t reconnects = 0;

      friend bool operator==( Counters const &, Counters const & ) = default;
   };
   Counters counters() const;
   /** What is known of the process in a role. */
   struct Process {
      /** Who holds the lease, in words; empty for nobody. */
      std::string holder;
      /** For so long unless it is renewed. */
      Orb::Seconds seconds = 0;
      /** What it has said of itself. */
      std::map< std::string, std::string > fields;
   };
   /** Asks for it, while the store is ready. When all is read anew there is no answer. */
   void askProcess( std::string const & role, std::function< void( Process const & ) > answer );
   /** What the process says of itself; written when it differs. False while it cannot be. */
   bool processIs( std::vector< std::pair< std::string, std::string > > const & fields );

   Takes takes() const override;
   void load( std::function< void( Corestore::Row const & ) > const & row ) override;
   void put( Corestore::Row const & row ) override;
   void del( std::string const & path ) override;
   void flush() override;
   void holderIs( Corestore::RowHolder * holder ) override;
   void refused( Corestore::RowChange const & change, Kel::ValueError const & reason ) override;

 private:
   enum class Phase { connecting, waitingForState, asking, waitingForLease, reading, ready, ended };
   struct Read {
      std::vector< ReadRow > rows;
      /** Those of the keys that are not there. */
      std::vector< std::string > absent;
      /** The maps of books. */
      std::vector< std::string > books;
      /** Those that do not fit. */
      std::set< std::string, std::less<> > bad;
   };

   // From a connection to a state that may be used.
   void up();
   void down( std::string const & reason );
   void identified( Identity const & found, std::uint64_t turn );
   void waitForState( std::string const & reason );
   /** Tells what it waits for, unless that is what it has told last. */
   void tellWaiting( std::string const & text );
   /** Asks which state stands there; `answer` is told what goes with it, too. */
   void askState( std::function< void( Identity const & ) > answer );
   void askForLease();
   void asked( Lease::Asked const & asked );
   void leaseChanged();
   void watchLease();
   void leaseLost();
   void end( std::string const & reason );
   bool failed( redisReply const & reply );
   /** An answer that is dropped when all has begun anew meanwhile. */
   Connection::Answer ofNow( Connection::Answer answer );
   void beginAnew( Phase phase );

   // Reading.
   void readAll();
   void scan( std::string const & cursor );
   void readOrder();
   /** Reads what was found, so much at a time that others get a word in. */
   void readFound();
   /** A place in the order that a row has; own rows that are new come behind it. */
   void isTaken( std::string_view path, std::uint64_t position );
   void afterAll( std::function< void() > done );
   void allRead();
   /** Asks for what stands at these paths, in their order. */
   void askFor( std::span< std::string const > paths );
   /** The same, and has the answers. */
   void read( std::span< std::string const > paths, std::function< void() > done );
   void take( std::string const & path, Corestore::RowForm form, redisReply const & reply );
   void compare( std::vector< ReadRow > rows );
   void changed( std::vector< std::string > paths );
   void readChanged();
   /** Of what was asked for: it was not put meanwhile. */
   bool isBeingRead( std::string_view path ) const;
   void changesRead();
   /** Has changes applied. What changes after them is not read before that: whether a row fits
    *  depends on those that stand. */
   void arrive( std::vector< Corestore::RowChange > changes );
   /** Forgets rows that are gone, and yields the changes; what stands below is skipped. */
   std::vector< Corestore::RowChange > forget(
      std::set< std::string, std::greater<> > const & gone );
   /** Whether a row's entity is always there, with all that is below it. */
   bool isRoot( std::string_view path ) const;
   /** Whether it matters what stands of a row: it is written here, or others may stand below it, or
    *  it may lose its entity. Of others an entry in a map of a root is taken as it comes. */
   bool isNoted( std::string_view path, Corestore::RowForm form ) const;
   void skip( std::string const & path, std::string const & reason );
   void fits( std::string_view place );

   // Writing.
   void begin();
   /** Writes what `text_` holds. The row has stood with other fields if `isOther`. */
   void putText( Corestore::Row const & row, Standing & standing, bool isNew, bool isOther );
   void putInBook( std::string_view path, std::uint64_t position );
   void putBooks();
   /** A book whose entry is put or goes, while others' changes to it are being read. */
   void readAgain( std::string_view map );
   void written( redisReply const & reply );
   void due() override;

   bool owns( std::string_view path ) const { return setup_.owns && setup_.owns( path ); }
   bool follows( std::string_view path ) const { return !setup_.follows || setup_.follows( path ); }
   void tell( Event event, std::string const & text, std::string const & row = {} ) const;
   std::string shownServer() const;

   Setup setup_;
   Keys keys_;
   Corestore::RowHolder const & forms_;
   Corestore::RowHolder * holder_ = nullptr;
   std::optional< Lease > lease_;
   Phase phase_ = Phase::connecting;
   /** Of the state that it has used so far. */
   std::optional< Identity > identity_;
   /** The number of its last write that the server has confirmed. */
   std::uint64_t turn_ = 0;
   /** Grows when all begins anew. */
   std::uint64_t attempt_ = 0;
   /** What it last told to be waiting for. */
   std::string waiting_;

   /** Rows that the server has, as far as it is known here. */
   StandingRows standing_;
   /** Whether entries of the map that was asked about last are noted. */
   mutable std::pair< std::string, bool > lastMap_;
   std::uint64_t lastPosition_ = 0;
   std::map< std::string, std::string > skipped_;
   /** Of which rows it has told, and why. */
   std::map< std::string, std::string > told_;
   /** Of the skipped ones, those that are no place in the state; and how many there are beside. */
   std::size_t strangers_ = 0;
   std::size_t furtherSkipped_ = 0;
   std::vector< ReadRow > toLoad_;
   /** All that are there, while they are looked for. */
   std::vector< std::string > found_;
   /** So many of them have been asked for, and so many read. */
   std::size_t foundAsked_ = 0;
   std::size_t foundRead_ = 0;

   /** Paths that others have changed, and those of them that are being read. */
   std::set< std::string, std::less<> > changed_;
   std::set< std::string, std::less<> > reading_;
   /** So many they were at first. */
   std::size_t askedFor_ = 0;
   bool isReading_ = false;
   Read read_;
   /** Arrivals that are still to be applied. */
   int applying_ = 0;
   std::shared_ptr< bool > const alive_ = std::make_shared< bool >( true );
   /** Of strings, while all is read. */
   std::unordered_map< std::string, std::uint64_t > order_;

   /** What becomes of a book's map in this turn, in one command each. */
   struct BookChanges {
      /** Names and values; the last one of a name holds. */
      CommandText put;
      std::set< std::string, std::less<> > gone;
   };
   std::map< std::string, BookChanges, std::less<> > books_;
   /** How many words have gathered there. */
   std::size_t bookWords_ = 0;
   // Of the row that is being written, to spare memory that comes and goes.
   RowText text_;
   CommandText command_;
   bool transactionOpen_ = false;
   bool inFlight_ = false;
   bool leaseWatched_ = false;
   /** The lease has changed since it was asked for. */
   bool askAgain_ = false;
   bool releasing_ = false;
   Orb::Seconds renewed_ = 0;
   Counters counters_;
   std::vector< std::pair< std::string, std::string > > process_;
   /** Last, so that it goes first and calls nobody afterwards. */
   std::unique_ptr< Link > link_;
};

}  // namespace Redis
