#include "platform/corestore/EntityRows.h"

#include <algorithm>

#include "platform/kel/StandardError.h"
#include "platform/kel/ValueTraits.h"
#include "platform/slab/Table.h"

namespace Corestore {

namespace {

using Kel::AttributeKind;

/** The member of an entity's row that names its type. */
constexpr std::string_view typeMember = "@type";

/** Null for a root. */
Kel::AttributeRecord const * holdingAttribute( Kel::Entity const & entity ) {
   return entity.parent() ? entity.parent()->fwkType().attributes()[entity.parentAttribute()].get()
                          : nullptr;
}

/** Few steps need an escape, and paths are what a saved turn makes most of. */
void addStep( std::string & path, std::string_view step ) {
   if ( std::ranges::none_of( step, []( char c ) { return c == '~' || c == '/'; } ) ) {
      path += '/';
      path += step;
   } else {
      path += Kel::pointerStep( step );
   }
}

RowForm entryForm( Kel::AttributeRecord const & attribute, RootRows const & rows ) {
   return attribute.kind() != AttributeKind::Map ? RowForm::entity
          : rows.isBook                          ? RowForm::book
          : attribute.holdsRecords()             ? RowForm::record
                                                 : RowForm::value;
}

}  // namespace

std::string rowPath( Kel::Entity const & entity ) {
   Kel::AttributeRecord const * const attribute = holdingAttribute( entity );
   return attribute ? entryPath( rowPath( *entity.parent() ), *attribute, entity.keyName() )
                    : entity.keyName();
}

std::string entryPath( std::string const & entityPath, Kel::AttributeRecord const & attribute,
                       std::string const & key ) {
   std::string_view const name = attribute.name();
   std::string path;
   path.reserve( entityPath.size() + name.size() + key.size() + 2 );
   path += entityPath;
   if ( attribute.kind() != AttributeKind::Directory ) {
      addStep( path, name );
   }
   if ( attribute.kind() != AttributeKind::Reference ) {
      addStep( path, key );
   }
   return path;
}

Row entityRow( Kel::Entity const & entity, std::string const & path ) {
   Kel::Value::Object members;
   members.reserve( entity.fwkType().attributes().size() + 1 );
   Kel::AttributeRecord const * const holding = holdingAttribute( entity );
   if ( holding && holding->kind() == AttributeKind::Directory ) {
      members.emplace_back( typeMember, entity.fwkType().name );
   }
   for ( auto const & attribute : entity.fwkType().attributes() ) {
      if ( attribute->kind() == AttributeKind::Scalar ) {
         if ( auto value = attribute->read( entity, "" ) ) {
            members.emplace_back( attribute->name(), std::move( *value ) );
         }
      }
   }
   if ( holding && members.empty() ) {
      members.emplace_back( typeMember, entity.fwkType().name );
   }
   return { path, RowForm::entity, std::move( members ) };
}

bool showsNothing( Row const & row ) {
   auto const * const members = row.value.as< Kel::Value::Object >();
   return row.form == RowForm::entity && members && members->empty();
}

std::optional< Row > entryRow( Kel::Entity const & entity, std::string const & path,
                               Kel::AttributeRecord const & attribute, std::string const & key,
                               RootRows const & rows ) {
   if ( auto value = attribute.read( entity, key ) ) {
      return Row{ path, entryForm( attribute, rows ), std::move( *value ) };
   }
   return std::nullopt;
}

void forEachRow( Kel::Entity const & entity, std::string const & path, RootRows const & rows,
                 std::function< void( Row const & ) > const & row ) {
   Row const own = entityRow( entity, path );
   if ( !showsNothing( own ) ) {
      row( own );
   }
   for ( auto const & attribute : entity.fwkType().attributes() ) {
      if ( attribute->kind() == AttributeKind::Scalar ) {
         continue;
      }
      bool const single = attribute->kind() == AttributeKind::Reference;
      for ( std::string const & key :
            single ? std::vector< std::string >( 1 ) : attribute->keys( entity ) ) {
         std::string const below = entryPath( path, *attribute, key );
         if ( Kel::Ptr< Kel::Entity > const child = attribute->child( entity, key ) ) {
            forEachRow( *child, below, rows, row );
         } else if ( auto const entry = entryRow( entity, below, *attribute, key, rows ) ) {
            row( *entry );
         }
      }
   }
}

namespace {

/** What a step stands for, without its escapes. */
std::string stepText( std::string_view step ) {
   std::string text;
   for ( std::size_t i = 0; i != step.size(); ++i ) {
      if ( step[i] == '~' && i + 1 != step.size() ) {
         text += step[++i] == '1' ? '/' : '~';
      } else {
         text += step[i];
      }
   }
   return text;
}

/** Takes the next step off the path, without its slash and escapes. */
std::string takeStep( std::string_view & path ) {
   std::size_t const end = std::min( path.find( '/', 1 ), path.size() );
   std::string step( path.substr( 1, end - 1 ) );
   if ( step.find( '~' ) != step.npos ) {
      std::string const text = stepText( step );
      // A row has one path.
      if ( std::string const right = Kel::pointerStep( text ); right.substr( 1 ) != step ) {
         throw Kel::ValueError( "is written " + Kel::shownName( right.substr( 1 ) ) );
      }
      step = text;
   }
   path.remove_prefix( end );
   return step;
}

/** The attribute that a directory's entries are of; null for a type that is no directory. */
Kel::AttributeRecord const * directoryOf( Kel::TypeRecord const & type ) {
   auto const & attributes = type.attributes();
   return attributes.size() == 1 && attributes[0]->kind() == AttributeKind::Directory
             ? attributes[0].get()
             : nullptr;
}

/** Steps to an entry of the place's entity, whose type is known. */
RowPlace stepBelow( RowPlace const & from, RootRows const & rows, std::string_view & path ) {
   RowPlace to;
   // The entity at the place becomes the holder.
   to.holder =
      from.attribute && from.holder ? from.attribute->child( *from.holder, from.key ) : from.holder;
   Kel::TypeRecord const * const type = from.type   ? from.type
                                        : to.holder ? &to.holder->fwkType()
                                                    : nullptr;
   if ( !type ) {
      throw Kel::ValueError( "stands without its entity" );
   }
   to.attribute = directoryOf( *type );
   if ( to.attribute ) {
      to.key = takeStep( path );
      // Of directories only roots know what they hold.
      to.type = from.attribute ? nullptr : rows.entryType;
      if ( !from.attribute && rows.checkEntryName ) {
         rows.checkEntryName( to.key );
      }
      return to;
   }
   std::string const name = takeStep( path );
   to.attribute = type->attribute( name );
   if ( !to.attribute ) {
      throw Kel::ValueError( "unknown attribute " + Kel::shownName( name ) );
   }
   to.form = entryForm( *to.attribute, rows );
   to.type = to.attribute->elementType();
   if ( to.attribute->kind() == AttributeKind::Scalar ) {
      throw Kel::ValueError( "is no row, but a member of its entity's" );
   }
   if ( to.attribute->kind() == AttributeKind::Reference ) {
      return to;
   }
   if ( path.empty() ) {
      if ( to.form != RowForm::book ) {
         throw Kel::ValueError( "names no entry" );
      }
      to.form = RowForm::bookMap;
      return to;
   }
   to.key = takeStep( path );
   // Of two rows of one entry, one would take away what the other says.
   if ( std::string const plain = to.attribute->plainKey( to.key ); plain != to.key ) {
      throw Kel::ValueError( "is written " + Kel::shownName( plain ) );
   }
   if ( to.form != RowForm::entity && !path.empty() ) {
      throw Kel::ValueError( "stands below no entity" );
   }
   return to;
}

}  // namespace

RowPlace rowPlace( Kel::Ptr< Kel::Entity > const & root, RootRows const & rows,
                   std::string_view below ) {
   RowPlace place;
   place.holder = root;
   place.type = &root->fwkType();
   while ( !below.empty() ) {
      place = stepBelow( place, rows, below );
   }
   return place;
}

namespace {

Kel::Value::Object const & objectOf( Kel::Value const & value ) {
   auto const * const object = value.as< Kel::Value::Object >();
   if ( !object ) {
      Kel::Detail::failKind( "an object", value );
   }
   return *object;
}

/** The type of which the row's entity is; `known` is null where any may stand. */
Kel::TypeRecord const & typeOf( Kel::TypeRecord const * known, Kel::Value const & value ) {
   Kel::Value const * const named = value.member( typeMember );
   if ( !named && known ) {
      return *known;
   }
   std::string const * const name = named ? named->as< std::string >() : nullptr;
   auto const fail = [name]( std::string const & wanted ) {
      throw Kel::ValueError( wanted + ( name ? Kel::shownName( *name ) : "none" ) )
         .below( typeMember );
   };
   if ( known && ( !name || *name != known->name ) ) {
      fail( std::string( "wants type " ) + known->name + ", not " );
   }
   Kel::TypeRecord const * const type = known ? known : name ? Kel::typeNode( *name ) : nullptr;
   if ( !type ) {
      fail( "unknown type " );
   }
   return *type;
}

void checkScalars( Kel::TypeRecord const & type, Kel::Value::Object const & members ) {
   for ( auto const & [name, value] : members ) {
      if ( name == typeMember ) {
         continue;
      }
      Kel::AttributeRecord const * const attribute = type.attribute( name );
      try {
         if ( !attribute ) {
            throw Kel::ValueError( "unknown attribute " + Kel::shownName( name ) );
         }
         if ( attribute->kind() != AttributeKind::Scalar ) {
            throw Kel::ValueError( "is no member of its entity's row, but has rows of its own" );
         }
         attribute->check( "", value );
      } catch ( Kel::ValueError const & e ) {
         throw e.below( name );
      }
   }
}

/** Scalars that are not named are at their default. */
void setScalars( Kel::Entity & entity, Kel::Value const & value, Mutate const & mutate ) {
   for ( auto const & attribute : entity.fwkType().attributes() ) {
      if ( attribute->kind() == AttributeKind::Scalar ) {
         Kel::Value const * const member = value.member( attribute->name() );
         mutate( [&] { attribute->valueIs( entity, "", member ? *member : Kel::Value() ); } );
      }
   }
}

/** The entity at a place; null when there is none. */
Kel::Ptr< Kel::Entity > entityAt( RowPlace const & place ) {
   return place.attribute ? place.attribute->child( *place.holder, place.key ) : place.holder;
}

Kel::TypeRecord const & typeAt( RowPlace const & place, Kel::Value const & value ) {
   auto const standing = entityAt( place );
   return typeOf( standing ? &standing->fwkType() : place.type, value );
}

/** A table takes what has been checked, and no more than it has room for. */
void checkTableRow( RowPlace const & place, Kel::Value const & value ) {
   auto const * const table = dynamic_cast< Slab::TableEntity const * >( place.holder.ptr() );
   if ( !table ) {
      return;
   }
   place.attribute->check( place.key, value );
   if ( table->room() == 0 && !place.attribute->read( *table, place.key ) ) {
      throw Kel::ValueError( "finds the table full" );
   }
}

void applyEntityRow( RowPlace const & place, Kel::Value const & value, Mutate const & mutate ) {
   Kel::TypeRecord const & type = typeAt( place, value );
   if ( Kel::Ptr< Kel::Entity > const standing = entityAt( place ) ) {
      setScalars( *standing, value, mutate );
      return;
   }
   mutate( [&] {
      place.attribute->childIs( *place.holder, place.key, &type, [&]( Kel::Entity & fresh ) {
         setScalars( fresh, value, []( auto const & mutator ) { mutator(); } );
      } );
   } );
}

}  // namespace

bool stands( RowPlace const & place ) {
   return place.holder && entityAt( place );
}

void checkRow( RowPlace const & place, Kel::Value const & value ) {
   if ( !place.holder ) {
      throw Kel::ValueError( "stands without its entity" );
   }
   if ( place.form == RowForm::bookMap ) {
      throw Kel::ValueError( "names no entry" );
   }
   if ( place.form == RowForm::entity ) {
      Kel::Value::Object const & members = objectOf( value );
      checkScalars( typeAt( place, value ), members );
      return;
   }
   if ( place.attribute->holdsRecords() ) {
      objectOf( value );
   } else if ( value.isNull() ) {
      Kel::Detail::failKind( "a value", value );
   }
   checkTableRow( place, value );
}

void applyRow( RowPlace const & place, Kel::Value const & value, Mutate const & mutate ) {
   if ( place.form == RowForm::entity ) {
      applyEntityRow( place, value, mutate );
   } else {
      mutate( [&] { place.attribute->valueIs( *place.holder, place.key, value ); } );
   }
}

void deleteRow( RowPlace const & place, Mutate const & mutate ) {
   if ( !place.holder ) {
      return;
   }
   if ( place.form != RowForm::entity ) {
      mutate( [&] { place.attribute->write( *place.holder, place.key, {} ); } );
   } else if ( place.attribute ) {
      mutate( [&] { place.attribute->childDel( *place.holder, place.key ); } );
   } else {
      setScalars( *place.holder, {}, mutate );
   }
}

Kel::ValueError atRow( Kel::ValueError error, std::string_view path ) {
   while ( !path.empty() ) {
      std::size_t const slash = path.rfind( '/' );
      std::size_t const begin = slash == std::string_view::npos ? 0 : slash + 1;
      error = error.below( stepText( path.substr( begin ) ) );
      path = path.substr( 0, begin == 0 ? 0 : slash );
   }
   return error;
}

}  // namespace Corestore
