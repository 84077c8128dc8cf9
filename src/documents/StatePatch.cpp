#include "documents/StatePatch.h"

#include "documents/Document.h"
#include "platform/slab/Table.h"
#include "records/catalog/Catalog.h"

namespace Documents {

namespace {

using Kel::AttributeKind;
using Kel::AttributeRecord;
using Kel::Entity;
using Kel::Value;

class Patcher {
 public:
   Patcher( Mutate const & mutate, Place & place ) : mutate_( mutate ), place_( place ) {}

   /** Runs `f` for that member of the document. What ends the process in it leaves its place. */
   template < class F >
   void at( std::string_view member, F && f ) {
      place_.push_back( member );
      f();
      place_.pop_back();
   }

   void patch( Entity & entity, Value const & value, bool scalars = true ) {
      for ( auto const & member : objectOf( value ) ) {
         AttributeRecord const * attribute = entity.fwkType().attribute( member.first );
         if ( attribute && ( scalars || attribute->kind() != AttributeKind::Scalar ) ) {
            at( member.first, [&] { patchAttribute( entity, *attribute, member.second ); } );
         }
      }
   }

   void patchDirectory( Entity & directory, Kel::TypeRecord const & type, Value const & value ) {
      AttributeRecord const & entries = *directory.fwkType().attributes().front();
      for ( auto const & entry : objectOf( value ) ) {
         at( entry.first,
             [&] { patchChild( directory, entries, entry.first, &type, entry.second ); } );
      }
   }

   void clear( Entity & entity ) {
      for ( auto const & attribute : entity.fwkType().attributes() ) {
         clearAttribute( entity, *attribute );
      }
   }

 private:
   void write( Entity & entity, AttributeRecord const & attribute, std::string const & key,
               Value const & value ) {
      mutate_( [&] { attribute.write( entity, key, value ); } );
   }

   void patchAttribute( Entity & entity, AttributeRecord const & attribute, Value const & value ) {
      if ( value.isNull() ) {
         clearAttribute( entity, attribute );
      } else if ( attribute.kind() == AttributeKind::Scalar ) {
         write( entity, attribute, "", value );
      } else if ( attribute.kind() == AttributeKind::Reference ) {
         patchChild( entity, attribute, "", attribute.elementType(), value );
      } else {
         for ( auto const & member : objectOf( value ) ) {
            at( member.first, [&] {
               if ( attribute.kind() == AttributeKind::Map ) {
                  write( entity, attribute, member.first, member.second );
               } else {
                  patchChild( entity, attribute, member.first, attribute.elementType(),
                              member.second );
               }
            } );
         }
      }
   }

   void patchChild( Entity & parent, AttributeRecord const & attribute, std::string const & key,
                    Kel::TypeRecord const * type, Value const & value ) {
      if ( value.isNull() ) {
         mutate_( [&] { attribute.childDel( parent, key ); } );
         return;
      }
      Kel::Ptr< Entity > child = attribute.child( parent, key );
      bool const standing = child != nullptr;
      if ( !standing ) {
         mutate_( [&] {
            child = attribute.childIs( parent, key, type, [&]( Entity & fresh ) {
               for ( auto const & member : objectOf( value ) ) {
                  AttributeRecord const * scalar = fresh.fwkType().attribute( member.first );
                  if ( scalar && scalar->kind() == AttributeKind::Scalar ) {
                     scalar->write( fresh, "", member.second );
                  }
               }
            } );
         } );
      }
      patch( *child, value, standing );
   }

   void clearAttribute( Entity & entity, AttributeRecord const & attribute ) {
      switch ( attribute.kind() ) {
         case AttributeKind::Scalar:
            write( entity, attribute, "", {} );
            break;
         case AttributeKind::Map:
            for ( std::string const & key : attribute.keys( entity ) ) {
               write( entity, attribute, key, {} );
            }
            break;
         case AttributeKind::Reference:
            mutate_( [&] { attribute.childDel( entity, "" ); } );
            break;
         default:
            for ( std::string const & key : attribute.keys( entity ) ) {
               mutate_( [&] { attribute.childDel( entity, key ); } );
            }
      }
   }

   Mutate const & mutate_;
   Place & place_;
};

void checkRoomFor( Value const & rows, Slab::TableEntity const & table,
                   AttributeRecord const & attribute ) {
   std::size_t room = table.room();
   if ( rows.isNull() || objectOf( rows ).size() <= room ) {
      return;
   }
   for ( auto const & row : objectOf( rows ) ) {
      bool const stands = attribute.read( table, row.first ).has_value();
      if ( row.second.isNull() ) {
         room += stands;
      } else if ( !stands && room-- == 0 ) {
         throw Kel::ValueError( "finds the table full" ).below( row.first );
      }
   }
}

}  // namespace

void checkRoom( Corestore::EntityManager const & em, Value const & document ) {
   for ( auto const & member : objectOf( document ) ) {
      auto const table = Kel::ptrCast< Slab::TableEntity const >( em.getEntity( member.first ) );
      if ( table && !member.second.isNull() ) {
         for ( auto const & rows : objectOf( member.second ) ) {
            below( member.first, [&] {
               below( rows.first, [&] {
                  checkRoomFor( rows.second, *table, *table->fwkType().attribute( rows.first ) );
               } );
            } );
         }
      }
   }
}

void applyState( Corestore::EntityManager const & em, Value const & document, Mutate const & mutate,
                 Place & place ) {
   Patcher patcher( mutate, place );
   for ( auto const & member : objectOf( document ) ) {
      Catalog::Place const & mounted = *Catalog::placeAt( member.first );
      Kel::Ptr< Entity > const entity = em.standing( member.first );
      patcher.at( member.first, [&] {
         if ( member.second.isNull() ) {
            patcher.clear( *entity );
         } else if ( mounted.entryType ) {
            patcher.patchDirectory( *entity, mounted.entryTypeRecord(), member.second );
         } else {
            patcher.patch( *entity, member.second );
         }
      } );
   }
}

void applyState( Corestore::EntityManager const & em, Value const & document,
                 Mutate const & mutate ) {
   Place place;
   applyState( em, document, mutate, place );
}

}  // namespace Documents
