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

} // namespace kohost
