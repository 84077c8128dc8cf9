#include "live/Process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

namespace Live {

namespace fs = std::filesystem;

Folder::Folder() {
   std::string pattern = fs::temp_directory_path() / "qorclient-live-XXXXXX";
   path_ = mkdtemp( pattern.data() );
}

Folder::~Folder() {
   std::error_code ignored;
   fs::remove_all( path_, ignored );
}

Process::Process( std::vector< std::string > const & words, fs::path output )
   : output_( std::move( output ) ), pid_( ::fork() ) {
   if ( pid_ == 0 ) {
      // A test that is killed leaves nothing behind.
      ::prctl( PR_SET_PDEATHSIG, SIGKILL );
      int const fd = ::open( output_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600 );
      ::dup2( fd, STDOUT_FILENO );
      ::dup2( fd, STDERR_FILENO );
      // What a test leaves open is not this program's.
      ::close_range( 3, ~0U, 0 );
      ::setenv( "FLASHLOG_DISABLE", "1", 1 );
      std::vector< char * > arguments;
      for ( std::string const & word : words ) {
         arguments.push_back( const_cast< char * >( word.c_str() ) );
      }
      arguments.push_back( nullptr );
      ::execvp( arguments[0], arguments.data() );
      ::_exit( 127 );
   }
}

Process::~Process() {
   kill();
}

void Process::signal( int number ) const {
   if ( !code_ ) {
      ::kill( pid_, number );
   }
}

void Process::kill() {
   signal( SIGKILL );
   ended();
}

std::optional< int > Process::ended( double seconds ) {
   eventually( [this] { return !isRunning(); }, seconds );
   return code_;
}

bool Process::isRunning() {
   int status = 0;
   if ( !code_ && ::waitpid( pid_, &status, WNOHANG ) == pid_ ) {
      code_ = WIFEXITED( status ) ? WEXITSTATUS( status ) : 128 + WTERMSIG( status );
   }
   return !code_;
}

double Process::cpuSeconds() const {
   std::ifstream stat( "/proc/" + std::to_string( pid_ ) + "/stat" );
   std::string line;
   std::getline( stat, line );
   // Behind the name, which may hold anything, the 12th and 13th are the user's and the system's.
   std::istringstream words( line.substr( line.rfind( ')' ) + 1 ) );
   std::string word;
   for ( int i = 0; i != 11; ++i ) {
      words >> word;
   }
   double user = 0;
   double system = 0;
   words >> user >> system;
   return ( user + system ) / static_cast< double >( ::sysconf( _SC_CLK_TCK ) );
}

std::string Process::output() const {
   std::ostringstream text;
   text << std::ifstream( output_, std::ios::binary ).rdbuf();
   return text.str();
}

bool eventually( std::function< bool() > const & condition, double seconds ) {
   auto const end = std::chrono::steady_clock::now() + std::chrono::duration< double >( seconds );
   while ( !condition() ) {
      if ( std::chrono::steady_clock::now() > end ) {
         return false;
      }
      std::this_thread::sleep_for( std::chrono::milliseconds( 2 ) );
   }
   return true;
}

bool hasProgram( std::string const & name ) {
   char const * const path = std::getenv( "PATH" );
   std::istringstream folders( path ? path : "" );
   for ( std::string folder; std::getline( folders, folder, ':' ); ) {
      if ( ::access( ( folder + "/" + name ).c_str(), X_OK ) == 0 ) {
         return true;
      }
   }
   return false;
}

}  // namespace Live
