#pragma once
/*
 * CheckGrammar: whether the lines read as one checkFrame call are those one
 * whole call prints: it begins with a metadata's qualification or the
 * super-resolution line (at info level only the sensor-mode check's first
 * line shows); a failed qualification is followed by its refusal and by
 * nothing else; and it ends with a refusal, the super-resolution line with
 * the sensor-mode check off, or the sensor-mode check's last line (its
 * first line alone: no sensor-mode queue, unless the log ends there). A
 * check out of that shape lost lines, or holds another's: its verdict is
 * not stated.
 */

#include <LogRecorder.h>

#include <vector>

namespace zsl::log {

struct CallShape {
    bool begun = false, ended = false;
    bool sound = true; // no line out of its place
};

// The shape of a call's lines; `debugLevel`: its process writes debug lines;
// `atEnd`: the log ends after them.
CallShape callShape(const std::vector<kohost::LogLine> &lines, bool debugLevel, bool atEnd);

} // namespace zsl::log
