#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/kel/Notifier.h"
#include "platform/kel/String.h"
#include "platform/kel/Value.h"

/*
 * Type records: what a class is made of, for code that handles any of them: documents, dumps, the
 * change journal, the store, the wiring. Keys and values appear in text and neutral form here.
 */

namespace Kel {

struct TriggerTable;

enum class AttributeKind {
   Scalar,     ///< one value
   Map,        ///< values by key
   Children,   ///< entities by key
   Reference,  ///< one entity or none
   Directory,  ///< entities of any type by name

   // Of state machines; they have a name, a kind and a type, and no operations.
   Watched,        ///< a notifier with its trigger table
   Given,          ///< held from construction on, singletons too
   Own,            ///< a value
   OwnCollection,  ///< values by key, or keys alone
   Child,          ///< a machine that is owned
   ChildrenByKey,  ///< machines that are owned, by key
   NestedByKey     ///< nested reactors by key
};

/** One attribute of a class. Which operations apply depends on its kind. */
class AttributeRecord {
 public:
   AttributeRecord( char const * name, AttributeKind kind ) : name_( name ), kind_( kind ) {}
   virtual ~AttributeRecord() = default;

   char const * name() const { return name_; }
   AttributeKind kind() const { return kind_; }
   AttributeId id() const { return id_; }
   void idIs( AttributeId id ) { id_ = id; }

   /** The text of a key as a notification carries it; empty for an attribute without keys. */
   virtual std::string keyText( void const * key ) const;
   /** Whether the entry that a notification names stands; true for a scalar. */
   virtual bool has( Notifier const & notifier, void const * key ) const;
   /** Throws ValueError when the text is no key of this attribute. */
   virtual void checkKey( std::string_view key ) const;
   /** The text that stands for the same key in `keys`. Throws as `checkKey`. */
   virtual std::string plainKey( std::string_view key ) const;
   /** The keys' texts, in order. */
   virtual std::vector< std::string > keys( Notifier const & notifier ) const;
   /** Whether it is a map of records. */
   virtual bool holdsRecords() const { return false; }

   // Scalar (with an empty key) and Map.
   /** Nothing for an absent key or a scalar at its default. */
   virtual std::optional< Value > read( Notifier const & notifier, std::string_view key ) const;
   /** Throws ValueError when the patch would not fit. */
   virtual void check( std::string_view key, Value const & patch ) const;
   /** Applies the patch by one mutator call. Null deletes a key or sets the default. */
   virtual void write( Notifier & notifier, std::string_view key, Value const & patch ) const;
   /** The same for a whole value: what it does not name, inside it too, is at its default. Throws
    *  ValueError when it would not fit. */
   virtual void valueIs( Notifier & notifier, std::string_view key, Value const & value ) const;
   /** The value that `write` would leave there; the default's for a null patch. */
   virtual Value preview( Notifier const & notifier, std::string_view key,
                          Value const & patch ) const;
   /** Damages a row of a table in shared memory; false when there is no such row. */
   virtual bool corrupt( Notifier & notifier, std::string_view key ) const;

   // Children, Reference (with an empty key) and Directory.
   /** The type of the entities; null for a directory. Of a machine's member the type of what it
    *  holds; null for a plain value. */
   virtual TypeRecord const * elementType() const;
   virtual Ptr< Entity > child( Notifier const & notifier, std::string_view key ) const;
   /**
    * A new entity. `prepare` sees it before it is announced. `type` is for directories alone.
    * The mutator keeps an entity that stands already.
    */
   virtual Ptr< Entity > childIs( Notifier & notifier, std::string_view key,
                                  TypeRecord const * type,
                                  std::function< void( Entity & ) > const & prepare ) const;
   virtual void childDel( Notifier & notifier, std::string_view key ) const;

   // Of a machine's member.
   /** Whether the machine holds it to write it, or to hand it on to one that does. */
   virtual bool isWritable() const { return false; }
   /** Null for what isn't watched. */
   virtual TriggerTable const * triggers() const { return nullptr; }

 private:
   char const * name_;
   AttributeKind kind_;
   AttributeId id_ = 0;
};

using AttributeRecords = std::vector< std::unique_ptr< AttributeRecord > >;

struct TypeRecord {
   /** The full name, as "QorClient::Status". */
   char const * name;
   /** In order of their ids. Made on first use. */
   AttributeRecords const & ( *attributes )();
   /** A new entity under that name; null for a class that is not made by name. */
   Ptr< Entity > ( *create )( Name const & name );
   bool isMachine = false;

   /** Null when there is no such attribute. */
   AttributeRecord const * attribute( std::string_view attributeName ) const;
};

/** The `create` of a class that is not made by name. */
Ptr< Entity > createNothing( Name const & name );

/** Registers a class at load time. */
bool typeNodeIs( TypeRecord const & ( *type )() );
/** Null when no class of that name is registered. */
TypeRecord const * typeNode( std::string_view name );
/** All registered classes of state machines, by name. */
std::vector< TypeRecord const * > machineTypes();

}  // namespace Kel
