#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/corestore/Store.h"

struct redisReply;

/* Rows as a server keeps them. Entities and records are hashes, with a field a member; other values
 * are strings; both hold JSON. The entries of a book are fields of one hash, "[POSITION,VALUE]". */

namespace Redis {

/** The field that holds the place of a hash in its collection's order. */
inline constexpr std::string_view positionField = "@at";

/** The fields of a row as text; a plain value and the entry of a book have one without a name. */
class RowText {
 public:
   /** The row must live as long as it is looked at. */
   void rowIs( Corestore::Row const & row );

   std::size_t size() const { return fields_.size(); }
   std::string_view name( std::size_t field ) const { return fields_[field].name; }
   std::string_view json( std::size_t field ) const {
      return std::string_view( json_ ).substr( fields_[field].begin, fields_[field].size );
   }
   /** The same for the same fields, in whichever order. */
   std::uint64_t fingerprint() const;

 private:
   struct Field {
      std::string_view name;
      std::size_t begin;
      std::size_t size;
   };
   void add( std::string_view name, Kel::Value const & value );

   std::vector< Field > fields_;
   std::string json_;
};

/** A row that was read, and its place in the order; zero for one that was put by others. */
struct ReadRow {
   Corestore::Row row;
   std::uint64_t position = 0;
   std::uint64_t fingerprint = 0;
   /** Fields of an entity that cannot be read, and why; they are left out. */
   std::vector< std::pair< std::string, std::string > > bad = {};
};

/** A row from the fields of a hash, for RowForm::entity and RowForm::record. Throws
 * Kel::ValueError, for a record with the field as its place. */
ReadRow readHash( std::string path, Corestore::RowForm form, redisReply const & reply );
/** A row from a string. Throws Kel::ValueError. */
ReadRow readString( std::string path, redisReply const & reply );
/** The rows of a book; `bad` takes those that cannot be read. Throws Kel::ValueError for what is no
 *  book. */
std::vector< ReadRow > readBook(
   std::string const & path, redisReply const & reply,
   std::function< void( std::string const & path, std::string const & reason ) > const & bad );
/** Brings rows into the order in which they are applied: an entity before the rows below it,
 *  collections in the order in which this process put their rows, behind those that others have
 *  put, by name. */
void sortRows( std::vector< ReadRow > & rows );
/** The same, and the rows of a collection stand together, for whom nobody is told of each. */
void sortRowsTogether( std::vector< ReadRow > & rows );
}  // namespace Redis
