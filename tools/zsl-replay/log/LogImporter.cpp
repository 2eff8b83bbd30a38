// Rebuilding captures from the plug-in's lines. Each thread is a small state
// machine: a consumer-list line opens a selection (LogImporterSelections.cpp);
// the check lines that follow are cut into checkFrame calls
// (LogImporterChecks.cpp); what the rest of the log decides, and the
// hand-over, are in LogImporterEnd.cpp. The four share the Open and Thread
// state, so they are one class over four files, one stage each. Here: the
// lines handed out to threads, the gaps and what damage they do, warnings.

#include "log/LogImporter.h"

#include "log/CheckGrammar.h"
#include "log/LineParser.h"
#include "outcome/PluginLines.h"
#include "messages/PluginEvent.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace zsl::log {

using namespace zsl::outcome;
using namespace zsl::messages;

std::string LogImporter::who(const Thread &thread)
{
    if (thread.pid == kUnknownId)
        return "process and thread not in the log";
    return "pid " + std::to_string(thread.pid) +
           (thread.tid == kUnknownId ? ", thread not in the log" : " tid " + std::to_string(thread.tid));
}

LogImporter::LogImporter(std::string file, HandOver handOver) : mHandOver(std::move(handOver))
{
    mSession.file = std::move(file);
    mSession.name = "device log";
    mSession.fromLog = true;
}

void LogImporter::warn(uint64_t lineNumber, const std::string &kind, const std::string &detail,
                       std::vector<std::string> *into)
{
    // One line per problem, but a log of a million alike problems is not
    // printed whole: the kind's count is given at the end.
    if (++mWarningCounts[kind] <= kWarningsPerKind)
        (into ? *into : mWarnings).push_back("line " + std::to_string(lineNumber) + ": " + kind + detail);
}

LogImporter::Lines &LogImporter::mergedLines(size_t index, uint64_t first)
{
    auto [lines, fresh] = mMergedRanges.try_emplace(index);
    if (fresh)
        lines->second = {first, first, openStep(index).pid, openStep(index).fwkFrame};
    return lines->second;
}

void LogImporter::hold(Thread &thread, std::optional<size_t> index)
{
    if (thread.capture) {
        Open &released = mOpen[*thread.capture - mFirstOpen];
        released.held = false;
        // It may wait for its process's level to be known: no room to spare.
        if (!debugLevel(released.step))
            released.step.log.shrink_to_fit();
    }
    thread.capture = index;
    if (index)
        mOpen[*index - mFirstOpen].held = true;
}

void LogImporter::problem(const std::string &text)
{
    mWarnings.push_back(text);
}

// Long: one switch over what a plug-in line is, each case a few lines that
// hand it to its thread's selection, call or answer.
void LogImporter::add(kohost::LogLine &&line, uint64_t lineNumber)
{
    if (line.message == kGapMarker) {
        gap(line.pid, lineNumber);
        return;
    }
    ++mLinesUsed;
    line.logLine = lineNumber;
    const std::optional<PluginEvent> message = PluginEvent::decode(line);
    if (message)
        line.message = message->index();
    if (!message) {
        warn(lineNumber, "a line of the plug-in this reader does not know",
             ", passed over: \"" + line.text.substr(0, 100) + (line.text.size() > 100 ? "...\"" : "\""));
        return;
    }
    if (line.level == "D") {
        if (const auto info = mInfoProcesses.find(line.pid); info != mInfoProcesses.end()) {
            warn(lineNumber, "a process taken as info-level writes debug lines",
                 ": pid " + std::to_string(line.pid) + "'s captures from line " + std::to_string(info->second) +
                     " were read as info-level, having shown no debug line for long, and what their debug lines "
                     "would tell is not stated; those from here, as debug-level");
            mInfoProcesses.erase(info);
            for (Open &open : mOpen) // begun at info level
                if (open.step.pid == line.pid)
                    open.step.debugLines = false;
        }
        mDebugProcesses.insert(line.pid);
    }
    // A format without thread ids: the fwkFrame a line names tells its call
    // apart; a line that names none joins the call its process named last.
    // An answer of isSelectorNeeded names no fwkFrame: it waits for the next
    // selection of its process, unless another answer already waits (two
    // cameras' answers before either selection: whose is which is not in the log).
    const bool threadKnown = line.tid != kUnknownId;
    if (!threadKnown && message->kind() == MessageKind::Needed) {
        Waiting &waiting = mNeededWaiting[line.pid];
        waiting.ambiguous = waiting.ambiguous || waiting.answer.has_value();
        waiting.answer.emplace(std::move(line), lineNumber);
        return;
    }
    int64_t tid = line.tid;
    if (!threadKnown) {
        if (auto fwkFrame = message->fwkFrame())
            tid = mLastNamed[line.pid] = -2 - static_cast<int64_t>(*fwkFrame);
        else
            tid = mLastNamed.count(line.pid) ? mLastNamed[line.pid] : kUnknownId;
    }
    Thread &thread = mThreads[{line.pid, tid}];
    thread.pid = line.pid;
    thread.tid = line.tid;
    if (line.timeNs < thread.lastTimeNs)
        warn(lineNumber, "out of order",
             ": earlier than the thread's line " + std::to_string(thread.lastLine) + "; read in the log's order");
    thread.lastTimeNs = std::max(thread.lastTimeNs, line.timeNs);
    thread.priorLine = thread.lastLine;
    thread.lastLine = lineNumber;
    if (!threadKnown && message->kind() == MessageKind::SelectStart) {
        if (const auto waiting = mNeededWaiting.find(line.pid); waiting != mNeededWaiting.end()) {
            if (!waiting->second.ambiguous)
                thread.needed = std::move(waiting->second.answer);
            mNeededWaiting.erase(waiting);
        }
    }
    // A second "cannot get EV" line is the request's side of the same qualification.
    const MessageKind kind = message->is(MessageId::DefaultEv) && thread.call && thread.call->blockOpen &&
                                     thread.call->phase == Phase::Qualify
                                 ? MessageKind::Qualify
                                 : message->kind();
    switch (kind) {
    case MessageKind::Config:
        mSession.config = configOf(*message);
        mPending[line.pid] = mSession.config->pending;
        // A selector made again with the same configuration says nothing new.
        if (std::none_of(mSession.setupLog.begin(), mSession.setupLog.end(),
                         [&line](const kohost::LogLine &seen) { return seen.text == line.text; }))
            mSession.setupLog.push_back(std::move(line));
        return;
    case MessageKind::Needed:
        closeSelection(thread);
        closeCall(thread);
        closeNeeded(thread);
        hold(thread, std::nullopt);
        thread.needed.emplace(std::move(line), lineNumber);
        handOver(false);
        return;
    case MessageKind::SelectStart:
    case MessageKind::Select:
        selectionLine(thread, message->fwkFrame().value_or(0), std::move(line), lineNumber,
                      kind == MessageKind::SelectStart);
        break;
    default:
        closeSelection(thread);
        checkLine(thread, kind, *message, std::move(line), lineNumber);
    }
    if (!threadKnown && thread.capture)
        mergedLines(*thread.capture, lineNumber).last = lineNumber;
    if (kind == MessageKind::SelectStart)
        thread.afterGap = false; // a call begun whole
    handOver(false);
}

