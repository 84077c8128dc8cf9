#include "documents/StateExpect.h"

#include <algorithm>

#include "documents/Document.h"
#include "documents/StateDump.h"
#include "platform/corestore/ValueText.h"
#include "records/catalog/Catalog.h"

namespace Documents {

namespace {

using Kel::AttributeKind;
using Kel::AttributeRecord;
using Kel::Entity;
using Kel::Value;

/** Whether an absent thing is as wanted: null, or an object in which all that is named is. */
bool wantsAbsence( Value const & wanted ) {
   auto const * object = wanted.as< Value::Object >();
   return wanted.isNull() ||
          ( object && !object->empty() && std::ranges::all_of( *object, []( auto const & member ) {
               return member.first != "@type" && wantsAbsence( member.second );
            } ) );
}

class Comparison {
 public:
   void compareEntity( Entity const & entity, Value const & wanted, std::string const & pointer ) {
      for ( auto const & member : objectOf( wanted ) ) {
         if ( auto const * attribute = entity.fwkType().attribute( member.first ) ) {
            compareAttribute( entity, *attribute, member.second,
                              pointer + Kel::pointerStep( member.first ) );
         }
      }
   }

   void compareMembers( Entity const & entity, AttributeRecord const & attribute,
                        Value const & wanted, std::string const & pointer ) {
      for ( auto const & member : objectOf( wanted ) ) {
         std::string const at = pointer + Kel::pointerStep( member.first );
         if ( attribute.kind() == AttributeKind::Map ) {
            compareValue( entity, attribute, member.first, member.second, at );
         } else {
            compareChild( attribute.child( entity, member.first ), member.second, at );
         }
      }
   }

   void compareEmpty( Entity const & entity, std::string const & pointer ) {
      if ( Value found = entityDocument( entity ); found != Value( Value::Object() ) ) {
         report( pointer, {}, found );
      }
   }

   std::vector< Unmet > take() { return std::move( unmet_ ); }

 private:
   void report( std::string const & pointer, Value const & wanted, Value const & found ) {
      auto text = []( Value const & value ) {
         return value.isNull() ? std::string( "nothing" ) : Corestore::jsonLine( value );
      };
      unmet_.push_back( { pointer, text( wanted ), text( found ) } );
   }

   void compareAttribute( Entity const & entity, AttributeRecord const & attribute,
                          Value const & wanted, std::string const & pointer ) {
      switch ( attribute.kind() ) {
         case AttributeKind::Scalar:
            compareValue( entity, attribute, "", wanted, pointer );
            break;
         case AttributeKind::Reference:
            compareChild( attribute.child( entity, "" ), wanted, pointer );
            break;
         default:
            if ( wanted.isNull() ) {
               for ( std::string const & key : attribute.keys( entity ) ) {
                  compareMembers( entity, attribute, Value::Object{ { key, {} } }, pointer );
               }
            } else {
               compareMembers( entity, attribute, wanted, pointer );
            }
      }
   }

   void compareChild( Kel::Ptr< Entity > const & child, Value const & wanted,
                      std::string const & pointer ) {
      if ( !child ) {
         if ( !wantsAbsence( wanted ) ) {
            report( pointer, wanted, {} );
         }
      } else if ( wanted.isNull() ) {
         report( pointer, wanted, entityDocument( *child ) );
      } else {
         compareEntity( *child, wanted, pointer );
      }
   }

   /** What is wanted stands when patching it in would change nothing. */
   void compareValue( Entity const & entity, AttributeRecord const & attribute,
                      std::string const & key, Value const & wanted, std::string const & pointer ) {
      std::optional< Value > standing = attribute.read( entity, key );
      if ( !standing && attribute.kind() == AttributeKind::Scalar ) {
         standing = attribute.preview( entity, key, {} );
      }
      if ( !standing ) {
         if ( !wantsAbsence( wanted ) ) {
            report( pointer, wanted, {} );
         }
      } else if ( wanted.isNull() && attribute.kind() == AttributeKind::Map ) {
         report( pointer, wanted, *standing );
      } else {
         compareFields( wanted, attribute.preview( entity, key, wanted ), *standing, pointer );
      }
   }

   /** Reports the fields in which the two differ. */
   void compareFields( Value const & wanted, Value const & patched, Value const & standing,
                       std::string const & pointer ) {
      if ( patched == standing ) {
         return;
      }
      std::size_t const before = unmet_.size();
      auto const * object = wanted.as< Value::Object >();
      if ( object && patched.as< Value::Object >() && standing.as< Value::Object >() ) {
         for ( auto const & member : *object ) {
            Value const * a = patched.member( member.first );
            Value const * b = standing.member( member.first );
            compareFields( member.second, a ? *a : Value(), b ? *b : Value(),
                           pointer + Kel::pointerStep( member.first ) );
         }
      }
      if ( unmet_.size() == before ) {
         report( pointer, wanted, standing );
      }
   }

   std::vector< Unmet > unmet_;
};

}  // namespace

std::vector< Unmet > compareState( Corestore::EntityManager const & em, Value const & document ) {
   Comparison comparison;
   for ( auto const & member : objectOf( document ) ) {
      Catalog::Place const & place = *Catalog::placeAt( member.first );
      Entity const & entity = *em.standing( member.first );
      std::string const pointer = Kel::pointerStep( member.first );
      if ( member.second.isNull() ) {
         comparison.compareEmpty( entity, pointer );
      } else if ( place.entryType ) {
         comparison.compareMembers( entity, *entity.fwkType().attributes().front(), member.second,
                                    pointer );
      } else {
         comparison.compareEntity( entity, member.second, pointer );
      }
   }
   return comparison.take();
}

}  // namespace Documents
