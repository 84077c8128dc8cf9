#include <hiredis/hiredis.h>

#include <algorithm>

#include "platform/kel/StandardError.h"
#include "stores/redis/RedisStore.h"

namespace Redis {

using Corestore::Row;
using Corestore::RowChange;
using Corestore::RowForm;

namespace {

/** Keys that the server looks at in one step of its own. */
constexpr char const * scanCount = "10000";

std::ptrdiff_t depthOf( ReadRow const & read ) {
   return std::ranges::count( read.row.path, '/' );
}

/** An entity comes before the rows below it; collections come in the order in which this process
 *  put their rows, behind those that others have put, by name. */
bool comesBefore( ReadRow const & a, ReadRow const & b ) {
   auto const depths = depthOf( a ) <=> depthOf( b );
   return depths != 0 ? depths < 0
                      : std::tie( a.position, a.row.path ) < std::tie( b.position, b.row.path );
}

/** The rows of a map below a path. */
template < class Rows >
auto rowsBelow( Rows & rows, std::string const & path ) {
   // '0' is the character after '/'.
   return std::ranges::subrange( rows.lower_bound( path + '/' ), rows.lower_bound( path + '0' ) );
}

}  // namespace

void RedisStore::load( std::function< void( Row const & ) > const & row ) {
   for ( ReadRow const & read : std::exchange( toLoad_, {} ) ) {
      row( read.row );
   }
}

// --- All that stands ---

void RedisStore::readAll() {
   phase_ = Phase::reading;
   reading_.clear();
   order_.clear();
   skipped_.clear();
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
                              for ( redisReply const * key : elementsOf( *parts[1] ) ) {
                                 auto const path = keys_.pathOf( textOf( *key ) );
                                 if ( path && !Keys::isOwn( *path ) ) {
                                    reading_.emplace( *path );
                                 }
                              }
                              if ( textOf( *parts[0] ) == "0" ) {
                                 readOrder();
                              } else {
                                 scan( std::string( textOf( *parts[0] ) ) );
                              }
                           } ) );
}

void RedisStore::readOrder() {
   link_->commands().send( { "ZRANGE", keys_.order(), "0", "-1" },
                           ofNow( [this]( redisReply const & reply ) {
                              if ( failed( reply ) ) {
                                 return;
                              }
                              std::uint64_t position = 0;
                              for ( redisReply const * path : elementsOf( reply ) ) {
                                 order_.emplace( textOf( *path ), ++position );
                              }
                              read( reading_, [this] { allRead(); } );
                           } ) );
}

void RedisStore::allRead() {
   if ( applying_ != 0 ) {
      // What is compared is the state behind them.
      setup_.scheduler->post( [this, attempt = attempt_, alive = std::weak_ptr( alive_ )] {
         if ( !alive.expired() && attempt == attempt_ ) {
            allRead();
         }
      } );
      return;
   }
   std::vector< ReadRow > rows = std::exchange( read_.rows, {} );
   std::ranges::sort( rows, comesBefore );
   reading_.clear();
   lastPosition_ = order_.size();
   for ( ReadRow const & read : rows ) {
      lastPosition_ = std::max( lastPosition_, read.position );
   }
   order_.clear();
   std::erase_if( told_, [this]( auto const & told ) { return !skipped_.contains( told.first ); } );
   standing_.clear();
   for ( ReadRow const & read : rows ) {
      standing_.emplace( read.row.path,
                         Standing{ read.fingerprint, read.position, read.row.form } );
   }
   phase_ = Phase::ready;
   waiting_.clear();
   tell( Event::progress, shownServer() + ": the state of switch " + setup_.switchName + " has " +
                             std::to_string( rows.size() ) + " rows" );
   if ( holder_ ) {
      compare( std::move( rows ) );
      readChanged();
   } else {
      toLoad_ = std::move( rows );
   }
}

