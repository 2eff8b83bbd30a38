#pragma once
/*
 * TraceError: a trace that cannot be read, with every error of it a line
 * each: the file, the place in the JSON (a JSON pointer, or a line and
 * column for text that is not JSON) and what was expected there.
 */

#include "outcome/Error.h"

#include <string>

namespace zsl::replay {

class TraceError : public outcome::Error {
public:
    TraceError(const std::string &file, const std::string &place, const std::string &expected)
        : outcome::Error(file + ": at " + (place.empty() ? "/" : place) + ": " + expected)
    {
    }
    // Several errors, one line each.
    explicit TraceError(const std::string &lines) : outcome::Error(lines) {}
};

} // namespace zsl::replay
