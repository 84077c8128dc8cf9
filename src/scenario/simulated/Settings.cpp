#include "scenario/simulated/Settings.h"

#include <charconv>

#include "documents/Document.h"

namespace Scenarios::Simulated {

namespace {

using Kel::Value;
using Kel::ValueError;

constexpr std::uint16_t highestVlan = 4094;

std::uint16_t vlanOf( std::string_view text ) {
   std::uint16_t number = 0;
   auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), number );
   if ( error != std::errc{} || end != text.data() + text.size() || number < 1 ||
        number > highestVlan ) {
      throw ValueError( "wants a range of VLANs, as \"1000-1999\"" );
   }
   return number;
}

void readPool( Settings & settings, Value const & value ) {
   std::string_view const text = Documents::wanted< std::string >( value, "a range of VLANs" );
   std::size_t const dash = text.find( '-' );
   settings.firstVlan = vlanOf( text.substr( 0, dash ) );
   settings.lastVlan =
      dash == std::string_view::npos ? settings.firstVlan : vlanOf( text.substr( dash + 1 ) );
   if ( settings.lastVlan < settings.firstVlan ) {
      throw ValueError( "wants the lower VLAN of a range first" );
   }
}

}  // namespace

Settings readSettings( Value const & value ) {
   Settings settings;
   for ( auto const & member : Documents::objectOf( value ) ) {
      Documents::below( member.first, [&] {
         if ( member.first == "vlanPool" ) {
            readPool( settings, member.second );
         } else if ( member.first == "flowCapacity" ) {
            settings.flowCapacity =
               Documents::wanted< std::uint64_t >( member.second, "a whole number from 0" );
         } else if ( member.first == "answerAfter" ) {
            settings.answerAfter = Documents::secondsOf( member.second );
         } else {
            throw ValueError( "unknown member of a switch" );
         }
      } );
   }
   return settings;
}

}  // namespace Scenarios::Simulated
