#include "runner/why/Chain.h"

#include <algorithm>
#include <iomanip>

#include "runner/tables/TextTable.h"

namespace Runner {

char const * Chain::word( Finding finding ) {
   switch ( finding ) {
      case Finding::ok:
         return "ok";
      case Finding::missing:
      case Finding::underWay:
      case Finding::lacking:
         return "missing";
      case Finding::rejected:
         return "rejected";
      case Finding::note:
         return "note";
   }
   return "";
}

bool Chain::holds() const {
   return std::ranges::all_of( links_, isGood );
}

std::string Chain::summary() const {
   auto first = std::ranges::find_if_not( links_, isGood );
   if ( first == links_.end() ) {
      return "programmed";
   }
   auto const firstOf = [&]( Finding finding ) {
      auto const found = std::ranges::find( links_, finding, &Link::finding );
      return found == links_.end() ? first : found;
   };
   if ( first->finding == Finding::lacking ) {
      first = firstOf( Finding::rejected );
   }
   if ( first->finding == Finding::rejected ) {
      first = firstOf( Finding::underWay );
   }
   char const * const state = inHardware_                           ? "programmed, but "
                              : first->finding == Finding::rejected ? "rejected: "
                                                                    : "waiting: ";
   return state + first->words;
}

void Chain::print( std::ostream & out ) const {
   std::size_t width = 0;
   for ( Link const & link : links_ ) {
      width = std::max( width, std::string_view( link.name ).size() );
   }
   out << printable( flow_ ) << ": " << printable( kind_ ) << '\n';
   for ( Link const & link : links_ ) {
      out << "  " << std::left << std::setw( 8 ) << word( link.finding ) << "  "
          << std::setw( static_cast< int >( width ) ) << link.name << "  "
          << printable( link.words ) << '\n';
   }
   out << printable( summary() ) << '\n';
}

Kel::Value::Object Chain::members() const {
   Kel::Value::Array links;
   for ( Link const & link : links_ ) {
      links.emplace_back( Kel::Value::Object{
         { "link", link.name }, { "finding", word( link.finding ) }, { "words", link.words } } );
   }
   return { { "flow", flow_ }, { "kind", kind_ }, { "links", links }, { "summary", summary() } };
}

}  // namespace Runner
