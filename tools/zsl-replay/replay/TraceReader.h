#pragma once
/*
 * TraceReader: JSON trace text to the plain records of Trace.h, with every
 * check of bad input. Reading is strict: an unknown key, tag or type, a value
 * out of range or a missing field is an error naming the file, the place in
 * the JSON and what was expected, never a silent default. Reading goes on
 * past a bad queue, frame, metadata entry, property or step, so that one
 * TraceError reports every error of a trace, a line each.
 */

#include "replay/Trace.h"
#include "replay/TraceError.h"

#include <string>

namespace zsl::replay {

// Reads a trace from text; file names the source in errors.
TraceSpec parseTrace(const std::string &text, const std::string &file);
TraceSpec readTraceFile(const std::string &path);

} // namespace zsl::replay
