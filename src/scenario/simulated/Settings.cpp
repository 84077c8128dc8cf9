#include "scenario/simulated/Settings.h"

#include "documents/Document.h"

namespace Scenarios::Simulated {

namespace {

using Kel::Value;
using Kel::ValueError;

}  // namespace

Settings readSettings( Value const & value ) {
   Settings settings;
   for ( auto const & member : Documents::objectOf( value ) ) {
      Documents::below( member.first, [&] {
         if ( member.first == "vlanPool" ) {
            settings.vlanPool = VxlanAgent::readVlanPool(
               Documents::wanted< std::string >( member.second, "a range of VLANs" ) );
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
