#pragma once

#include <string>
#include <vector>

#include "platform/kel/Assert.h"

/* The files that a run writes: all are opened before it begins, and are left as they were, or not
 * there, when it is refused. What fails is bad input, since the user named the file: each operation
 * throws InputError. */

namespace Program {

class Output {
 public:
   /** Opens it, as it stands. */
   explicit Output( std::string file );
   ~Output();
   Output( Output const & ) = delete;
   Output & operator=( Output const & ) = delete;

   /** Empties it. */
   void begin();
   /** Goes on behind what stands there, on a line of its own. */
   void goOn();
   void write( std::string_view text );
   /** For the end of a process without memory: removes what was made and not begun. */
   static void undoAll() noexcept;

 private:
   void check( bool done ) const;
   void undo() noexcept;

   std::string file_;
   bool made_ = false;
   bool begun_ = false;
   int fd_ = -1;
   /** All that are open, each of which leaves when it is closed; whoever opened one owns it. */
   static inline Output * first_ = nullptr;
   Output * next_ = nullptr;
   Kel::FlushHook undone_{ [this] { undo(); } };
};

/** The files DIRECTORY/0.json and so on. The directory is made, and may take them. */
class StepOutputs {
 public:
   StepOutputs( std::string directory, std::size_t steps );
   /** Removes a directory that it has made for nothing. */
   ~StepOutputs();
   StepOutputs( StepOutputs const & ) = delete;
   StepOutputs & operator=( StepOutputs const & ) = delete;

   static std::string nameOf( std::string const & directory, std::size_t step );
   void write( std::size_t step, std::string_view text );

 private:
   void removeMade();

   std::string directory_;
   std::vector< std::string > made_;
};

/** One file under two names, there or not yet. Terminals and pipes may have several users. */
bool sameFile( std::string const & a, std::string const & b );

}  // namespace Program
