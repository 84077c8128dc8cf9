#include "platform/kel/TypeRecord.h"

#include <cstring>
#include <map>

#include "platform/kel/Entity.h"

namespace Kel {

std::string AttributeRecord::keyText( void const * ) const {
   return {};
}
bool AttributeRecord::has( Notifier const &, void const * ) const {
   return true;
}
void AttributeRecord::checkKey( std::string_view ) const {}
std::string AttributeRecord::plainKey( std::string_view key ) const {
   return std::string( key );
}
std::vector< std::string > AttributeRecord::keys( Notifier const & ) const {
   return {};
}
std::optional< Value > AttributeRecord::read( Notifier const &, std::string_view ) const {
   return {};
}
void AttributeRecord::check( std::string_view, Value const & ) const {}
void AttributeRecord::write( Notifier &, std::string_view, Value const & ) const {}
void AttributeRecord::valueIs( Notifier &, std::string_view, Value const & ) const {}
Value AttributeRecord::preview( Notifier const &, std::string_view, Value const & ) const {
   return {};
}
bool AttributeRecord::corrupt( Notifier &, std::string_view ) const {
   return false;
}
TypeRecord const * AttributeRecord::elementType() const {
   return nullptr;
}
Ptr< Entity > AttributeRecord::child( Notifier const &, std::string_view ) const {
   return nullptr;
}
Ptr< Entity > AttributeRecord::childIs( Notifier &, std::string_view, TypeRecord const *,
                                        std::function< void( Entity & ) > const & ) const {
   return nullptr;
}
void AttributeRecord::childDel( Notifier &, std::string_view ) const {}

AttributeRecord const * TypeRecord::attribute( std::string_view attributeName ) const {
   for ( auto const & attribute : attributes() ) {
      if ( attributeName == attribute->name() ) {
         return attribute.get();
      }
   }
   return nullptr;
}

namespace {

auto & pendingTypes() {
   static std::vector< TypeRecord const & (*)() > pending;
   return pending;
}

auto const & typesByName() {
   // Names are read at the first look-up, when all classes have been loaded.
   static std::map< std::string_view, TypeRecord const * > types;
   for ( auto type : pendingTypes() ) {
      types.emplace( type().name, &type() );
   }
   pendingTypes().clear();
   return types;
}

}  // namespace

Ptr< Entity > createNothing( Name const & ) {
   return nullptr;
}

bool typeNodeIs( TypeRecord const & ( *type )() ) {
   pendingTypes().push_back( type );
   return true;
}

TypeRecord const * typeNode( std::string_view name ) {
   auto const & types = typesByName();
   auto const found = types.find( name );
   return found == types.end() ? nullptr : found->second;
}

std::vector< TypeRecord const * > machineTypes() {
   std::vector< TypeRecord const * > machines;
   for ( auto const & [name, type] : typesByName() ) {
      if ( type->isMachine ) {
         machines.push_back( type );
      }
   }
   return machines;
}

}  // namespace Kel
