#include "program/Output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "documents/Document.h"

namespace Program {

namespace fs = std::filesystem;

namespace {

constexpr mode_t forAll = 0666;

/** The name behind all links, of which the last may lead to what isn't there yet; empty for one
 * that cannot be found out. */
fs::path plainName( std::string const & file ) {
   std::error_code error;
   fs::path path = fs::absolute( file, error );
   for ( int links = 0; links != 40 && fs::is_symlink( path, error ); ++links ) {
      path = path.parent_path() / fs::read_symlink( path, error );
   }
   return fs::weakly_canonical( path, error );
}

}  // namespace

Output::Output( std::string file ) : file_( std::move( file ) ) {
   constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC;
   fd_ = ::open( file_.c_str(), flags | O_EXCL, forAll );
   made_ = fd_ != -1;
   if ( !made_ && errno == EEXIST ) {
      // It stands, or is a link, which may lead to what isn't there yet.
      fs::path const target = plainName( file_ );
      std::error_code error;
      made_ = !target.empty() && !fs::exists( target, error );
      fd_ = ::open( file_.c_str(), flags, forAll );
      file_ = made_ ? target.string() : file_;
   }
   check( fd_ != -1 );
   next_ = std::exchange( first_, this );
}

Output::~Output() {
   undo();
   ::close( fd_ );
   Output ** link = &first_;
   while ( *link != this ) {
      link = &( *link )->next_;
   }
   *link = next_;
}

void Output::undoAll() noexcept {
   for ( Output * output = first_; output; output = output->next_ ) {
      output->undo();
   }
}

void Output::check( bool done ) const {
   if ( !done ) {
      throw Documents::InputError( file_, "",
                                   std::string( "cannot be written: " ) + std::strerror( errno ) );
   }
}

void Output::undo() noexcept {
   if ( made_ && !begun_ ) {
      ::unlink( file_.c_str() );
   }
}

void Output::begin() {
   begun_ = true;
   struct stat status {};
   if ( ::fstat( fd_, &status ) == 0 && S_ISREG( status.st_mode ) ) {
      check( ::ftruncate( fd_, 0 ) == 0 );
   }
}

void Output::goOn() {
   begun_ = true;
   // A process that was killed may have left a part of a line.
   int const reader = ::open( file_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK );
   char last = '\n';
   struct stat status {};
   bool const known = reader != -1 && ::fstat( reader, &status ) == 0 &&
                      S_ISREG( status.st_mode ) && status.st_size > 0 &&
                      ::pread( reader, &last, 1, status.st_size - 1 ) == 1;
   ::close( reader );
   if ( known && last != '\n' ) {
      write( "\n" );
   }
}

void Output::write( std::string_view text ) {
   while ( !text.empty() ) {
      auto const written = ::write( fd_, text.data(), text.size() );
      check( written >= 0 || errno == EINTR );
      text.remove_prefix( written < 0 ? 0 : static_cast< std::size_t >( written ) );
   }
}

StepOutputs::StepOutputs( std::string directory, std::size_t steps )
   : directory_( std::move( directory ) ) {
   std::error_code error;
   for ( fs::path path = fs::absolute( directory_, error ); !fs::exists( path, error ) && !error;
         path = path.parent_path() ) {
      made_.push_back( path );
   }
   try {
      fs::create_directories( directory_, error );
      if ( error ) {
         throw Documents::InputError( directory_, "", "cannot be made: " + error.message() );
      }
      // No empty file stays for a step that isn't played, so that they are tried and removed.
      for ( std::size_t step = 0; step != steps; ++step ) {
         Output( nameOf( directory_, step ) );
      }
   } catch ( ... ) {
      removeMade();
      throw;
   }
}

StepOutputs::~StepOutputs() {
   removeMade();
}

void StepOutputs::removeMade() {
   // What has come to hold a file stays.
   for ( std::string const & path : made_ ) {
      ::rmdir( path.c_str() );
   }
}

std::string StepOutputs::nameOf( std::string const & directory, std::size_t step ) {
   return directory + "/" + std::to_string( step ) + ".json";
}

void StepOutputs::write( std::size_t step, std::string_view text ) {
   Output out( nameOf( directory_, step ) );
   out.begin();
   out.write( text );
}

bool sameFile( std::string const & a, std::string const & b ) {
   std::error_code error;
   if ( fs::exists( a, error ) && !fs::is_regular_file( a, error ) ) {
      return false;
   }
   fs::path const plain = plainName( a );
   return fs::equivalent( a, b, error ) || ( !plain.empty() && plain == plainName( b ) );
}

}  // namespace Program
