#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "stores/redis/NamedRows.h"

namespace Redis {

/** The rows that the server has, as far as it is known here. They stand by what they are in, whose
 *  path is most of their own and the same for many. */
class StandingRows {
 public:
   /** Null for none. Valid until a row is added or taken out. */
   Standing * find( std::string_view path );
   bool contains( std::string_view path ) { return find( path ) != nullptr; }
   /** What stands at a path, which is this if nothing has stood there; and whether that is so. */
   std::pair< Standing &, bool > add( std::string_view path, Standing const & standing );
   void erase( std::string_view path );
   void clear();

   using Visit = std::function< void( std::string const & path, Standing const & standing ) >;
   void forEachBelow( std::string_view path, Visit const & visit ) const;
   /** Takes out what stands at a path and below it. */
   void take( std::string const & path, Visit const & visit );

 private:
   /** Rows go by the last step of their paths. */
   using Holders = std::map< std::string, NamedRows, std::less<> >;

   /** Where rows in that stand; the end for nowhere. */
   Holders::iterator holder( std::string_view path );
   std::optional< Standing > takeRow( std::string_view path );
   /** The holders whose paths go on behind that one. */
   template < class Map >
   static auto below( Map & holders, std::string_view path );
   static void forEachIn( Holders::value_type const & holder, Visit const & visit );

   Holders holders_;
   /** The one that was asked for last, as the next is often the same. */
   Holders::iterator last_ = holders_.end();
};

}  // namespace Redis
