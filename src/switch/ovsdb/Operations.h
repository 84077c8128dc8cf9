#pragma once

#include <string>

#include "switch/ovsdb/Bridge.h"
#include "switch/ovsdb/Json.h"

namespace Ovsdb {

/** What is to be done so that the bridge of that name has such a tunnel port; an empty list where
 *  it has it. */
Json tunnelOperations( Bridge const & bridge, std::string const & bridgeName,
                       std::string const & port, std::string const & localAddress );

/** The error of a reply in words, be it of the request, of an operation or of all of them together;
 *  empty for none. Throws Kel::ValueError for what is no reply. */
std::string errorOf( Json const & reply );

}  // namespace Ovsdb
