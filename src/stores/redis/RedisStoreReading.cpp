#include <hiredis/hiredis.h>

#include <algorithm>
#include <deque>
#include <memory>

#include "platform/kel/StandardError.h"
#include "stores/redis/RedisStore.h"

/* What others change is read. */

namespace Redis {

using Corestore::RowChange;
using Corestore::RowForm;

namespace {

/** Of the keys that are no place in the state, and that nothing depends on, so many are kept and
 *  told of. */
constexpr std::size_t mostStrangers = 1000;

}  // namespace

void RedisStore::changed( std::vector< std::string > paths ) {
   for ( std::string & path : paths ) {
      if ( !Keys::isOwn( path ) ) {
         if ( follows( path ) ) {
            // The server tells them in order.
            changed_.insert( changed_.end(), std::move( path ) );
         }
      } else if ( keys_.of( path ) == keys_.state() ) {
         // All is compared when it has been seen to be the same.
         up();
         return;
      } else if ( keys_.of( path ) == keys_.lease( setup_.role ) ) {
         leaseChanged();
      }
   }
   readChanged();
}

void RedisStore::readChanged() {
   // All of what was read may have been put meanwhile: its end is still to come.
   bool const isFree = !isReading_ && applying_ == 0;
   if ( phase_ == Phase::ready && holder_ && isFree && !changed_.empty() ) {
      reading_ = std::exchange( changed_, {} );
      askedFor_ = reading_.size();
      isReading_ = true;
      read( std::vector< std::string >( reading_.begin(), reading_.end() ),
            [this] { changesRead(); } );
   }
}

bool RedisStore::isBeingRead( std::string_view path ) const {
   // Most often nothing was put meanwhile.
   return reading_.size() == askedFor_ || reading_.contains( path );
}

void RedisStore::changesRead() {
   std::vector< RowChange > changes;
   std::set< std::string, std::greater<> > gone;
   Read read = std::exchange( read_, {} );
   // What was put meanwhile is newer.
   std::erase_if( read.absent, [this]( auto const & path ) { return !isBeingRead( path ); } );
   std::erase_if( read.rows, [this]( ReadRow const & one ) {
      std::string_view const path = one.row.path;
      return !isBeingRead( one.row.form == RowForm::book ? path.substr( 0, path.rfind( '/' ) )
                                                         : path );
   } );
   auto const went = [&]( std::string const & path ) {
      // One that does not fit any more may still stand as it was.
      if ( standing_.contains( path ) || skipped_.contains( path ) ||
           !isNoted( path, forms_.formOf( path ) ) ) {
         gone.insert( path );
      }
      fits( path );
   };
   std::set< std::string, std::less<> > entries;
   for ( ReadRow const & one : read.rows ) {
      if ( one.row.form == RowForm::book ) {
         entries.insert( one.row.path );
      }
   }
   for ( std::string const & path : read.books ) {
      if ( isBeingRead( path ) ) {
         standing_.forEachBelow( path, [&]( std::string const & entry, Standing const & ) {
            if ( !entries.contains( entry ) && !read.bad.contains( entry ) ) {
               went( entry );
            }
         } );
      }
   }
   std::ranges::for_each( read.absent, went );
   changes = forget( gone );
   std::vector< ReadRow > rows = std::move( read.rows );
   sortRows( rows );
   for ( ReadRow & one : rows ) {
      if ( one.bad.empty() ) {
         fits( one.row.path );
      } else if ( standing_.contains( one.row.path ) ) {
         // It stays as it stands until it can be read.
         continue;
      }
      if ( !isNoted( one.row.path, one.row.form ) ) {
         changes.push_back( { std::move( one.row ), false } );
         continue;
      }
      auto const [standing, isNew] =
         standing_.add( one.row.path, { one.fingerprint, one.position, one.row.form } );
      if ( isNew && one.row.form == RowForm::entity ) {
         std::string const above = one.row.path + '/';
         for ( auto below = skipped_.lower_bound( above );
               below != skipped_.end() && below->first.starts_with( above ); ++below ) {
            changed_.insert( below->first );
         }
      }
      if ( isNew || standing.fingerprint() != one.fingerprint ) {
         standing.fingerprintIs( one.fingerprint );
         changes.push_back( { std::move( one.row ), false } );
      }
   }
   reading_.clear();
   isReading_ = false;
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
   std::set< std::string > orphans;
   for ( std::string const & path : gone ) {
      if ( isRoot( path ) ) {
         continue;
      }
      standing_.forEachBelow( path, [&]( std::string const & below, Standing const & standing ) {
         if ( !gone.contains( below ) && standing.form() != RowForm::book ) {
            orphans.insert( below );
         }
      } );
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

bool RedisStore::isNoted( std::string_view path, RowForm form ) const {
   if ( !setup_.owns || owns( path ) || ( form != RowForm::record && form != RowForm::value ) ) {
      return true;
   }
   std::string_view const map = path.substr( 0, path.rfind( '/' ) );
   if ( lastMap_.first != map ) {
      lastMap_ = std::pair( map, !isRoot( map.substr( 0, map.rfind( '/' ) ) ) );
   }
   return lastMap_.second;
}

// --- Both ---

void RedisStore::read( std::span< std::string const > paths, std::function< void() > done ) {
   read_ = {};
   read_.rows.reserve( paths.size() );
   askFor( paths );
   afterAll( std::move( done ) );
}

void RedisStore::askFor( std::span< std::string const > paths ) {
   struct Asked {
      std::string path;
      RowForm form;
   };
   auto const asked = std::make_shared< std::deque< Asked > >();
   Connection & server = link_->commands();
   for ( std::string const & path : paths ) {
      RowForm const form = forms_.formOf( path );
      char const * const command = form == RowForm::none    ? "EXISTS"
                                   : form == RowForm::value ? "GET"
                                                            : "HGETALL";
      asked->push_back( { path, form } );
      if ( asked->size() == 1 ) {
         server.send( { command, keys_.of( path ) },
                      ofNow( [this, asked]( redisReply const & reply ) {
                         Asked const next = std::move( asked->front() );
                         asked->pop_front();
                         // One that was put meanwhile has another value by now. Nothing is put
                         // while all is read.
                         if ( phase_ == Phase::reading || isBeingRead( next.path ) ) {
                            take( next.path, next.form, reply );
                         }
                      } ) );
      } else {
         server.sendOn( { command, keys_.of( path ) } );
      }
   }
}

// What is missing among what was read may have gone with the whole state.
void RedisStore::afterAll( std::function< void() > done ) {
   askState( [this, done = std::move( done )]( Identity const & found ) {
      if ( found != identity_ ) {
         up();
      } else if ( lease_ && !leaseWatched_ ) {
         // It was renewed meanwhile.
         afterAll( done );
      } else {
         done();
      }
   } );
   link_->commands().flush();
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
            std::ranges::move( readBook( path, reply,
                                         [this]( auto const & entry, auto const & reason ) {
                                            skip( entry, reason );
                                            read_.bad.insert( entry );
                                         } ),
                               std::back_inserter( read_.rows ) );
            read_.books.push_back( path );
            break;
         default:
            if ( error.empty() && elementsOf( reply ).empty() ) {
               read_.absent.push_back( path );
            } else {
               read_.rows.push_back( readHash( path, form, reply ) );
               for ( auto const & [name, reason] : read_.rows.back().bad ) {
                  skip( path, Kel::pointerStep( name ) + ": " + reason );
               }
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
   if ( reason.pointer().empty() ) {
      // It is not there at all; what stands as it was before stays.
      standing_.erase( path );
   }
}

void RedisStore::fits( std::string_view place ) {
   if ( skipped_.empty() && told_.empty() ) {
      return;
   }
   std::string const path( place );
   if ( skipped_.erase( path ) != 0 && forms_.formOf( path ) == RowForm::none ) {
      --strangers_;
   }
   told_.erase( path );
}

void RedisStore::skip( std::string const & path, std::string const & reason ) {
   if ( !skipped_.contains( path ) && forms_.formOf( path ) == RowForm::none &&
        ++strangers_ > mostStrangers ) {
      --strangers_;
      if ( furtherSkipped_++ == 0 ) {
         tell( Event::skipped, "more than " + std::to_string( mostStrangers ) +
                                  " keys are no place in the state; the others are not told" );
      }
      return;
   }
   skipped_[path] = reason;
   if ( std::exchange( told_[path], reason ) != reason ) {
      tell( Event::skipped,
            Kel::shownName( keys_.of( path ) ) + ": " + Kel::oneLine( reason ) +
               "; the row is skipped",
            path );
   }
}

}  // namespace Redis
