#pragma once
/*
 * LogBatch: many logs at once, as a field trial hands them over: files,
 * folders (every file under them, in name order; hidden ones left out) and
 * standard input, each read into a session of its own on a pool of
 * threads, and handed back in the inputs' order whatever the number of
 * threads, so that the output is the same for any. A file that cannot be
 * read is named and the others are still read. At most a few inputs are
 * read ahead of the one handed back next, so memory stays bounded by what
 * is kept of the captures.
 */

#include "outcome/Outcome.h"

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zsl::log {

struct LogSource {
    std::string path;        // "-": standard input
    bool inFolder = false;   // found under a folder given: a file without a plug-in line is no error
};

// One input read.
struct LogRead {
    LogSource source;
    std::optional<outcome::SessionOutcome> session; // empty: nothing to explain
    std::vector<std::string> warnings;     // for standard error, in order, without the program's name
    std::exception_ptr error;              // an outcome::Error: the input could not be explained
    bool withoutPluginLines = false;       // read, but holds no line of the plug-in
};

// The inputs given, folders expanded; each input that names nothing
// readable becomes a message in `errors`.
std::vector<LogSource> expandLogInputs(const std::vector<std::string> &inputs, std::vector<std::string> &errors);

// Reads one input; its error is handed over in the LogRead, not thrown.
LogRead readLogSource(const LogSource &source);

// Reads the sources on `jobs` threads (1: on this one) and hands each to
// `done` on the calling thread, in the sources' order.
void readLogSources(const std::vector<LogSource> &sources, unsigned jobs, const std::function<void(LogRead)> &done);

} // namespace zsl::log
