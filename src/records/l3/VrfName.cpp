#include "records/l3/VrfName.h"

#include "platform/kel/Exceptions.h"

namespace L3 {

namespace {

Wirekit::NameTable & names() {
   // Never destroyed: objects that go down at the end of the process may still print a name.
   static Wirekit::NameTable & table = *new Wirekit::NameTable;
   return table;
}

}  // namespace

VrfName::VrfName( std::string_view name ) {
   if ( name.size() > maxLength ) {
      Kel::throwRangeException( "VrfName::bytes > VrfName::maxLength not allowed" );
   }
   index_ = names().intern( name );
}

std::string_view VrfName::name() const {
   return names().name( index_ );
}

std::optional< VrfName > VrfName::parse( std::string_view text ) {
   return text.size() > maxLength ? std::nullopt : std::optional( VrfName( text ) );
}

}  // namespace L3
