#pragma once
/*
 * TimeText: a time in milliseconds written to the microsecond, as the
 * reports print every lag and offset ("83.087", "+0.000", "-1.500"): the
 * digits printf's "%.3f" gives ("%+.3f" with a sign), without its cost on
 * each of a log's captures.
 */

#include <string>

namespace zsl::output {

std::string millisecondsText(double ms, bool sign = false);

} // namespace zsl::output
