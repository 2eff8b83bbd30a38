#pragma once
// A count with its noun, as every report words it: "1 capture", "3 captures".

#include <cstddef>
#include <string>

namespace zsl::output {

inline std::string plural(size_t count, const char *one, const char *many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

} // namespace zsl::output
