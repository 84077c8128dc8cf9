#include <hiredis/hiredis.h>

#include <utility>

#include "platform/kel/StandardError.h"
#include "stores/redis/RedisStore.h"

namespace Redis {

using Corestore::Row;
using Corestore::RowForm;

namespace {

/** Beyond so many, entries of books that have gathered go out. */
constexpr std::size_t mostBookWords = 2000;

/** The map that an entry of a book is in, and the entry's name there. */
std::pair< std::string, std::string > bookPlace( std::string_view path ) {
   std::size_t const slash = path.rfind( '/' );
   std::string name;
   for ( std::size_t i = slash + 1; i < path.size(); ++i ) {
      if ( path[i] == '~' && i + 1 < path.size() ) {
         name += path[++i] == '1' ? '/' : '~';
      } else {
         name += path[i];
      }
   }
   return { std::string( path.substr( 0, slash ) ), name };
}

}  // namespace

Corestore::Store::Takes RedisStore::takes() const {
   if ( phase_ != Phase::ready ) {
      return Takes::all;
   }
   // Behind the lease's release nothing may go out.
   return inFlight_ || releasing_ || ( lease_ && !leaseWatched_ ) ? Takes::later : Takes::now;
}

void RedisStore::begin() {
   if ( !std::exchange( transactionOpen_, true ) ) {
      link_->commands().send( { "MULTI" } );
   }
}

void RedisStore::put( Row const & row ) {
   RowText const text = textOf( row );
   if ( text.fields.empty() ) {
      reading_.erase( row.path );
      // What stands below it stays.
      if ( standing_.erase( row.path ) != 0 ) {
         begin();
         link_->commands().send( { "DEL", keys_.of( row.path ) } );
      }
      return;
   }
   std::uint64_t const fingerprint = text.fingerprint();
   auto const [standing, isNew] =
      standing_.try_emplace( row.path, Standing{ fingerprint, 0, row.form } );
   if ( std::exchange( standing->second.fingerprint, fingerprint ) != fingerprint || isNew ) {
      putText( row, text, standing->second, isNew );
      // What is being read of it is older.
      reading_.erase( row.path );
   }
}

void RedisStore::putText( Row const & row, RowText const & text, Standing & standing, bool isNew ) {
   begin();
   if ( isNew && owns( row.path ) ) {
      standing.position = ++lastPosition_;
   }
   std::uint64_t const position = standing.position;
   Connection & server = link_->commands();
   // What does not fit there may be of any kind.
   auto const makeRoom = [&]( std::string const & path ) {
      if ( skipped_.contains( path ) ) {
         fits( path );
         server.send( { "DEL", keys_.of( path ) } );
      }
   };
   ++counters_.written;
   if ( row.form == RowForm::book ) {
      auto const [map, name] = bookPlace( row.path );
      makeRoom( map );
      fits( row.path );
      readAgain( map );
      BookChanges & changes = books_[map];
      changes.gone.erase( name );
      changes.put.push_back( name );
      changes.put.push_back( bookField( position, text.fields.front().second ) );
      if ( ( bookWords_ += 2 ) >= mostBookWords ) {
         putBooks();
      }
      return;
   }
   std::string const key = keys_.of( row.path );
   if ( row.form == RowForm::value ) {
      fits( row.path );
      server.send( { "SET", key, text.fields.front().second } );
      if ( isNew && position != 0 ) {
         server.send( { "ZADD", keys_.order(), std::to_string( position ), row.path } );
      }
      return;
   }
   makeRoom( row.path );
   if ( !isNew ) {
      // Fields that it has no more go so, too.
      server.send( { "DEL", key } );
   }
   std::vector< std::string_view > words{ "HSET", key };
   for ( auto const & [name, json] : text.fields ) {
      words.push_back( name );
      words.push_back( json );
   }
   std::string const place = std::to_string( position );
   if ( position != 0 ) {
      words.push_back( positionField );
      words.push_back( place );
   }
   server.send( words );
}

void RedisStore::readAgain( std::string const & map ) {
   if ( reading_.erase( map ) != 0 ) {
      changed_.insert( map );
   }
}

void RedisStore::putBooks() {
   for ( auto & [map, changes] : books_ ) {
      std::string const key = keys_.of( map );
      auto const send = [&]( std::string_view command, auto const & fields ) {
         if ( !fields.empty() ) {
            std::vector< std::string_view > words{ command, key };
            words.insert( words.end(), fields.begin(), fields.end() );
            link_->commands().send( words );
         }
      };
      send( "HSET", changes.put );
      send( "HDEL", changes.gone );
   }
   books_.clear();
   bookWords_ = 0;
}

void RedisStore::del( std::string const & path ) {
   std::vector< std::string > keys{ "DEL" };
   std::vector< std::string > places{ "ZREM", keys_.order() };
   auto const remove = [&]( StandingRows::iterator row ) {
      if ( row->second.form == RowForm::book ) {
         begin();
         auto const [map, name] = bookPlace( row->first );
         books_[map].gone.insert( name );
         readAgain( map );
      } else {
         keys.push_back( keys_.of( row->first ) );
         if ( row->second.form == RowForm::value && row->second.position != 0 ) {
            places.push_back( row->first );
         }
      }
      reading_.erase( row->first );
      return standing_.erase( row );
   };
   if ( auto const row = standing_.find( path ); row != standing_.end() ) {
      remove( row );
   }
   // '0' is the character after '/'.
   auto const end = standing_.lower_bound( path + '0' );
   for ( auto row = standing_.lower_bound( path + '/' ); row != end; ) {
      row = remove( row );
   }
   auto const send = [this]( std::vector< std::string > const & words ) {
      begin();
      link_->commands().send( std::vector< std::string_view >( words.begin(), words.end() ) );
   };
   if ( keys.size() > 1 ) {
      send( keys );
      counters_.written += keys.size() - 1;
   }
   if ( places.size() > 2 ) {
      send( places );
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