void RedisStore::compare( std::vector< ReadRow > rows ) {
   std::map< std::string_view, ReadRow const * > there;
   for ( ReadRow const & read : rows ) {
      there.emplace( read.row.path, &read );
   }
   std::vector< RowChange > changes;
   std::vector< std::string > gone;
   std::uint64_t const before = counters_.written;
   holder_->forEachRow( [&]( Row const & row ) {
      auto const found = there.find( row.path );
      bool const stands = found != there.end();
      if ( owns( row.path ) ) {
         put( row );
      } else if ( !stands ) {
         changes.push_back( { row, true } );
      } else if ( RowText const text = textOf( row );
                  text.fingerprint() != found->second->fingerprint ) {
         changes.push_back( { found->second->row, false } );
      }
      if ( stands ) {
         there.erase( found );
      }
   } );
   // A row goes before the entity that it is in.
   std::ranges::reverse( changes );
   std::ranges::stable_partition( changes, &RowChange::deleted );
   for ( ReadRow const & read : rows ) {
      if ( there.contains( read.row.path ) ) {
         if ( owns( read.row.path ) ) {
            del( read.row.path );
         } else {
            changes.push_back( { read.row, false } );
         }
      }
   }
   counters_.sentAgain += counters_.written - before;
   flush();
   if ( !changes.empty() ) {
      arrive( std::move( changes ) );
   }
}

// --- What others change ---

void RedisStore::changed( std::vector< std::string > paths ) {
   for ( std::string & path : paths ) {
      if ( !Keys::isOwn( path ) ) {
         changed_.insert( std::move( path ) );
      } else if ( keys_.of( path ) == keys_.state() ) {
         // All is compared when it has been seen to be the same.
         up();
         return;
      } else if ( phase_ == Phase::waitingForLease &&
                  keys_.of( path ) == keys_.lease( setup_.role ) ) {
         setup_.scheduler->disarm( *this );
         askForLease();
      }
   }
   readChanged();
}

void RedisStore::readChanged() {
   bool const isFree = reading_.empty() && applying_ == 0;
   if ( phase_ == Phase::ready && holder_ && isFree && !changed_.empty() ) {
      reading_ = std::exchange( changed_, {} );
      read( reading_, [this] { changesRead(); } );
   }
}

void RedisStore::changesRead() {
   std::vector< RowChange > changes;
   std::set< std::string, std::greater<> > gone;
   Read const read = std::exchange( read_, {} );
   auto const went = [&]( std::string const & path ) {
      if ( auto const standing = standing_.find( path ); standing != standing_.end() ) {
         gone.insert( path );
      }
      fits( path );
   };
   std::set< std::string, std::less<> > entries;
   for ( ReadRow const & one : read.rows ) {
      entries.insert( one.row.path );
   }
   for ( std::string const & path : reading_ ) {
      if ( forms_.formOf( path ) == RowForm::bookMap && !read.bad.contains( path ) ) {
         for ( auto const & [entry, standing] : rowsBelow( standing_, path ) ) {
            if ( !entries.contains( entry ) ) {
               went( entry );
            }
         }
      }
   }
   std::ranges::for_each( read.absent, went );
   for ( std::string const & path : read.bad ) {
      // Nobody else may take away what is this process's own.
      if ( !owns( path ) && standing_.contains( path ) ) {
         gone.insert( path );
      }
   }
   changes = forget( gone );
   std::vector< ReadRow > rows = read.rows;
   std::ranges::sort( rows, comesBefore );
   for ( ReadRow & one : rows ) {
      fits( one.row.path );
      auto const [standing, isNew] = standing_.try_emplace(
         one.row.path, Standing{ one.fingerprint, one.position, one.row.form } );
      if ( isNew && one.row.form == RowForm::entity ) {
         for ( auto const & [below, reason] : rowsBelow( skipped_, one.row.path ) ) {
            changed_.insert( below );
         }
      }
      if ( isNew || standing->second.fingerprint != one.fingerprint ) {
         standing->second.fingerprint = one.fingerprint;
         changes.push_back( { std::move( one.row ), false } );
      }
   }
   reading_.clear();
   if ( !changes.empty() ) {
      arrive( std::move( changes ) );
   }
   readChanged();
}

void RedisStore::arrive( std::vector< RowChange > changes ) {
   holder_->arrived( std::move( changes ) );
   ++applying_;
   setup_.scheduler->post( [this, alive = std::weak_ptr( alive_ )] {
      if ( !alive.expired() ) {
         --applying_;
         readChanged();
      }
   } );
}

