// The closing stage of LogImporter: what the rest of the log decides of a
// step (its process's level, lines mixed with another capture's, what the
// missing lines leave unknown), the hand-over of steps nothing can change
// any more, and the log's end.

#include "log/LogImporter.h"

#include "outcome/PluginLines.h"
#include "messages/PluginEvent.h"

#include <algorithm>
#include <optional>

namespace zsl::log {

using namespace zsl::outcome;
using namespace zsl::messages;

void LogImporter::decideLevel(const Open &open)
{
    const StepOutcome &step = open.step;
    if (open.held || levelKnown(step))
        return;
    if (mSelectionsBegun[step.pid] >= open.selectionsAtOpen + 2 || mLinesUsed >= open.linesAtOpen + kLevelLookAhead)
        mInfoProcesses[step.pid] = step.log.empty() ? 0 : step.log.front().logLine;
}

bool LogImporter::complete(size_t index) const
{
    const Open &open = mOpen[index - mFirstOpen];
    if (open.held || !levelKnown(open.step))
        return false;
    // Read without thread ids, which captures' lines mix is told at the end.
    return mMergedRanges.count(index) == 0;
}

void LogImporter::handOver(bool end)
{
    while (!mOpen.empty() && (end || (decideLevel(mOpen.front()), complete(mFirstOpen)))) {
        resolve(mFirstOpen);
        const StepOutcome &step = mOpen.front().step;
        // Checks whose capture and frames the log does not name tell nothing: counted, not made a capture.
        const bool nothing = step.kind == StepKind::Check && step.checks.empty() && step.fwkFrame == 0 &&
                             step.completeness != Completeness::Whole;
        if (nothing)
            warn(step.log.empty() ? 0 : step.log.front().logLine,
                 "frame checks whose capture and frames are not in the log", ", passed over");
        else if (mHandOver)
            mHandOver(mSession, mOpen.front().step);
        else
            mSession.steps.push_back(std::move(mOpen.front().step));
        mOpen.pop_front();
        ++mFirstOpen;
    }
}

// Long: each fact the rest of the log decides (the level, mixed threads,
// checks left out, what the missing lines leave unknown, the frames taken)
// in the order each depends on the one before.
void LogImporter::resolve(size_t index)
{
    Open &open = mOpen[index - mFirstOpen];
    StepOutcome &step = open.step;
    const bool debug = debugLevel(step);
    step.debugLines = debug;
    const std::string noDebug = "the log has no debug line of this process";
    if (open.unended && finishedEarly(open)) {
        step.finishedEarly = true;
        step.notes.push_back("the selection finished early: no consumer frame was shot after zsdTs and pending "
                             "support is on (the line that says so logs at debug level, and " +
                             noDebug + ")");
    } else if (open.unended) {
        damage(index, Completeness::LinesMissing, "its selection's end (the anchor offset line) is not in the log");
        // The anchor stays: a scan line shot after zsdTs is where the scan stopped.
        step.selectionUnknown = "the selection's end (the anchor offset line) is not in the log";
    }
    for (size_t at : open.sensorOnly) {
        CheckOutcome &check = step.checks[at];
        if (debug) { // its debug lines would follow: no sensor-mode queue refused the frame
            check.verdict = {false, false};
            Refusal why = refusal(check.log);
            check.reason = std::move(why.reason);
            check.explanation = std::move(why.explanation);
            check.refusalClasses = why.classes;
        } else {
            check.unknown = "the sensor-mode check writes its verdict at debug level, and " + noDebug;
        }
    }
    // Captures of one process read without thread ids: told apart by
    // fwkFrame, which the lines of a metadata check and the anchor pick do
    // not carry; where two captures' lines interleave, those may be mixed.
    if (const auto lines = mMergedRanges.find(index); lines != mMergedRanges.end()) {
        const Lines &range = lines->second;
        std::string others;
        for (const auto &[other, otherRange] : mMergedRanges)
            if (other != index && otherRange.pid == range.pid && otherRange.first <= range.last &&
                range.first <= otherRange.last)
                others += (others.empty() ? "" : ", ") + std::to_string(otherRange.fwkFrame);
        if (others.empty()) {
            step.notes.push_back("the log's format shows no thread id: this capture's lines were told apart by "
                                 "fwkFrame, and no other capture's lines of its process come between them");
        } else {
            const std::string mixed = "lines " + std::to_string(range.first) + " to " + std::to_string(range.last) +
                                      " interleave with those of fwkFrame " + others +
                                      " and the log's format shows no thread id: lines that name no fwkFrame (the "
                                      "anchor pick, the metadata checks) may belong to either capture";
            step.notes.insert(step.notes.begin(), "mixed threads: " + mixed);
            step.mixedThreads = true;
            step.needed.reset(); // the answer before it may be the other capture's
            // What lines without a fwkFrame tell is not this capture's for sure.
            step.motionCapture.reset();
            for (CheckOutcome &check : step.checks)
                if (check.unknown.empty())
                    check.unknown = "its lines may be another capture's: the log's format shows no thread id";
            step.takenUnknown = "the frame checks' lines may be another capture's: the log's format shows no thread id";
            open.numberingLost = true;
            warn(range.first, "threads cannot be told apart",
                 ": fwkFrame " + std::to_string(step.fwkFrame) + ", " + mixed, &mMixedWarnings);
        }
    }
    if (open.unnamedChecks > 0)
        step.notes.push_back(std::to_string(open.unnamedChecks) + " frame check" +
                             (open.unnamedChecks == 1 ? " names" : "s name") +
                             " no frame, and the lines that would tell which are not in the log: left out");
    if (step.completeness != Completeness::Whole) {
        // What the missing lines could change is not stated.
        const std::string why = completenessText(step.completeness, step.completenessWhy);
        if (step.kind == StepKind::Capture || step.kind == StepKind::Select)
            step.takenUnknown = why;
        if (step.selectRan && step.selectionUnknown.empty() && !step.csbegin && !step.anchorOffset)
            step.selectionUnknown = why;
        return;
    }
    if (!step.selectRan)
        return;
    if (!debug) {
        // The presence check may have moved the begin, and accepted frames
        // leave no line: neither is in an info-level log.
        if (step.csbegin && !step.selectedFrames.empty())
            step.selectionCaveat = "or fewer from the front: the presence check logs at debug level, and " + noDebug;
        if (step.requested > 0)
            step.takenUnknown = "frame checks log their verdicts at debug level, and " + noDebug;
        return;
    }
    // The host takes accepted frames, in the order checked, until the capture has enough.
    for (const CheckOutcome &check : step.checks) {
        if (step.taken.size() >= step.requested)
            break;
        if (!check.unknown.empty()) {
            step.takenUnknown = "the verdict of frame " + std::to_string(check.frame) + " is not in the log";
            break;
        }
        if (check.verdict.first)
            step.taken.push_back(check.frame);
    }
}

SessionOutcome LogImporter::finish()
{
    std::vector<std::pair<size_t, uint64_t>> endedInside; // selections open at the log's end, at its line
    for (auto &[id, thread] : mThreads) {
        // Without thread ids, a call's later lines may be under another
        // capture's key: its end is told by the mixing, not here.
        const bool mayBeMixed = thread.tid == kUnknownId && ((thread.selecting && mixedWith(*thread.selecting)) ||
                                                             (thread.capture && mixedWith(*thread.capture)));
        if (mayBeMixed) {
            closeSelection(thread);
            closeCall(thread);
            closeNeeded(thread);
            continue;
        }
        if (thread.selecting) {
            endedInside.emplace_back(*thread.selecting, thread.lastLine);
            mOpen[*thread.selecting - mFirstOpen].selectionCut = "the log ends after its anchor offset line";
        }
        closeSelection(thread);
        closeCall(thread, true);
        closeNeeded(thread);
        // More frames may have been checked after the log's end, unless the
        // capture took all it wants or every frame selected was checked.
        if (thread.capture && !checksOver(mOpen[*thread.capture - mFirstOpen], thread.nextSelected))
            damage(*thread.capture, Completeness::EndsInside,
                   "the log ends before its frame checks are known to be over");
    }
    for (const auto &[index, line] : endedInside)
        if (const Open &open = mOpen[index - mFirstOpen]; open.unended && !finishedEarly(open)) {
            warn(line, "the log ends inside a selection", ": fwkFrame " + std::to_string(open.step.fwkFrame),
                 &mEndWarnings);
            damage(index, Completeness::EndsInside, "its selection's end is not in the log");
        } else if (!open.step.selectionUnknown.empty()) {
            damage(index, Completeness::EndsInside, open.step.selectionUnknown);
        }
    handOver(true);
    mWarnings.insert(mWarnings.end(), mEndWarnings.begin(), mEndWarnings.end());
    mWarnings.insert(mWarnings.end(), mMixedWarnings.begin(), mMixedWarnings.end());
    for (const auto &[text, count] : mWarningCounts)
        if (count > kWarningsPerKind)
            mWarnings.push_back(std::to_string(count - kWarningsPerKind) + " more lines: " + text + " (not listed)");
    mSession.description = "read from a device log: " + std::to_string(mLinesUsed) + " lines of the plug-in";
    return std::move(mSession);
}

} // namespace zsl::log
