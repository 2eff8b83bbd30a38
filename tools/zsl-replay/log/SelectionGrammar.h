#pragma once
/*
 * SelectionGrammar: whether the lines read as one selectZSLFrames call are
 * those one whole call prints, stage after stage: the consumer list, the
 * anchor pick, zsdTs and curTime, the consumer scan (list order, from the
 * first frame, up to the anchor or through the list), the producer list
 * and its scan, the anchor offset line, and the frames the begin moved
 * past (from the begin on). A line lost in the middle (logd dropped it) or
 * one from another call breaks the sequence, and the facts the selection
 * derives (anchor, begin, frames selected) are then not stated.
 */

#include "outcome/Outcome.h"

#include <LogRecorder.h>

#include <optional>
#include <string>
#include <vector>

namespace zsl::log {

// Why `lines` (a selection's, read into `step` by readSelectionLines) are not
// those of one whole call; "" when they are, or end before its last line.
// `pending`: the process's pending switch, where its configuration line told.
// Without thread ids, the anchor pick (which names no fwkFrame) is not held
// to its place: which call it belongs to is not in the log.
std::string selectionBreak(const std::vector<kohost::LogLine> &lines, const outcome::StepOutcome &step,
                           std::optional<bool> pending, bool threadsKnown = true);

// A selection line's place in the order one call prints (-1: none, as for a
// line that is not a selection's), from the message it was matched to.
int selectionStage(const kohost::LogLine &line);
// Whether a line at `next` cannot follow one at `last` in one call: on one
// thread, the next call's line, whose own first lines are lost.
bool goesBack(int last, int next);

} // namespace zsl::log
