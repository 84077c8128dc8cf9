#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/corestore/Store.h"

namespace Redis {

/** What is known of a row that the server has. */
class Standing {
 public:
   Standing( std::uint64_t fingerprint, std::uint64_t position, Corestore::RowForm form )
      : fingerprint_( fingerprint ),
        place_( position << formBits | static_cast< std::uint64_t >( form ) ) {}

   std::uint64_t fingerprint() const { return fingerprint_; }
   void fingerprintIs( std::uint64_t fingerprint ) { fingerprint_ = fingerprint; }
   /** Zero for a row that was put by others. */
   std::uint64_t position() const { return place_ >> formBits; }
   void positionIs( std::uint64_t position ) { *this = { fingerprint_, position, form() }; }
   Corestore::RowForm form() const {
      return static_cast< Corestore::RowForm >( place_ & ( ( 1U << formBits ) - 1 ) );
   }

 private:
   static constexpr unsigned formBits = 3;
   static_assert( static_cast< unsigned >( Corestore::RowForm::bookMap ) < 1U << formBits );

   std::uint64_t fingerprint_;
   /** Together, since there are as many as rows. */
   std::uint64_t place_;
};

/** Rows by their names, those of one collection. As there are as many as rows, each has one piece
 *  of memory, and a table of pointers finds it. */
class NamedRows {
 public:
   NamedRows() = default;
   NamedRows( NamedRows const & ) = delete;
   NamedRows & operator=( NamedRows const & ) = delete;
   ~NamedRows();

   bool empty() const { return count_ == 0; }
   /** Null for none. Valid until the row is taken out. */
   Standing * find( std::string_view name ) const;
   /** Adds one that is not there. */
   Standing & add( std::string_view name, Standing const & standing );
   /** Takes one out; nothing where none is. */
   std::optional< Standing > take( std::string_view name );
   /** `visit` changes nothing here. */
   template < class Visit >
   void forEach( Visit const & visit ) const {
      for ( std::size_t at = 0; at != size_; ++at ) {
         if ( slots_[at] ) {
            visit( slots_[at]->name(), slots_[at]->standing );
         }
      }
   }

 private:
   struct Named {
      Standing standing;
      std::uint32_t size;

      /** The name's bytes follow. */
      char * bytes() { return reinterpret_cast< char * >( &size + 1 ); }
      std::string_view name() { return { bytes(), size }; }
   };

   std::size_t homeOf( std::string_view name ) const;
   std::size_t next( std::size_t at ) const { return ( at + 1 ) & ( size_ - 1 ); }
   /** Where it stands, or would. */
   std::size_t placeOf( std::string_view name ) const;
   void sizeIs( std::size_t size );

   /** Null where nothing stands: a search ends there. */
   Named ** slots_ = nullptr;
   /** Zero or a power of two. */
   std::size_t size_ = 0;
   std::size_t count_ = 0;
};

}  // namespace Redis
