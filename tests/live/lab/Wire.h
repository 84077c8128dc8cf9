#pragma once

#include <optional>
#include <string>

#include "live/lab/Frame.h"
#include "live/lab/Namespace.h"

namespace Lab {

/** Frames as they come and go at an interface, with their tags. */
class Wire {
 public:
   Wire( Namespace const & space, std::string const & interface );
   ~Wire();
   Wire( Wire const & ) = delete;
   Wire & operator=( Wire const & ) = delete;

   int fd() const { return fd_; }
   /** What an interface that is down doesn't take is lost. */
   void send( Frame const & frame ) const;
   std::optional< Frame > receive() const;

 private:
   int fd_;
};

}  // namespace Lab
