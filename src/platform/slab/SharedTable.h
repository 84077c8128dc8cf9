#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "platform/slab/Segment.h"
#include "platform/slab/TableLayout.h"

namespace Slab {

/** A row, or a whole table, that can't be read. The text names table and reason. */
class Corruption : public std::runtime_error {
   using std::runtime_error::runtime_error;
};

using Bytes = std::span< std::byte const >;
using MutableBytes = std::span< std::byte >;

enum class PutResult { Inserted, Changed, Unchanged };

/**
 * A table of rows of fixed length in shared memory, found by keys of fixed length, walked in the
 * order of insertion. One object, in one process, writes; any number read, in this process and in
 * others, without locks and without being able to disturb the writer.
 *
 * Keys and rows are compared, hashed and checked as bytes, so that types stored here must have no
 * padding. A span of another length than the table's is a std::invalid_argument.
 *
 * Reads are checked: each row has a sequence word, odd while it is being written, and a checksum of
 * key and row. A read that meets a write is repeated, for a second at most, and only once more when
 * the writing process is found dead; then, or if the checksum is wrong, it throws Corruption. Const
 * operations may run in several threads at once.
 */
class SharedTable {
 public:
   /** Makes the table and is its only writer; the destructor unlinks `name`. Memory is taken row by
    *  row as it is used, whatever the capacity. Throws std::system_error (name in use, no memory)
    * and Kel::RangeException (lengths, capacity). */
   static SharedTable create( std::string const & name, std::size_t keyLength,
                              std::size_t rowLength, std::size_t capacity );

   /** Maps an existing table read-only. Throws std::system_error if there is none, Corruption if it
    *  isn't a complete table of these lengths. */
   static SharedTable open( std::string const & name, std::size_t keyLength,
                            std::size_t rowLength );

   SharedTable( SharedTable const & ) = delete;
   SharedTable & operator=( SharedTable const & ) = delete;

   std::string const & name() const { return segment_.name(); }
   std::size_t keyLength() const { return keyLength_; }
   std::size_t rowLength() const { return rowLength_; }
   std::size_t capacity() const { return capacity_; }
   std::size_t size() const;
   bool writable() const { return segment_.writable(); }

   /** Whether there is a row, which is then copied out; else, and on a throw, the content of
    *  `rowOut` is unspecified. Throws Corruption. */
   bool lookup( Bytes key, MutableBytes rowOut ) const;

   /** The same without sequence and checksum: what a lookup costs at least. May yield a mixture. */
   bool lookupUnchecked( Bytes key, MutableBytes rowOut ) const;

   /**
    * A place in the table's order. It stays good through every change: each row that stands
    * throughout the walk is met exactly once, rows added meanwhile are met too. The table must
    * outlive it.
    */
   class Cursor {
    public:
      /** Steps to the next row and copies it out (an empty span is skipped); false at the end.
       *  Throws Corruption for a row that can't be read and then stands behind it, so that the walk
       *  may go on; if the table as a whole can't be read, the cursor is at its end after that. */
      bool next( MutableBytes keyOut, MutableBytes rowOut );

    private:
      friend class SharedTable;
      explicit Cursor( SharedTable const & table ) : table_( &table ) {}

      SharedTable const * table_;
      std::uint64_t last_ = 0;  // insertion number of the row met last
      bool finished_ = false;
      // Where the next row is looked for, as long as rows have not been moved since.
      std::uint64_t arrangement_ = 1;
      std::size_t slot_ = 0;
   };

   Cursor begin() const { return Cursor( *this ); }

   // The writer's operations; std::logic_error in a reader.

   /** Adds or overwrites a row; an equal, sound row is left as it is. An overwrite keeps the row's
    *  place in the order and heals a damaged row. Throws Kel::RangeException, with nothing changed,
    *  if the key is new and the table full. */
   PutResult put( Bytes key, Bytes bytes );

   /** False if there is no such row. A damaged row can be erased. */
   bool erase( Bytes key );

   void clear();

   /** Makes the stored checksum of a row wrong, for trials of what readers do then; false if there
    *  is no such row. */
   bool corruptChecksum( Bytes key );

 private:
   enum class Reading { Found, Absent, Torn, Damaged, Rearranging, BadIndex };

   SharedTable( std::string const & name, std::uint32_t keyLength, std::uint32_t rowLength,
                std::uint32_t capacity );
   SharedTable( std::string const & name, std::uint32_t keyLength, std::uint32_t rowLength );

   Layout::Header & header() const;
   std::uint64_t & bucket( std::size_t number ) const;
   Layout::RowHeader & row( std::size_t slot ) const;
   std::uint64_t * keyWords( std::size_t slot ) const;
   std::uint64_t * rowWords( std::size_t slot ) const;

   std::uint32_t checkedCapacity() const;
   void requireKey( Bytes key ) const;
   void requireRow( Bytes row ) const;
   void requireWriter() const;
   [[noreturn]] void throwCorruption( Reading reading, std::size_t slot ) const;

   /** Repeats `attempt` until it meets neither a moving nor a half-written row, or gives up. */
   template < typename Attempt >
   Reading settled( Attempt attempt ) const;
   Reading probe( Bytes key, MutableBytes rowOut, std::size_t & slot ) const;
   /** Reads one slot; with a `wanted` key, a sound row of another key is absent. */
   Reading readRow( std::size_t slot, Bytes wanted, MutableBytes keyOut,
                    MutableBytes rowOut ) const;
   std::size_t firstSlotAfter( std::uint64_t insertion, std::size_t end ) const;

   std::optional< std::size_t > find( Bytes key, std::uint64_t hash ) const;
   std::uint64_t storedChecksum( std::size_t slot ) const;
   bool holds( std::size_t slot, Bytes key, Bytes bytes, std::uint64_t checksum ) const;
   void indexRow( std::size_t slot );
   void compact();

   template < typename Change >
   void writeRow( std::size_t slot, Change change );
   template < typename Change >
   void rearrange( Change change );

   Segment segment_;
   // Copies, so that a header damaged later can't lead an access out of the segment.
   std::uint32_t keyLength_;
   std::uint32_t rowLength_;
   std::uint32_t capacity_;
   Layout::Geometry geometry_;
   pid_t writer_;
   std::uint64_t nextInsertion_ = 1;
};

}  // namespace Slab
