#include "platform/kel/Entity.h"

#include <map>
#include <utility>

namespace Kel {

namespace {

auto & singletons() {
   static std::map< std::string, Ptr< Entity >, std::less<> > byType;
   return byType;
}

}  // namespace

std::string Entity::fullName() const {
   if ( !parent_ ) {
      return keyName();
   }
   std::string const path = parent_->fullName() + "/" + parentAttrName();
   AttributeRecord const & attribute = *parent_->fwkType().attributes()[parentAttribute_];
   // A reference needs no key, since it holds one entity at most.
   return attribute.kind() == AttributeKind::Reference ? path : path + "/" + keyName();
}

char const * Entity::parentAttrName() const {
   return parent_ ? parent_->fwkType().attributes()[parentAttribute_]->name() : "";
}

Ptr< Entity > Entity::singletonExists( std::string_view typeName ) {
   auto found = singletons().find( typeName );
   return found == singletons().end() ? nullptr : found->second;
}

Ptr< Entity > Entity::singletonIs( TypeRecord const & type, Name const & name ) {
   Ptr< Entity > & standing = singletons()[type.name];
   if ( !standing ) {
      standing = type.create( name );
   }
   return standing;
}

void Entity::singletonsDel() {
   // Whoever ends with them may ask for a singleton again.
   auto const old = std::exchange( singletons(), {} );
}

}  // namespace Kel
