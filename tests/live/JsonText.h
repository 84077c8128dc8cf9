#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/kel/Value.h"

namespace Live {

/** What stands at the end of a way of members; null where there is nothing. */
inline Kel::Value const & at( Kel::Value const & value,
                              std::initializer_list< std::string_view > way ) {
   static Kel::Value const nothing;
   Kel::Value const * place = &value;
   for ( std::string_view const step : way ) {
      place = place->member( step );
      if ( !place ) {
         return nothing;
      }
   }
   return *place;
}
inline Kel::Value::Object const & membersOf( Kel::Value const & value ) {
   static Kel::Value::Object const none;
   auto const * const object = value.as< Kel::Value::Object >();
   return object ? *object : none;
}
inline Kel::Value::Array const & elementsOf( Kel::Value const & value ) {
   static Kel::Value::Array const none;
   auto const * const array = value.as< Kel::Value::Array >();
   return array ? *array : none;
}
inline std::string textOf( Kel::Value const & value ) {
   auto const * const text = value.as< std::string >();
   return text ? *text : std::string();
}
/** 0 for anything else. */
inline std::uint64_t numberIn( Kel::Value const & value ) {
   if ( auto const * const number = value.as< std::int64_t >() ) {
      return static_cast< std::uint64_t >( *number );
   }
   auto const * const number = value.as< std::uint64_t >();
   return number ? *number : 0;
}

}  // namespace Live
