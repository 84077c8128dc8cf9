#include <hiredis/hiredis.h>

#include <algorithm>
#include <charconv>
#include <map>

#include "platform/kel/StandardError.h"
#include "stores/redis/RedisStore.h"

/* All that stands is read, to be loaded or compared with what stands here. */

namespace Redis {

using Corestore::Row;
using Corestore::RowChange;

namespace {

/** Keys that the server looks at in one step of its own. */
constexpr char const * scanCount = "10000";
/** Rows that are asked for at once: the lease is renewed between them. */
constexpr std::size_t mostAtOnce = 1000;
constexpr std::size_t piecesAhead = 4;

}  // namespace

void RedisStore::load( std::function< void( Row const & ) > const & row ) {
   for ( ReadRow const & read : std::exchange( toLoad_, {} ) ) {
      row( read.row );
   }
}

// --- All that stands ---

void RedisStore::readAll() {
   phase_ = Phase::reading;
   found_.clear();
   order_.clear();
   skipped_.clear();
   strangers_ = furtherSkipped_ = 0;
   lastPosition_ = 0;
   scan( "0" );
}

void RedisStore::scan( std::string const & cursor ) {
   std::string pattern;
   for ( char c : keys_.prefix() ) {
      pattern += c == '[' || c == ']' || c == '*' || c == '?' || c == '\\' ? std::string{ '\\', c }
                                                                           : std::string{ c };
   }
   link_->commands().send( { "SCAN", cursor, "MATCH", pattern + "*", "COUNT", scanCount },
                           ofNow( [this]( redisReply const & reply ) {
                              auto const parts = elementsOf( reply );
                              if ( failed( reply ) || parts.size() != 2 ) {
                                 return;
                              }
                              // The server is at work meanwhile.
                              bool const isLast = textOf( *parts[0] ) == "0";
                              if ( !isLast ) {
                                 scan( std::string( textOf( *parts[0] ) ) );
                                 link_->commands().flush();
                              }
                              for ( redisReply const * key : elementsOf( *parts[1] ) ) {
                                 auto const path = keys_.pathOf( textOf( *key ) );
                                 if ( path && !Keys::isOwn( *path ) && follows( *path ) ) {
                                    found_.emplace_back( *path );
                                 }
                              }
                              if ( isLast ) {
                                 readOrder();
                              }
                           } ) );
}

void RedisStore::readOrder() {
   link_->commands().send(
      { "ZRANGE", keys_.order(), "0", "-1", "WITHSCORES" },
      ofNow( [this]( redisReply const & reply ) {
         if ( failed( reply ) ) {
            return;
         }
         auto const words = elementsOf( reply );
         for ( std::size_t i = 0; i + 1 < words.size(); i += 2 ) {
            std::uint64_t position = 0;
            std::string_view const score = textOf( *words[i + 1] );
            std::from_chars( score.data(), score.data() + score.size(), position );
            order_.emplace( textOf( *words[i] ), position );
            isTaken( textOf( *words[i] ), position );
         }
         // The server may name a key twice.
         std::ranges::sort( found_ );
         found_.erase( std::unique( found_.begin(), found_.end() ), found_.end() );
         read_.rows.reserve( found_.size() );
         foundAsked_ = foundRead_ = 0;
         if ( found_.empty() ) {
            afterAll( [this] { allRead(); } );
         }
         readFound();
      } ) );
}

// While one piece is taken, the server is at work on the next ones.
void RedisStore::readFound() {
   while ( foundAsked_ != found_.size() && foundAsked_ - foundRead_ < piecesAhead * mostAtOnce ) {
      std::size_t const size = std::min( found_.size() - foundAsked_, mostAtOnce );
      askFor( std::span( found_ ).subspan( foundAsked_, size ) );
      foundAsked_ += size;
      afterAll( [this, size] {
         foundRead_ += size;
         if ( foundRead_ == found_.size() ) {
            // With its memory.
            found_ = std::vector< std::string >();
            allRead();
         } else {
            readFound();
         }
      } );
   }
}

void RedisStore::isTaken( std::string_view path, std::uint64_t position ) {
   // Others may have any.
   if ( owns( path ) ) {
      lastPosition_ = std::max( lastPosition_, position );
   }
}

void RedisStore::allRead() {
   if ( applying_ != 0 ) {
      // What is compared is the state behind them.
      setup_.scheduler->post( [this, attempt = attempt_, alive = std::weak_ptr( alive_ )] {
         if ( !alive.expired() && attempt == attempt_ ) {
            // The lease may have been renewed meanwhile.
            afterAll( [this] { allRead(); } );
         }
      } );
      return;
   }
   std::vector< ReadRow > rows = std::exchange( read_.rows, {} );
   order_.clear();
   std::erase_if( told_, [this]( auto const & told ) { return !skipped_.contains( told.first ); } );
   standing_.clear();
   for ( ReadRow const & read : rows ) {
      isTaken( read.row.path, read.position );
      if ( isNoted( read.row.path, read.row.form ) ) {
         standing_.add( read.row.path, { read.fingerprint, read.position, read.row.form } );
      }
   }
   phase_ = Phase::ready;
   waiting_.clear();
   tell( Event::progress, shownServer() + ": the state of switch " + setup_.switchName + " has " +
                             std::to_string( rows.size() ) + " rows" );
   if ( holder_ ) {
      sortRows( rows );
      compare( std::move( rows ) );
      readChanged();
   } else {
      sortRowsTogether( rows );
      toLoad_ = std::move( rows );
   }
}

void RedisStore::compare( std::vector< ReadRow > rows ) {
   std::map< std::string_view, ReadRow const * > there;
   for ( ReadRow const & read : rows ) {
      there.emplace( read.row.path, &read );
   }
   std::vector< RowChange > changes;
   std::uint64_t const before = counters_.written;
   holder_->forEachRow( [&]( Row const & row ) {
      auto const found = there.find( row.path );
      bool const stands = found != there.end();
      if ( owns( row.path ) ) {
         put( row );
      } else if ( !stands ) {
         // What is there and cannot be read changes nothing.
         if ( !skipped_.contains( row.path ) ) {
            changes.push_back( { row, true } );
         }
      } else if ( found->second->bad.empty() ) {
         text_.rowIs( row );
         if ( text_.fingerprint() != found->second->fingerprint ) {
            changes.push_back( { found->second->row, false } );
         }
      }
      if ( stands ) {
         there.erase( found );
      }
   } );
   // A row goes before the entity that it is in.
   std::ranges::reverse( changes );
   std::stable_partition( changes.begin(), changes.end(),
                          []( RowChange const & change ) { return change.deleted; } );
   for ( ReadRow const & read : rows ) {
      if ( there.contains( read.row.path ) ) {
         if ( !owns( read.row.path ) ) {
            changes.push_back( { read.row, false } );
         } else if ( read.row.form == Corestore::RowForm::entity && isRoot( read.row.path ) ) {
            // Its scalars are all at their default; what is below it stays.
            put( { read.row.path, read.row.form, Kel::Value::Object() } );
         } else {
            del( read.row.path );
         }
      }
   }
   counters_.sentAgain += counters_.written - before;
   flush();
   if ( !changes.empty() ) {
      arrive( std::move( changes ) );
   }
}

}  // namespace Redis
