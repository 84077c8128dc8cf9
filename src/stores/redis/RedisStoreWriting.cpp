#include <hiredis/hiredis.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "platform/kel/StandardError.h"
#include "stores/redis/RedisStore.h"

namespace Redis {

using Corestore::Row;
using Corestore::RowForm;

namespace {

/** Beyond so many, entries of books that have gathered go out. */
constexpr std::size_t mostBookWords = 2000;
/** The server compares each key that is watched with all others, and serves nobody meanwhile. */
constexpr std::size_t mostWatched = 2000;

/** The map that an entry of a book is in, and the entry's name there. */
std::pair< std::string_view, std::string > bookPlace( std::string_view path ) {
   std::size_t const slash = path.rfind( '/' );
   std::string name( path.substr( slash + 1 ) );
   // Escapes are rare.
   for ( std::size_t at = name.find( '~' ); at < name.size(); at = name.find( '~', at + 1 ) ) {
      name.replace( at, 2, name.substr( at + 1, 1 ) == "1" ? "/" : "~" );
   }
   return { path.substr( 0, slash ), name };
}

/** A number as a word of a command. */
class NumberText {
 public:
   explicit NumberText( std::uint64_t number )
      : end_( std::to_chars( text_, text_ + sizeof text_, number ).ptr ) {}
   operator std::string_view() const { return { text_, end_ }; }

