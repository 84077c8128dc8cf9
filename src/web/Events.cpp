#include "web/Events.h"

#include <algorithm>

#include "platform/corestore/ValueText.h"

namespace Web {

std::string eventText( std::string_view name, Kel::Value const & data ) {
   // JSON on one line has no line end that would end the event.
   return "event: " + std::string( name ) + "\ndata: " + Corestore::jsonLine( data ) + "\n\n";
}

void Events::tell( std::string_view name, Kel::Value const & data ) {
   ++told_;
   add( eventText( name, data ) );
}

void Events::add( std::string text ) {
   texts_.push_back( std::move( text ) );
   if ( texts_.size() > kept ) {
      texts_.pop_front();
      ++first_;
   }
   if ( new_ ) {
      new_();
   }
}

std::size_t Events::read( Reader & reader, char * bytes, std::size_t most ) {
   if ( reader.event < first_ ) {
      // An event of which it has read a part must end first, and all others are one.
      std::string const text = ( reader.offset == 0 ? "" : "\n\n" ) + eventText( "missed", {} );
      if ( most < text.size() ) {
         return 0;
      }
      reader = begin();
      return text.copy( bytes, most );
   }
   std::size_t size = 0;
   while ( size != most && reader.event - first_ < texts_.size() ) {
      std::string const & text = texts_[reader.event - first_];
      std::size_t const part = text.copy( bytes + size, most - size, reader.offset );
      size += part;
      reader.offset += part;
      if ( reader.offset == text.size() ) {
         reader = { reader.event + 1, 0 };
      }
   }
   return size;
}

}  // namespace Web
