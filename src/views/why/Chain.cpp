#include "views/why/Chain.h"

#include <algorithm>
#include <iomanip>

#include "views/tables/TextTable.h"

namespace Views {

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

void Chain::add( char const * name, Finding finding, std::string & words, char const * path ) {
   links_.push_back( { name, finding, std::move( words ), path } );
}

bool Chain::holds() const {
   return std::ranges::all_of( links_, isGood );
}

Chain::Link const * Chain::reason() const {
   auto first = std::ranges::find_if_not( links_, isGood );
   if ( first == links_.end() ) {
      return nullptr;
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
   return &*first;
}

std::string Chain::summary() const {
   Link const * const first = reason();
   if ( !first ) {
      return "programmed";
   }
   char const * const state = inHardware_                           ? "programmed, but "
                              : first->finding == Finding::rejected ? "rejected: "
                                                                    : "waiting: ";
   return state + first->words;
}

void Chain::print( std::ostream & out ) const {
   auto const at = []( Link const & link ) {
      return link.path ? std::string( " (" ) + link.path + ")" : std::string();
   };
   std::size_t width = 0;
   for ( Link const & link : links_ ) {
      width = std::max( width, std::string_view( link.name ).size() );
   }
   out << printable( flow_ ) << ": " << printable( kind_ ) << '\n';
   for ( Link const & link : links_ ) {
      out << "  " << std::left << std::setw( 8 ) << word( link.finding ) << "  "
          << std::setw( static_cast< int >( width ) ) << link.name << "  "
          << printable( link.words ) << at( link ) << '\n';
   }
   Link const * const first = reason();
   out << printable( summary() ) << ( first ? at( *first ) : "" ) << '\n';
}

Kel::Value::Object Chain::members() const {
   auto const at = []( Link const * link ) {
      return link && link->path ? Kel::Value( link->path ) : Kel::Value();
   };
   Kel::Value::Array links;
   for ( Link const & link : links_ ) {
      links.emplace_back( Kel::Value::Object{ { "link", link.name },
                                              { "finding", word( link.finding ) },
                                              { "words", link.words },
                                              { "path", at( &link ) } } );
   }
   return { { "flow", flow_ },
            { "kind", kind_ },
            { "links", links },
            { "summary", summary() },
            { "path", at( reason() ) } };
}

}  // namespace Views
