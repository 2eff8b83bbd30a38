#pragma once
/*
 * LogBatch: many logs at once, as a field trial hands them over: files,
 * folders (every file under them, in name order; hidden ones left out) and
 * standard input, each read into a session of its own. Read one after
 * another, each capture is handed over as soon as it is complete, so that
 * memory does not grow with the captures. Read on a pool of threads, each
 * input's captures are kept until it is handed back, in the inputs' order
 * whatever the number of threads, so that the output is the same for any;
 * at most a few inputs are read ahead of the one handed back next. A file
 * that cannot be read is named and the others are still read.
 */

#include "outcome/Outcome.h"

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zsl::log {

struct LogSource {
    std::string path;      // "-": standard input
    bool inFolder = false; // found under a folder given: a file without a plug-in line is no error
    std::string name;      // what reports and messages call it; "": the path
    const std::string &named() const { return name.empty() ? path : name; }
};

// One input read.
struct LogRead {
    LogSource source;
    // Empty: nothing to explain. Its steps: those not handed over.
    std::optional<outcome::SessionOutcome> session;
    std::vector<std::string> warnings; // for standard error, in order, without the program's name
    std::exception_ptr error;          // an outcome::Error: the input could not be explained
    bool withoutPluginLines = false;   // read, but holds no line of the plug-in
};

// The inputs given, folders expanded; each input that names nothing
// readable becomes a message in `errors`.
std::vector<LogSource> expandLogInputs(const std::vector<std::string> &inputs, std::vector<std::string> &errors);

// Each capture of an input, as soon as it is complete, with the session so
// far; the step may be moved from.
using CaptureDone = std::function<void(const outcome::SessionOutcome &session, outcome::StepOutcome &step)>;

// Reads one input, handing each capture to `capture` when given, else
// keeping them in the session, and with `ahead` reading on a thread of its
// own while this one rebuilds the captures; its error is handed over in the
// LogRead, not thrown.
LogRead readLogSource(const LogSource &source, const CaptureDone &capture = nullptr, bool ahead = false);

// Reads the sources on `jobs` threads and hands each capture to `capture`
// and each source to `done` on the calling thread, in the sources' order:
// the source handed back next passes its captures over as they are complete,
// the others hold a bounded number until their turn, their reading waiting
// beyond it. With one thread they are read one after another, and with one
// source and two threads or more it is read ahead.
void readLogSources(const std::vector<LogSource> &sources, unsigned jobs, const CaptureDone &capture,
                    const std::function<void(LogRead)> &done);

} // namespace zsl::log
