#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Redis {

/** The keys of one switch. All share a hash tag, so that a cluster keeps them together. Those that
 *  begin with "@" behind the prefix are the store's own. */
class Keys {
 public:
   explicit Keys( std::string_view switchName )
      : prefix_( "qor{" + std::string( switchName ) + "}:" ) {}

   std::string const & prefix() const { return prefix_; }
   std::string of( std::string_view path ) const { return prefix_ + std::string( path ); }
   /** The path of a key; nothing for one of another switch. */
   std::optional< std::string_view > pathOf( std::string_view key ) const {
      return key.starts_with( prefix_ ) ? std::optional( key.substr( prefix_.size() ) )
                                        : std::nullopt;
   }
   static bool isOwn( std::string_view path ) { return path.starts_with( '@' ); }

   /** Which state this is: a hash of `id`, `created`, `accepted`. */
   std::string state() const { return of( "@state" ); }
   /** The order in which plain values were put: a sorted set of paths. */
   std::string order() const { return of( "@order" ); }
   /** How often whoever has the lease has written. */
   std::string turn( std::string_view role ) const { return of( "@turn/" ) + std::string( role ); }
   /** Who may write in that role: "FENCE HOLDER", as long as it is renewed. */
   std::string lease( std::string_view role ) const {
      return of( "@lease/" ) + std::string( role );
   }
   /** The highest fence that was given to that role. */
   std::string fence( std::string_view role ) const {
      return of( "@fence/" ) + std::string( role );
   }
   /** What a process says of itself: a hash. */
   std::string process( std::string_view role ) const {
      return of( "@process/" ) + std::string( role );
   }

 private:
   std::string prefix_;
};

}  // namespace Redis
