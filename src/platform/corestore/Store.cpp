#include "platform/corestore/Store.h"

#include "platform/corestore/EntityRows.h"

namespace Corestore {

void Store::refused( RowChange const & change, Kel::ValueError const & reason ) {
   throw atRow( reason, change.row.path );
}

void MemoryStore::load( std::function< void( Row const & ) > const & row ) {
   for ( auto const & [path, stored] : Kel::MemberWalk< Rows >( nullptr, rows_ ) ) {
      row( stored );
   }
}

void MemoryStore::put( Row const & row ) {
   if ( showsNothing( row ) ) {
      rows_.erase( Kel::String( row.path ) );
   } else {
      rows_.set( Kel::String( row.path ), row );
   }
}

void MemoryStore::del( std::string const & path ) {
   auto const gone = rows_.take( Kel::String( path ) );
   if ( gone && gone->form != RowForm::entity && gone->form != RowForm::none ) {
      return;
   }
   for ( auto const & [name, stored] : Kel::MemberWalk< Rows >( nullptr, rows_ ) ) {
      if ( stored.path.starts_with( path + '/' ) ) {
         rows_.erase( name );
      }
   }
}

}  // namespace Corestore
