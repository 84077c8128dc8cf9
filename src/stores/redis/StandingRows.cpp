#include "stores/redis/StandingRows.h"

namespace Redis {

namespace {

/** What a row is in, and its last step. */
std::pair< std::string_view, std::string_view > split( std::string_view path ) {
   std::size_t const slash = path.rfind( '/' );
   return slash == path.npos ? std::pair( std::string_view(), path )
                             : std::pair( path.substr( 0, slash ), path.substr( slash + 1 ) );
}

std::string joined( std::string const & holder, std::string_view name ) {
   std::string path;
   path.reserve( holder.size() + 1 + name.size() );
   path += holder;
   path += holder.empty() ? "" : "/";
   path += name;
   return path;
}

}  // namespace

StandingRows::Holders::iterator StandingRows::holder( std::string_view path ) {
   if ( last_ == holders_.end() || last_->first != path ) {
      last_ = holders_.find( path );
   }
   return last_;
}

Standing * StandingRows::find( std::string_view path ) {
   auto const [above, name] = split( path );
   auto const rows = holder( above );
   return rows == holders_.end() ? nullptr : rows->second.find( name );
}

std::pair< Standing &, bool > StandingRows::add( std::string_view path,
                                                 Standing const & standing ) {
   auto const [above, name] = split( path );
   if ( holder( above ) == holders_.end() ) {
      last_ = holders_.try_emplace( std::string( above ) ).first;
   }
   NamedRows & rows = last_->second;
   if ( Standing * const row = rows.find( name ) ) {
      return { *row, false };
   }
   return { rows.add( name, standing ), true };
}

void StandingRows::erase( std::string_view path ) {
   auto const [above, name] = split( path );
   auto const rows = holder( above );
   if ( rows == holders_.end() ) {
      return;
   }
   rows->second.erase( name );
   if ( rows->second.empty() ) {
      holders_.erase( rows );
      last_ = holders_.end();
   }
}

void StandingRows::clear() {
   holders_.clear();
   last_ = holders_.end();
}

void StandingRows::forEachBelow( std::string_view path, Visit const & visit ) const {
   auto const visitAll = [&visit]( auto from, auto to ) {
      for ( ; from != to; ++from ) {
         from->second.forEach( [&]( std::string_view name, Standing const & standing ) {
            visit( joined( from->first, name ), standing );
         } );
      }
   };
   auto const [first, behind] = holders_.equal_range( path );
   visitAll( first, behind );
   // '0' is the character after '/'.
   visitAll( holders_.lower_bound( std::string( path ) + '/' ),
             holders_.lower_bound( std::string( path ) + '0' ) );
}

void StandingRows::take( std::string_view path, Visit const & visit ) {
   if ( Standing const * const own = find( path ) ) {
      visit( std::string( path ), *own );
      erase( path );
   }
   forEachBelow( path, visit );
   auto const [first, behind] = holders_.equal_range( path );
   holders_.erase( first, behind );
   holders_.erase( holders_.lower_bound( std::string( path ) + '/' ),
                   holders_.lower_bound( std::string( path ) + '0' ) );
   last_ = holders_.end();
}

}  // namespace Redis
