#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace Ovsdb {

using Json = nlohmann::json;

// What a database's answers are made of; each throws Kel::ValueError for anything else.

/** A member of an object. */
Json const & memberOf( Json const & object, char const * name );
std::string textOf( Json const & json );
/** The identity of a row, ["uuid", TEXT]. */
std::string uuidOf( Json const & json );
/** The elements of a set; one that has a single element is written as that alone. */
std::vector< Json > elementsOf( Json const & json );
/** A set of one element or none. */
std::optional< Json > optionalOf( Json const & json );
std::vector< std::pair< Json, Json > > entriesOf( Json const & json );
std::map< std::string, std::string > textsOf( Json const & json );
/** A number up to a limit. */
std::uint64_t numberOf( Json const & json, std::uint64_t limit );

/** Texts as a map is written. */
Json mapOf( std::map< std::string, std::string > const & texts );

}  // namespace Ovsdb
