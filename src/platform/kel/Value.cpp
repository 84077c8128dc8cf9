#include "platform/kel/Value.h"

#include <algorithm>
#include <array>

#include "platform/kel/StandardError.h"

namespace Kel {

char const * Value::kindName() const {
   static constexpr std::array names{ "null",     "a boolean", "a number", "a number",
                                      "a number", "a text",    "an array", "an object" };
   return names[data_.index()];
}

Value const * Value::member( std::string_view name ) const {
   Object const * object = as< Object >();
   if ( !object ) {
      return nullptr;
   }
   auto found = std::ranges::find( *object, name, &Object::value_type::first );
   return found == object->end() ? nullptr : &found->second;
}

std::string pointerStep( std::string_view member ) {
   std::string step = "/";
   for ( char c : member ) {
      if ( c == '~' ) {
         step += "~0";
      } else if ( c == '/' ) {
         step += "~1";
      } else {
         step += c;
      }
   }
   return step;
}

ValueError::ValueError( std::string const & reason ) : std::runtime_error( oneLine( reason ) ) {}

ValueError ValueError::below( std::string_view member ) const {
   ValueError error( *this );
   error.pointer_ = pointerStep( member ) + pointer_;
   return error;
}

}  // namespace Kel
