#include "platform/corestore/Store.h"

namespace Corestore {

namespace {

Kel::String rowKey( std::string const & path, std::string const & attribute,
                    std::string const & key ) {
   std::string const separator( 1, '\0' );
   return Kel::String( path + separator + attribute + separator + key );
}

}  // namespace

void MemoryStore::load( std::function< void( Row const & ) > const & row ) {
   for ( auto const & [key, stored] : Kel::MemberWalk< Rows >( nullptr, rows_ ) ) {
      row( stored );
   }
}

void MemoryStore::put( Row const & row ) {
   rows_.set( rowKey( row.path, row.attribute, row.key ), row );
}

void MemoryStore::del( std::string const & path, std::string const & attribute,
                       std::string const & key ) {
   rows_.erase( rowKey( path, attribute, key ) );
   std::string const entity = path + Kel::pointerStep( attribute ) + Kel::pointerStep( key );
   for ( auto const & [name, stored] : Kel::MemberWalk< Rows >( nullptr, rows_ ) ) {
      if ( stored.path == entity || stored.path.starts_with( entity + '/' ) ) {
         rows_.erase( name );
      }
   }
}

}  // namespace Corestore
