#pragma once
/*
 * TraceReader: JSON trace text to the plain records of Trace.h, with every
 * check of bad input. Reading is strict: an unknown key, tag or type, a value
 * out of range or a missing field raises a TraceError naming the file, the
 * place in the JSON and what was expected, never a silent default.
 */

#include "Trace.h"

#include <stdexcept>
#include <string>

namespace replay {

class TraceError : public std::runtime_error {
public:
    TraceError(const std::string &file, const std::string &place, const std::string &expected)
        : std::runtime_error(file + ": at " + (place.empty() ? "/" : place) + ": " + expected)
    {
    }
};

// Reads a trace from text; file names the source in errors.
TraceSpec parseTrace(const std::string &text, const std::string &file);
TraceSpec readTraceFile(const std::string &path);

} // namespace replay