void LogImporter::gap(int pid, uint64_t lineNumber)
{
    mGapProcesses.insert(pid);
    // Without thread ids, a line after the gap that names no fwkFrame may
    // belong to a call whose first lines were dropped: not to the last named.
    for (auto named = mLastNamed.begin(); named != mLastNamed.end();)
        named = pid == kUnknownId || named->first == pid ? mLastNamed.erase(named) : std::next(named);
    // ... and an answer of isSelectorNeeded waiting may be for a selection the gap took.
    for (auto waiting = mNeededWaiting.begin(); waiting != mNeededWaiting.end();)
        waiting = pid == kUnknownId || waiting->first == pid ? mNeededWaiting.erase(waiting) : std::next(waiting);
    const std::string why = "logd dropped lines of its process at line " + std::to_string(lineNumber);
    for (auto &[key, thread] : mThreads) {
        if (pid != kUnknownId && thread.pid != pid)
            continue;
        thread.afterGap = true;
        // A check that ended before the gap keeps its verdict.
        if (thread.call && !callShape(thread.call->lines, mDebugProcesses.count(thread.pid) > 0, true).ended)
            thread.call->gapInside = true;
        if (thread.selecting)
            damage(*thread.selecting, Completeness::LinesMissing, why);
        // A capture whose checks are over (and none runs) loses nothing.
        if (thread.capture && !checksOver(mOpen[*thread.capture - mFirstOpen], thread.nextSelected))
            damage(*thread.capture, Completeness::LinesMissing, why);
        if (thread.selecting)
            mOpen[*thread.selecting - mFirstOpen].selectionCut = "logd dropped lines while it ran";
    }
}

bool LogImporter::mixedWith(size_t index) const
{
    const auto lines = mMergedRanges.find(index);
    if (lines == mMergedRanges.end())
        return false;
    const Lines &range = lines->second;
    return std::any_of(mMergedRanges.begin(), mMergedRanges.end(), [&](const auto &other) {
        return other.first != index && other.second.pid == range.pid && other.second.first <= range.last &&
               range.first <= other.second.last;
    });
}

bool LogImporter::checksOver(const Open &open, size_t nextSelected) const
{
    const StepOutcome &step = open.step;
    if (!debugLevel(step) || !step.selectRan)
        return true; // an info-level log states no verdict a later check could change
    const size_t accepted =
        static_cast<size_t>(std::count_if(step.checks.begin(), step.checks.end(), [](const CheckOutcome &check) {
            return check.unknown.empty() && check.verdict.first;
        }));
    return (step.requested > 0 && accepted >= step.requested && !open.numberingLost) ||
           (step.selectionUnknown.empty() && !open.numberingLost && nextSelected >= step.selectedFrames.size() &&
            (step.csbegin || open.unended));
}

void LogImporter::damage(size_t index, Completeness completeness, const std::string &why)
{
    StepOutcome &step = openStep(index);
    if (step.completeness != Completeness::Whole)
        return; // the first finding is the one said
    step.completeness = completeness;
    step.completenessWhy = why;
    mOpen[index - mFirstOpen].numberingLost = true;
}

Completeness LogImporter::startDamage(const Thread &thread) const
{
    const bool gapBefore = mGapProcesses.count(thread.pid) || mGapProcesses.count(kUnknownId);
    return thread.priorLine != 0 || thread.afterGap || gapBefore ? Completeness::LinesMissing
                                                                 : Completeness::StartsInside;
}

} // namespace zsl::log
