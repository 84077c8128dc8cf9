#pragma once

#include <stdexcept>
#include <string>

namespace Kel {

/** A value outside the range of its type. The text is the whole message. */
class RangeException : public std::runtime_error {
   using std::runtime_error::runtime_error;
};

/** A member of that name stands already with other construction arguments. */
class NameInUseException : public std::runtime_error {
   using std::runtime_error::runtime_error;
};

/** No type record is registered under the wanted name. */
class NoTypeNodeException : public std::runtime_error {
   using std::runtime_error::runtime_error;
};

[[noreturn]] void throwRangeException( std::string const & text );
[[noreturn]] void throwNameInUseException( std::string const & text );

}  // namespace Kel
