#pragma once

#include <ostream>
#include <string>

namespace Views {

/** The paths of the catalog, one a line. */
void describePlaces( std::ostream & out );
/** The place of that path, or the type of that name, and all types below it; empty when it has
 *  been printed, else what there is instead. */
std::string describe( std::ostream & out, std::string const & name );
/** Everything, as a page in Markdown. */
void describeAll( std::ostream & out );

}  // namespace Views
