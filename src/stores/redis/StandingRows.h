#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/corestore/Store.h"
#include "platform/kel/HashMap2018.h"
#include "platform/kel/String.h"

namespace Redis {

/** What is known of a row that the server has. */
struct Standing {
   std::uint64_t fingerprint;
   /** Zero for a row that was put by others. */
   std::uint64_t position;
   Corestore::RowForm form;
};

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
   /** By the last step of their paths. */
   using Rows = Kel::HashMap2018< Kel::String, Standing >;
   using Holders = std::map< std::string, Rows, std::less<> >;

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
