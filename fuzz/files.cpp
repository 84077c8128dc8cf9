// Files from outside: a binary trace, the file of a run, and the rows in such a file. The first
// byte says which; each is read to its end or refused.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/corestore/SqliteStore.h"
#include "platform/flashlog/Decode.h"
#include "runner/Switch.h"
#include "runner/tables/Tables.h"

namespace {

/** The input as a file, under a name of this process's own. */
std::string fileOf( std::string_view bytes ) {
   static std::string const name = "/dev/shm/qorclient-fuzz-" + std::to_string( getpid() );
   std::ofstream( name, std::ios::binary ) << bytes;
   return name;
}

/** Rows out of lines: the four fields of a row have tabs in between. */
class Lines final : public Corestore::Store {
 public:
   explicit Lines( std::string_view text ) : text_( std::string( text ) ) {}
   void load( std::function< void( Corestore::Row const & ) > const & row ) override {
      for ( std::string line; std::getline( text_, line ); ) {
         std::istringstream fields( line );
         Corestore::Row read;
         for ( std::string * field : { &read.path, &read.attribute, &read.key, &read.value } ) {
            std::getline( fields, *field, '\t' );
         }
         row( read );
      }
   }
   void put( Corestore::Row const & ) override {}
   void del( std::string const &, std::string const &, std::string const & ) override {}
   void flush() override {}

 private:
   std::istringstream text_;
};

void loadFrom( Corestore::Store & store ) {
   Runner::Switch const device( { .with = Runner::Switch::With::StateAlone, .initial = &store } );
   for ( std::string const & table : Runner::tableNames() ) {
      std::ostringstream text;
      Runner::tableOf( table, device ).print( text );
   }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput( std::uint8_t const * data, std::size_t size ) {
   std::string_view const input( reinterpret_cast< char const * >( data ), size );
   try {
      if ( input.starts_with( 'D' ) ) {
         std::ostringstream text;
         Flashlog::decode( fileOf( input.substr( 1 ) ), text );
      } else if ( input.starts_with( 'S' ) ) {
         Corestore::SqliteStore store( fileOf( input.substr( 1 ) ),
                                       Corestore::SqliteStore::Mode::read );
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
