#include "platform/slab/KelSlab.h"

namespace KelSlab {

void Mount::handleInitialized() const {
   Slab::removeAbandonedSegments();
}

void Mount::doMount( Kel::String const & path, Kel::String const & type, MountInfo const & info ) {
   bool const writes = info.type() == KelSlabType::writer_;
   em_->mount( { path.stringValue(), type.stringValue(), writes ? "w" : "r" } );
   auto table = Kel::ptrCast< Slab::TableEntity >( getEntity( path ) );
   if ( table && writes && info.collectionInfo() ) {
      table->capacityIs( info.collectionInfo()->length );
   }
}

Kel::Ptr< Kel::Entity > Mount::getEntity( Kel::String const & path ) const {
   return em_->standing( path.view() );
}

}  // namespace KelSlab
