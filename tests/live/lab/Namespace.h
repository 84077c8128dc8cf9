#pragma once

#include <string>
#include <vector>

namespace Lab {

/** A network namespace in which the kernel says nothing by itself. One without a name goes when
 * this object and the processes inside have gone: a test that is killed leaves nothing behind. */
class Namespace {
 public:
   Namespace();
   /** One that is there, by the name that `ip netns` gives it. */
   explicit Namespace( std::string const & name );
   ~Namespace();
   Namespace( Namespace const & ) = delete;
   Namespace & operator=( Namespace const & ) = delete;

   /** As `ip link set … netns` takes it. */
   std::string path() const;
   /** Runs a command inside; what it says. Throws when it fails. */
   std::string run( std::vector< std::string > const & words ) const;

   /** This thread is inside, as are sockets and processes that it makes, until this object goes. */
   class Inside {
    public:
      explicit Inside( Namespace const & space );
      ~Inside();
      Inside( Inside const & ) = delete;
      Inside & operator=( Inside const & ) = delete;

    private:
      int before_;
   };

 private:
   void silence() const;

   int fd_ = -1;
};

/** A pair of interfaces, each end in a namespace of its own, as a cable that carries frames just as
 *  they are written. */
void connect( Namespace const & one, std::string const & interface, Namespace const & other,
              std::string const & otherInterface );

}  // namespace Lab
