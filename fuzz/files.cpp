// Files from outside: a binary trace, the file of a run, and the rows in such a file. The first
// byte says which; each is read to its end or refused.

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "Shown.h"
#include "platform/corestore/ValueText.h"
#include "platform/flashlog/Decode.h"
#include "scenario/Switch.h"
#include "stores/sqlite/SqliteStore.h"

namespace {

/** The input as a file, under a name of this process's own, for as long as this lives. */
class File {
 public:
   explicit File( std::string_view bytes ) { std::ofstream( name, std::ios::binary ) << bytes; }
   ~File() { std::filesystem::remove( name ); }
   File( File const & ) = delete;
   File & operator=( File const & ) = delete;

   std::string const name = "/dev/shm/qorclient-fuzz-" + std::to_string( getpid() );
};

/** Rows out of lines: path and value, with a tab in between. */
class Lines final : public Corestore::Store {
 public:
   explicit Lines( std::string_view text ) : text_( std::string( text ) ) {}
   void load( std::function< void( Corestore::Row const & ) > const & row ) override {
      for ( std::string line; std::getline( text_, line ); ) {
         std::size_t const tab = std::min( line.find( '\t' ), line.size() );
         Corestore::Row read{ line.substr( 0, tab ), {}, {} };
         try {
            read.value = Corestore::parseJson( std::string_view( line ).substr( tab ) );
         } catch ( Corestore::TextError const & ) {
            continue;
         }
         row( read );
      }
   }
   void put( Corestore::Row const & ) override {}
   void del( std::string const & ) override {}
   void flush() override {}

 private:
   std::istringstream text_;
};

void loadFrom( Corestore::Store & store ) {
   Scenarios::Switch const device(
      { .with = Scenarios::Switch::With::StateAlone, .initial = &store } );
   Fuzz::showAll( device.entityManager() );
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput( std::uint8_t const * data, std::size_t size ) {
   std::string_view const input( reinterpret_cast< char const * >( data ), size );
   try {
      if ( input.starts_with( 'D' ) ) {
         std::ostringstream text;
         File const file( input.substr( 1 ) );
         Flashlog::decode( file.name, text );
      } else if ( input.starts_with( 'S' ) ) {
         File const file( input.substr( 1 ) );
         Corestore::SqliteStore store( file.name, Corestore::SqliteStore::Mode::read );
         loadFrom( store );
      } else if ( input.starts_with( 'R' ) ) {
         Lines lines( input.substr( 1 ) );
         loadFrom( lines );
      }
   } catch ( Flashlog::DecodeError const & ) {
   } catch ( Corestore::StoreError const & ) {
   } catch ( Kel::ValueError const & ) {
   }
   return 0;
}
