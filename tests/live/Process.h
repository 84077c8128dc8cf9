#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Live {

/** A folder that goes with this object. */
class Folder {
 public:
   Folder();
   ~Folder();
   Folder( Folder const & ) = delete;
   Folder & operator=( Folder const & ) = delete;
   std::filesystem::path const & path() const { return path_; }

 private:
   std::filesystem::path path_;
};

/** A program that a test has started; it is killed with this object. */
class Process {
 public:
   /** `output` takes what it says, both ways, behind what is there. The first word is a file, or a
    *  program of the search path. */
   Process( std::vector< std::string > const & words, std::filesystem::path output );
   ~Process();
   Process( Process const & ) = delete;
   Process & operator=( Process const & ) = delete;

   void signal( int number ) const;
   /** Kills it and waits for its end. */
   void kill();
   /** The exit code, or 128 and the signal's number; nothing when it hasn't ended in time. */
   std::optional< int > ended( double seconds = 20 );
   bool isRunning();
   pid_t pid() const { return pid_; }
   /** The time that it has used of a processor. */
   double cpuSeconds() const;
   /** What it has said so far. */
   std::string output() const;

 private:
   std::filesystem::path output_;
   pid_t pid_;
   std::optional< int > code_;
};

/** Whether a condition comes true in time; it is asked again and again. */
bool eventually( std::function< bool() > const & condition, double seconds = 20 );
/** Whether a program stands in the search path. */
bool hasProgram( std::string const & name );

}  // namespace Live
