#include "records/catalog/Meaning.h"

#include <algorithm>

namespace Catalog {

namespace {

auto & makers() {
   static std::vector< Meanings ( * )() > all;
   return all;
}

}  // namespace

bool meaningsAre( Meanings ( *make )() ) {
   makers().push_back( make );
   return true;
}

Meanings const & meanings() {
   static Meanings const all = [] {
      Meanings made;
      for ( auto const make : makers() ) {
         std::ranges::move( make(), std::back_inserter( made ) );
      }
      std::ranges::sort( made, {}, &Meaning::type );
      return made;
   }();
   return all;
}

Meaning const * meaningNamed( std::string_view type ) {
   auto const & all = meanings();
   auto const found = std::ranges::lower_bound( all, type, {}, &Meaning::type );
   return found != all.end() && found->type == type ? &*found : nullptr;
}

Meaning withWords( Meaning meaning, std::vector< Words > const & words ) {
   for ( Words const & given : words ) {
      auto const part = std::ranges::find( meaning.parts, given.name, &Part::name );
      if ( part == meaning.parts.end() || !part->words.empty() ) {
         meaning.strays.emplace_back( given.name );
         continue;
      }
      part->words = given.words;
      if ( !std::string_view( given.numbers ).empty() ) {
         part->value = { std::string( "a number of " ) + given.numbers, given.numbers };
      }
   }
   return meaning;
}

}  // namespace Catalog
