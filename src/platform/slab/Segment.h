#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace Slab {

/**
 * One mapped POSIX shared-memory object. The creator maps it for writing and unlinks its name in
 * the destructor; mappings that readers hold stay valid after that. A forked child that destroys
 * its copy of a creator leaves the name alone.
 */
class Segment {
 public:
   /** Makes a new object of `size` zero bytes. Pages take memory only once they are written.
    *  Throws std::system_error, also if the name is in use. */
   static Segment create( std::string const & name, std::size_t size );

   /** Maps an existing object read-only. Throws std::system_error. */
   static Segment open( std::string const & name );

   Segment( Segment const & ) = delete;
   Segment & operator=( Segment const & ) = delete;
   ~Segment();

   std::string const & name() const { return name_; }
   /** Null for an object of size 0. */
   std::byte * data() const { return data_; }
   std::size_t size() const { return size_; }
   bool writable() const { return creator_ != 0; }

 private:
   Segment( std::string const & name, int fd, std::size_t size, pid_t creator );

   std::string name_;
   std::size_t size_;
   pid_t creator_;  // 0: mapped by a reader
   std::byte * data_ = nullptr;
};

/** A free name for a table of this process: "/qorclient-<pid>-<counter>-<path with / as .>". */
std::string processSegmentName( std::string const & tablePath );

/** Unlinks every segment named by `processSegmentName` in a process that is no longer alive.
 *  Returns how many. */
std::size_t removeAbandonedSegments();

/** Unlinks every segment that this process has named, for one that ends without destroying its
 *  tables. Returns how many. */
std::size_t removeProcessSegments();

/** False once the process has ended and been waited for. */
bool processAlive( pid_t pid );

}  // namespace Slab
