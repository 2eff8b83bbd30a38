#pragma once
/*
 * The system properties a selector reads, set as a host would before it
 * loads the plug-in: the four the selector reads are cleared first, so that
 * exactly the given ones are in force.
 */

#include <string>
#include <utility>
#include <vector>

namespace kohost {

using PropertyList = std::vector<std::pair<std::string, std::string>>;

void setSelectorProperties(const PropertyList &properties);

// The values now in force of the properties the plug-in reads when its
// library is loaded (its pending switch): equal values, the same load.
std::string loadTimeProperties();

} // namespace kohost
