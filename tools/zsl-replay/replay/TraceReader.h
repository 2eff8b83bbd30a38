#pragma once
/*
 * TraceReader: JSON trace text to the plain records of Trace.h, with every
 * check of bad input. Reading is strict: an unknown key, tag or type, a value
 * out of range or a missing field is an error naming the file, the place in
 * the JSON and what was expected, never a silent default. Reading goes on
 * past a bad queue, frame, metadata entry, property or step, so that one
 * TraceError reports every error of a trace, a line each.
 */

#include "outcome/Error.h"
#include "replay/Trace.h"

#include <string>

namespace zsl::replay {

// A trace that cannot be read: every error of it, a line each.
class TraceError : public outcome::Error {
public:
    TraceError(const std::string &file, const std::string &place, const std::string &expected)
        : outcome::Error(file + ": at " + (place.empty() ? "/" : place) + ": " + expected)
    {
    }
    // Several errors, one line each.
    explicit TraceError(const std::string &lines) : outcome::Error(lines) {}
};

// Reads a trace from text; file names the source in errors.
TraceSpec parseTrace(const std::string &text, const std::string &file);
TraceSpec readTraceFile(const std::string &path);

} // namespace zsl::replay
