#include "stores/redis/StandingRows.h"

#include <algorithm>

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
   takeRow( path );
}

std::optional< Standing > StandingRows::takeRow( std::string_view path ) {
   auto const [above, name] = split( path );
   auto const rows = holder( above );
   auto const taken = rows == holders_.end() ? std::nullopt : rows->second.take( name );
   if ( taken && rows->second.empty() ) {
      holders_.erase( rows );
      last_ = holders_.end();
   }
   return taken;
}

void StandingRows::clear() {
   holders_.clear();
   last_ = holders_.end();
}

template < class Map >
auto StandingRows::below( Map & holders, std::string_view path ) {
   std::string bound( path );
   bound += '/';
   auto const first = holders.lower_bound( bound );
   // The character after '/'.
   bound.back() = '0';
   return std::pair( first, holders.lower_bound( bound ) );
}

void StandingRows::forEachIn( Holders::value_type const & holder, Visit const & visit ) {
   holder.second.forEach( [&]( std::string_view name, Standing const & standing ) {
      visit( joined( holder.first, name ), standing );
   } );
}

void StandingRows::forEachBelow( std::string_view path, Visit const & visit ) const {
   if ( auto const own = holders_.find( path ); own != holders_.end() ) {
      forEachIn( *own, visit );
   }
   auto const [first, behind] = below( holders_, path );
   std::for_each( first, behind, [&visit]( auto const & one ) { forEachIn( one, visit ); } );
}

void StandingRows::take( std::string const & path, Visit const & visit ) {
   if ( auto const own = takeRow( path ) ) {
      visit( path, *own );
      if ( own->form() != Corestore::RowForm::entity ) {
         // Nothing stands below it.
         return;
      }
   }
   if ( auto const own = holders_.find( path ); own != holders_.end() ) {
      forEachIn( *own, visit );
      holders_.erase( own );
   }
   auto const [first, behind] = below( holders_, path );
   std::for_each( first, behind, [&visit]( auto const & one ) { forEachIn( one, visit ); } );
   holders_.erase( first, behind );
   last_ = holders_.end();
}

}  // namespace Redis
