#include "views/Remarks.h"

#include <algorithm>
#include <cctype>

#include "platform/kel/StandardError.h"
#include "records/catalog/Catalog.h"

namespace Views {

namespace {

using Kel::Value;

constexpr std::pair< std::string_view, char const * > longNames[] = {
   { "et", "Ethernet" },
   { "eth", "Ethernet" },
   { "ethernet", "Ethernet" },
   { "po", "Port-Channel" },
   { "portchannel", "Port-Channel" },
   { "port-channel", "Port-Channel" },
   { "vx", "Vxlan" },
   { "vxlan", "Vxlan" } };

/** Calls `f( name, member )` for each member of an object, if it is one. */
template < class F >
void forEachMember( Value const * value, F && f ) {
   if ( auto const * object = value ? value->as< Value::Object >() : nullptr ) {
      for ( auto const & member : *object ) {
         f( member.first, member.second );
      }
   }
}

}  // namespace

std::string intfRemark( std::string_view name ) {
   std::size_t const digit = std::min( name.find_first_of( "0123456789" ), name.size() );
   std::string letters( name.substr( 0, digit ) );
   std::ranges::transform( letters, letters.begin(), []( unsigned char c ) {
      return static_cast< char >( std::tolower( c ) );
   } );
   for ( auto const & [written, meant] : longNames ) {
      std::string const longName = meant + std::string( name.substr( digit ) );
      if ( letters == written && digit != name.size() && name != longName ) {
         return "\"" + Kel::shownName( name ) + "\" is another interface than \"" +
                Kel::shownName( longName ) + "\"";
      }
   }
   return "";
}

std::vector< Remark > remarksOn( Value const & document ) {
   char const * const path = Catalog::pathOf( "polFragDir" );
   std::vector< Remark > remarks;
   forEachMember( document.member( path ), [&]( auto const & policy, Value const & fragments ) {
      forEachMember(
         fragments.member( "policyFragment" ), [&]( auto const & fragment, Value const & sets ) {
            forEachMember(
               sets.member( "serviceIntfSet" ), [&]( auto const & set, Value const & members ) {
                  forEachMember( members.member( "intf" ), [&]( auto const & intf, Value const & ) {
                     std::string pointer;
                     for ( std::string const & step :
                           { std::string( path ), policy, std::string( "policyFragment" ), fragment,
                             std::string( "serviceIntfSet" ), set, std::string( "intf" ), intf } ) {
                        pointer += Kel::pointerStep( step );
                     }
                     if ( std::string words = intfRemark( intf ); !words.empty() ) {
                        remarks.push_back( { std::move( pointer ), std::move( words ) } );
                     }
                  } );
               } );
         } );
   } );
   return remarks;
}

}  // namespace Views
