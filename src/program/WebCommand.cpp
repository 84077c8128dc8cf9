#include "program/WebCommand.h"

#include <unistd.h>

#include <filesystem>

#include "documents/Document.h"

namespace Program {

int startWeb( WebOptions const & options ) {
   std::error_code ignored;
   auto const program =
      std::filesystem::read_symlink( "/proc/self/exe", ignored ).parent_path() / "qorclient-web";
   ::execv( program.c_str(), const_cast< char * const * >( options.words ) );
   throw Documents::InputError( program, "", "the program of the page is not installed" );
}

}  // namespace Program
