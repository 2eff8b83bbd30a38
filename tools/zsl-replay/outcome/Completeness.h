#pragma once
/*
 * Completeness: how much of a capture's lines a device log holds. A ring
 * buffer starts inside a call, a bug report ends inside one, logd drops
 * lines (sometimes leaving a "chatty" line, sometimes not): a capture that
 * is not whole states only the facts its present lines decide, and says
 * which it cannot. A replay's captures are always whole.
 */

#include <string>

namespace zsl::outcome {

enum class Completeness {
    Whole,        // every line of the capture is in the log
    StartsInside, // the log starts inside it: its first lines are not in the log
    EndsInside,   // the log ends inside it
    LinesMissing, // lines of it are missing: a gap marker of logd, or lines that cannot belong to one call
};

// The stable name the table and the JSON report use: "whole",
// "starts-inside", "ends-inside", "lines-missing".
const char *completenessName(Completeness completeness);

// In a camera engineer's words, with what it costs: "the log starts inside
// this capture: its selection is not in the log".
std::string completenessText(Completeness completeness, const std::string &why);

} // namespace zsl::outcome