std::vector< RowChange > RedisStore::forget(
   std::set< std::string, std::greater<> > const & gone ) {
   std::vector< RowChange > changes;
   // What stands below an entity that is gone may still be there.
   std::vector< std::string > orphans;
   for ( std::string const & path : gone ) {
      if ( isRoot( path ) ) {
         continue;
      }
      for ( auto const & [below, standing] : rowsBelow( standing_, path ) ) {
         if ( !gone.contains( below ) && standing.form != RowForm::book ) {
            orphans.push_back( below );
         }
      }
   }
   for ( std::string const & path : orphans ) {
      standing_.erase( path );
      skip( path, "stands without its entity" );
   }
   for ( std::string const & path : gone ) {
      changes.push_back( { { path, forms_.formOf( path ), {} }, true } );
      standing_.erase( path );
   }
   return changes;
}

bool RedisStore::isRoot( std::string_view path ) const {
   for ( std::size_t end = path.rfind( '/' ); end != path.npos && end != 0;
         end = path.rfind( '/', end - 1 ) ) {
      if ( forms_.formOf( path.substr( 0, end ) ) != RowForm::none ) {
         return false;
      }
   }
   return true;
}

// --- Both ---

void RedisStore::read( std::set< std::string, std::less<> > const & paths,
                       std::function< void() > done ) {
   read_ = {};
   for ( std::string const & path : paths ) {
      RowForm const form = forms_.formOf( path );
      char const * const command = form == RowForm::none    ? "EXISTS"
                                   : form == RowForm::value ? "GET"
                                                            : "HGETALL";
      link_->commands().send( { command, keys_.of( path ) },
                              ofNow( [this, path, form]( redisReply const & reply ) {
                                 // One that was put meanwhile has another value by now.
                                 if ( reading_.contains( path ) ) {
                                    take( path, form, reply );
                                 }
                              } ) );
   }
   // Behind all the others: what is missing may have gone with the whole state.
   askState( [this, done = std::move( done )]( Identity const & found ) {
      if ( found == identity_ ) {
         done();
      } else {
         up();
      }
   } );
}

void RedisStore::take( std::string const & path, RowForm form, redisReply const & reply ) {
   std::string_view const error = errorOf( reply );
   if ( !error.empty() && !error.starts_with( "WRONGTYPE" ) ) {
      link_->fail( std::string( error ) );
      return;
   }
   try {
      switch ( form ) {
         case RowForm::none:
            if ( reply.integer != 0 ) {
               throw Kel::ValueError( "is no place in the state" );
            }
            read_.absent.push_back( path );
            break;
         case RowForm::value:
            if ( isNothing( reply ) ) {
               read_.absent.push_back( path );
            } else {
               read_.rows.push_back( readString( path, reply ) );
               if ( auto const at = order_.find( path ); at != order_.end() ) {
                  read_.rows.back().position = at->second;
               }
            }
            break;
         case RowForm::bookMap:
            std::ranges::move( readBook( path, reply ), std::back_inserter( read_.rows ) );
            break;
         default:
            if ( error.empty() && elementsOf( reply ).empty() ) {
               read_.absent.push_back( path );
            } else {
               read_.rows.push_back( readHash( path, form, reply ) );
            }
      }
   } catch ( Kel::ValueError const & e ) {
      skip( path, ( e.pointer().empty() ? "" : e.pointer() + ": " ) + e.what() );
      read_.bad.insert( path );
   }
}

void RedisStore::refused( RowChange const & change, Kel::ValueError const & reason ) {
   if ( change.deleted ) {
      return;
   }
   std::string const & path = change.row.path;
   skip( path, ( reason.pointer().empty() ? "" : reason.pointer() + ": " ) + reason.what() );
   if ( owns( path ) ) {
      standing_.erase( path );
   } else if ( auto gone = forget( { path } ); holder_ ) {
      // An agent that starts now would not have it either.
      arrive( std::move( gone ) );
   }
}

void RedisStore::fits( std::string const & path ) {
   skipped_.erase( path );
   told_.erase( path );
}

void RedisStore::skip( std::string const & path, std::string const & reason ) {
   skipped_[path] = reason;
   if ( std::exchange( told_[path], reason ) != reason ) {
      tell( Event::skipped, Kel::shownName( keys_.of( path ) ) + ": " + Kel::oneLine( reason ) +
                               "; the row is skipped" );
   }
}

}  // namespace Redis