 private:
   char text_[20];
   char const * end_;
};

}  // namespace

Corestore::Store::Takes RedisStore::takes() const {
   if ( phase_ != Phase::ready ) {
      return Takes::all;
   }
   // Behind the lease's release nothing may go out.
   return inFlight_ || releasing_ || ( lease_ && !leaseWatched_ ) ? Takes::later : Takes::now;
}

void RedisStore::watch( std::vector< std::string > const & rows,
                        std::vector< std::string > const & taken ) {
   CommandText command( "WATCH" );
   std::string last;
   auto const add = [&]( std::string_view path ) {
      // An entry of a book stands in its map's key.
      bool const isEntry = forms_.formOf( path ) == RowForm::book;
      std::string_view const key = isEntry ? path.substr( 0, path.rfind( '/' ) ) : path;
      if ( key != last && command.size() <= mostWatched ) {
         command.add( { keys_.prefix(), key } );
         last = key;
      }
   };
   std::ranges::for_each( rows, add );
   for ( std::string const & path : taken ) {
      standing_.forEachBelow( path, [&]( auto const & below, Standing const & ) { add( below ); } );
   }
   if ( command.size() > 1 ) {
      link_->commands().send( command,
                              ofNow( [this]( redisReply const & reply ) { failed( reply ); } ) );
   }
}

void RedisStore::begin() {
   if ( !std::exchange( transactionOpen_, true ) ) {
      link_->commands().send( { "MULTI" } );
   }
}

void RedisStore::put( Row const & row ) {
   text_.rowIs( row );
   if ( text_.size() == 0 ) {
      reading_.erase( row.path );
      // What stands below it stays.
      if ( standing_.contains( row.path ) ) {
         standing_.erase( row.path );
         begin();
         link_->commands().send( { "DEL", keys_.of( row.path ) } );
      }
      return;
   }
   Standing const now{ text_.fingerprint(), 0, row.form };
   auto const [standing, isNew] = standing_.add( row.path, now );
   if ( isNew || standing.fingerprint() != now.fingerprint() ) {
      // It may have any fields by now: of what others put right before this the server tells
      // nothing, since this comes last.
      bool const isRead = reading_.erase( row.path ) != 0;
      bool const isOther = !isNew || isRead || !isNoted( row.path, row.form );
      standing.fingerprintIs( now.fingerprint() );
      putText( row, standing, isNew, isOther );
      if ( !isNoted( row.path, row.form ) ) {
         // Nor is what others make of it.
         standing_.erase( row.path );
      }
   }
}

void RedisStore::putText( Row const & row, Standing & standing, bool isNew, bool isOther ) {
   begin();
   if ( isNew && owns( row.path ) ) {
      standing.positionIs( ++lastPosition_ );
   }
   ++counters_.written;
   if ( row.form == RowForm::book ) {
      putInBook( row.path, standing.position() );
      return;
   }
   Connection & server = link_->commands();
   auto const begun = [&]( std::string_view word ) {
      command_.clear();
      command_.add( { word } );
      command_.add( { keys_.prefix(), row.path } );
   };
   NumberText const place( standing.position() );
   if ( row.form == RowForm::value ) {
      fits( row.path );
      begun( "SET" );
      command_.add( { text_.json( 0 ) } );
      server.send( command_ );
      if ( isNew && standing.position() != 0 ) {
         server.send( { "ZADD", keys_.order(), place, row.path } );
      }
      return;
   }
   // What does not fit there may be of any kind, and what it has no more must go.
   if ( isOther || skipped_.contains( row.path ) ) {
      fits( row.path );
      begun( "DEL" );
      server.send( command_ );
   }
   begun( "HSET" );
   for ( std::size_t i = 0; i != text_.size(); ++i ) {
      command_.add( { text_.name( i ) } );
      command_.add( { text_.json( i ) } );
   }
   if ( standing.position() != 0 ) {
      command_.add( { positionField } );
      command_.add( { place } );
   }
   server.send( command_ );
}

void RedisStore::putInBook( std::string_view path, std::uint64_t position ) {
   auto const [map, name] = bookPlace( path );
   if ( !skipped_.empty() && skipped_.contains( std::string( map ) ) ) {
      // It may be of any kind.
      fits( map );
      link_->commands().send( { "DEL", keys_.of( map ) } );
   }
   fits( path );
   readAgain( map );
   auto book = books_.find( map );
   if ( book == books_.end() ) {
      book = books_.emplace( map, BookChanges() ).first;
   }
   book->second.gone.erase( name );
   CommandText & put = book->second.put;
   put.add( { name } );
   put.add( { "[", NumberText( position ), ",", text_.json( 0 ), "]" } );
   if ( ( bookWords_ += 2 ) >= mostBookWords ) {
      putBooks();
   }
}

void RedisStore::readAgain( std::string_view map ) {
   if ( auto const read = reading_.find( map ); read != reading_.end() ) {
      reading_.erase( read );
      changed_.emplace( map );
   }
}

void RedisStore::putBooks() {
   for ( auto const & [path, changes] : books_ ) {
      std::string const & map = path;
      auto const begun = [&]( std::string_view word ) {
         command_.clear();
         command_.add( { word } );
         command_.add( { keys_.prefix(), map } );
      };
      if ( !changes.put.isEmpty() ) {
         begun( "HSET" );
         command_.add( changes.put );
         link_->commands().send( command_ );
      }
      if ( !changes.gone.empty() ) {
         begun( "HDEL" );
         for ( std::string const & name : changes.gone ) {
            command_.add( { name } );
         }
         link_->commands().send( command_ );
      }
   }
   books_.clear();
   bookWords_ = 0;
}

void RedisStore::del( std::string const & path ) {
   CommandText keys( "DEL" );
   CommandText places( "ZREM" );
   places.add( { keys_.order() } );
   if ( setup_.owns && !owns( path ) && !standing_.contains( path ) ) {
      // It may stand, and not be noted.
      keys.add( { keys_.prefix(), path } );
      places.add( { path } );
      reading_.erase( path );
   }
   standing_.take( path, [&]( std::string const & gone, Standing const & standing ) {
      if ( standing.form() == RowForm::book ) {
         begin();
         auto const [map, name] = bookPlace( gone );
         books_[std::string( map )].gone.insert( name );
         readAgain( map );
      } else {
         keys.add( { keys_.prefix(), gone } );
         if ( standing.form() == RowForm::value && standing.position() != 0 ) {
            places.add( { gone } );
         }
      }
      reading_.erase( gone );
   } );
   if ( keys.size() > 1 ) {
      begin();
      link_->commands().send( keys );
      counters_.written += keys.size() - 1;
   }
   if ( places.size() > 2 ) {
      begin();
      link_->commands().send( places );
   }
}

void RedisStore::flush() {
   putBooks();
   if ( !std::exchange( transactionOpen_, false ) ) {
      return;
   }
   Connection & server = link_->commands();
   if ( lease_ ) {
      server.send( { "INCR", keys_.turn( setup_.role ) } );
      if ( releasing_ ) {
         lease_->release( server );
      } else {
         lease_->renew( server );
      }
      renewed_ = setup_.scheduler->now();
   }
   inFlight_ = true;
   server.send( { "EXEC" }, [this]( redisReply const & reply ) { written( reply ); } );
   if ( lease_ && !releasing_ ) {
      leaseWatched_ = false;
      watchLease();
   }
   server.flush();
}

void RedisStore::written( redisReply const & reply ) {
   inFlight_ = false;
   if ( releasing_ ) {
      return;
   }
   if ( isNothing( reply ) ) {
      // The lease has changed, or what was watched.
      leaseLost();
      return;
   }
   std::string error( errorOf( reply ) );
   if ( !error.empty() && !link_->commands().droppedError().empty() ) {
      error = link_->commands().droppedError();
   }
   auto const answers = elementsOf( reply );
   for ( redisReply const * answer : answers ) {
      if ( error.empty() ) {
         error = errorOf( *answer );
      }
   }
   if ( !error.empty() ) {
      // All is compared, and what is missing sent again, by a new connection.
      link_->fail( error );
   } else if ( lease_ ) {
      turn_ = static_cast< std::uint64_t >( answers[answers.size() - 2]->integer );
   }
}

void RedisStore::release() {
   releasing_ = true;
   if ( lease_ ) {
      begin();
      flush();
   }
}

}  // namespace Redis
