#include "failing/Faults.h"

#include <fstream>
#include <map>
#include <sstream>

namespace Failing {

namespace {

/** How a call fails: as a full machine says it, or one that is torn from the others. */
std::string failureOf( std::string const & call ) {
   static std::map< std::string, std::string > const failures = {
      // The kernel leaves the heap's end where it is.
      { "brk", "retval=0" },
      { "clone", "error=EAGAIN" },
      { "clone3", "error=EAGAIN" },
      { "connect", "error=ECONNREFUSED" },
      { "ftruncate", "error=ENOSPC" },
      { "kill", "error=EPERM" },
      { "mmap", "error=ENOMEM" },
      { "mprotect", "error=ENOMEM" },
      { "mremap", "error=ENOMEM" },
      { "openat", "error=EMFILE" },
      { "pipe2", "error=EMFILE" },
      { "recvfrom", "error=ECONNRESET" },
      { "recvmsg", "error=ECONNRESET" },
      { "sendmsg", "error=ENOBUFS" },
      { "sendto", "error=ENOBUFS" },
      { "signalfd4", "error=EMFILE" },
      { "socket", "error=EMFILE" },
      { "write", "error=ENOSPC" } };
   auto const found = failures.find( call );
   return found == failures.end() ? "error=EIO" : found->second;
}

/** Calls that cannot fail, of which the program isn't the one who asks, or over whose failure the C
 *  library ends the process by itself. */
bool isPassedOver( std::string const & call ) {
   return call == "execve" || call == "exit_group" || call == "exit" || call == "rt_sigreturn" ||
          call == "restart_syscall" || call == "futex";
}

std::vector< std::string > withAllocations( std::vector< std::string > const & variables ) {
   std::vector< std::string > words{ "env", "LD_PRELOAD=" QORCLIENT_ALLOCATIONS_LIBRARY };
   words.insert( words.end(), variables.begin(), variables.end() );
   return words;
}

}  // namespace

std::vector< std::string > countingCalls( std::filesystem::path const & file ) {
   return { "strace", "-D", "-f", "-qq", "-o", file };
}

std::vector< std::string > countingAllocations( std::filesystem::path const & file ) {
   return withAllocations( { "QORCLIENT_ALLOCATIONS=" + file.string() } );
}

std::vector< Fault > failingCalls( std::filesystem::path const & counted,
                                   std::filesystem::path const & told ) {
   struct Count {
      unsigned beforeMain = 0;
      unsigned all = 0;
   };
   std::map< std::string, Count > counts;
   bool isInMain = false;
   std::ifstream in( counted );
   // "PID  CALL(ARGUMENTS) = RESULT"
   for ( std::string line; std::getline( in, line ); ) {
      std::istringstream words( line );
      std::string pid;
      std::string call;
      words >> pid >> call;
      std::size_t const end = call.find( '(' );
      if ( end != call.npos && end != 0 ) {
         std::string const name = call.substr( 0, end );
         // The first thing that the programs do is to look at their standard descriptors. What is
         // before that is the loader's.
         isInMain = isInMain || name == "fcntl";
         ++counts[name].all;
         counts[name].beforeMain += isInMain ? 0 : 1;
      }
   }
   std::vector< Fault > faults;
   for ( auto const & [call, count] : counts ) {
      for ( unsigned n = count.beforeMain + 1; !isPassedOver( call ) && n <= count.all; ++n ) {
         std::string const number = std::to_string( n );
         faults.push_back(
            { call + " " + number,
              { "strace", "-D", "-f", "-qq", "--seccomp-bpf", "-o", told, "-e", "trace=" + call,
                "-e", "inject=" + call + ":" + failureOf( call ) + ":when=" + number } } );
      }
   }
   return faults;
}

std::vector< Fault > failingAllocations( std::filesystem::path const & counted,
                                         std::filesystem::path const & told ) {
   unsigned long count = 0;
   std::ifstream( counted ) >> count;
   std::vector< Fault > faults;
   for ( unsigned long n = 1; n <= count; ++n ) {
      std::string const number = std::to_string( n );
      faults.push_back(
         { "allocation " + number, withAllocations( { "QORCLIENT_FAIL_ALLOCATION=" + number,
                                                      "QORCLIENT_FAILED=" + told.string() } ) } );
   }
   return faults;
}

bool hasFailed( std::filesystem::path const & told ) {
   std::ostringstream text;
   text << std::ifstream( told ).rdbuf();
   return text.str().find( "INJECTED" ) != std::string::npos;
}

}  // namespace Failing
