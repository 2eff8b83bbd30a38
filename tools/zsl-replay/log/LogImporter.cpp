// Rebuilding captures from the plug-in's lines. Each thread is a small state
// machine: a consumer-list line opens a selection; the check lines that
// follow are cut into checkFrame calls (LogImporterChecks.cpp). Here: the
// lines handed out to threads, the selections, the gaps and what damage
// they do, and when a capture is handed over.
// One file still over 400 lines: the threads, selections and hand-over
// share the Open and Thread state; the checks are apart already, and the
// selection's close and the warning books are next (issue on typed facts).

#include "log/LogImporter.h"

#include "log/LineParser.h"
#include "log/CheckGrammar.h"
#include "log/SelectionGrammar.h"
#include "outcome/PluginLines.h"
#include "messages/PluginEvent.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace zsl::log {

using namespace zsl::outcome;
using namespace zsl::messages;

namespace {

constexpr size_t kWarningsPerKind = 10;
// Lines of the plug-in after a capture's first without a debug line of its
// process, after which the process is taken as logging at info level.
constexpr uint64_t kLevelLookAhead = 4096;

// What a selection's lines show of how it went, read in one pass.
struct SelectionMarks {
    bool producerListed = false;
    bool finishedEarly = false; // a finish line: no queue, or every frame too old
    bool anchored = false;      // its anchor offset line, the last of a selection
    size_t passedOver = 0;      // frames a queue lacked, the begin moved past
    std::string queueName;      // the queue the lists name, the last one
};

SelectionMarks selectionMarks(const std::vector<kohost::LogLine> &lines)
{
    SelectionMarks marks;
    for (const kohost::LogLine &line : lines) {
        const std::optional<PluginEvent> event = PluginEvent::decode(line);
        if (!event)
            continue;
        switch (event->id()) {
        case MessageId::Producer:
            marks.producerListed = true;
            [[fallthrough]];
        case MessageId::Consumer:
        case MessageId::ConsumerNone:
            marks.queueName = std::string(event->text(1));
            break;
        case MessageId::SelectNoQueue:
        case MessageId::ConsumerTooOld:
            marks.finishedEarly = true;
            break;
        case MessageId::Anchor:
            marks.anchored = true;
            break;
        case MessageId::BeginMoved:
            ++marks.passedOver;
            break;
        default:
            break;
        }
    }
    return marks;
}

// A selection ends with its anchor offset line, or early with a finish line.
bool selectionEnded(const StepOutcome &step)
{
    const SelectionMarks marks = selectionMarks(step.log);
    return marks.finishedEarly || marks.anchored;
}

// isSelectorNeeded's answer.
bool neededAnswer(const kohost::LogLine &line)
{
    const std::optional<PluginEvent> event = PluginEvent::decode(line);
    return event && event->number<int>(1).value_or(0) != 0;
}

} // namespace

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

void LogImporter::add(kohost::LogLine line, uint64_t lineNumber)
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

void LogImporter::selectionLine(Thread &thread, uint32_t fwkFrame, kohost::LogLine line, uint64_t lineNumber,
                                bool starts)
{
    if (starts || !thread.selecting) {
        // Without thread ids, a selection that starts while one of the same
        // fwkFrame is unfinished is another thread's: both may be mixed.
        if (starts && thread.selecting && thread.tid == kUnknownId && !selectionEnded(openStep(*thread.selecting)))
            mergedLines(*thread.selecting, lineNumber).last = lineNumber;
        closeSelection(thread);
        closeCall(thread);
        // A host selects after a yes; after a no, the selection is a call of its own.
        std::optional<std::pair<kohost::LogLine, uint64_t>> yes;
        if (thread.needed && neededAnswer(thread.needed->first))
            yes.swap(thread.needed);
        closeNeeded(thread);
        StepOutcome &selection = addStep(thread, StepKind::Select, lineNumber, yes ? yes->first : line);
        selection.selectRan = true;
        selection.fwkFrame = fwkFrame;
        if (yes) {
            selection.needed = true;
            selection.log.push_back(std::move(yes->first));
        }
        thread.selecting = mFirstOpen + mOpen.size() - 1;
        if (!starts && thread.tid == kUnknownId)
            mNeededWaiting.erase(thread.pid); // an answer waiting may be this selection's, whose first line is lost
        if (!starts) {
            const Completeness damaged = startDamage(thread);
            warn(lineNumber,
                 damaged == Completeness::StartsInside ? "the log starts inside a selection"
                                                       : "lines of a selection are missing",
                 ": fwkFrame " + std::to_string(selection.fwkFrame));
            damage(*thread.selecting, damaged, "its selection's first lines are not in the log");
        }
        hold(thread, thread.selecting);
        thread.nextSelected = 0;
        thread.cameraAt.clear();
    }
    StepOutcome &selection = openStep(*thread.selecting);
    if (selection.fwkFrame == 0) // its first lines lost: a later line names it
        selection.fwkFrame = fwkFrame;
    selection.log.push_back(std::move(line));
}

void LogImporter::closeSelection(Thread &thread)
{
    if (!thread.selecting)
        return;
    const size_t index = *thread.selecting;
    Open &open = mOpen[index - mFirstOpen];
    StepOutcome &step = open.step;
    thread.selecting.reset();
    readSelectionLines(step.log, step);
    const SelectionMarks marks = selectionMarks(step.log);
    const bool pending = mPending.count(thread.pid) ? mPending[thread.pid] : false;
    open.pending = pending;
    // The producer list is logged when the anchor scan reaches it and it is
    // not empty; it is reached when no consumer frame anchors, without pending.
    const bool anchorInConsumer =
        step.anchorFrame && std::count(step.consumer.begin(), step.consumer.end(), *step.anchorFrame) > 0;
    step.producerKnown = marks.producerListed || (step.csbegin && !pending && !anchorInConsumer);
    if (step.curTime) {
        step.captureNs = *step.curTime;
    } else {
        step.momentKnown = false;
        step.notes.push_back("the capture moment (curTime) is not in the log: no lag is given");
    }
    const std::string broken =
        selectionBreak(step.log, step, mPending.count(thread.pid) ? std::optional<bool>(pending) : std::nullopt,
                       thread.tid != kUnknownId);
    if (!broken.empty()) {
        damage(index, Completeness::LinesMissing, "its selection: " + broken);
        step.selectionUnknown = "the selection's lines are not whole (" + broken + ")";
        step.anchorFrame.reset();
        return;
    }
    if (marks.finishedEarly)
        return;
    if (!step.csbegin) { // cut, or finished early with a debug line: the whole log tells
        open.unended = true;
        return;
    }
    if (!open.selectionCut.empty() && debugLevel(step)) {
        // The presence check's lines follow the anchor offset line; some may be lost.
        step.selectionUnknown = "the frames the begin moved past may be lost: " + open.selectionCut;
        return;
    }

    // The frames the selection starts from: the consumer list from the
    // begin, past each frame a queue lacked.
    const size_t begin =
        static_cast<size_t>(std::max<int64_t>(0, int64_t(*step.csbegin) + static_cast<int64_t>(marks.passedOver)));
    if (begin < step.consumer.size())
        step.selectedFrames.assign(step.consumer.begin() + static_cast<std::ptrdiff_t>(begin), step.consumer.end());
    // A begin above 0 tells how many frames the capture wants: the begin is
    // anchorOffset + 1 + n - requestCount.
    const int64_t n = static_cast<int64_t>(step.consumer.size());
    const int64_t offset = *step.anchorOffset;
    if (*step.csbegin > 0)
        step.requested = static_cast<size_t>(std::max<int64_t>(0, offset + 1 + n - *step.csbegin));
    else
        step.notes.push_back("how many frames the capture wants is not in the log (a begin of 0 does not tell), so "
                             "the frames taken are not shown");
    // The producer part, from the list the anchor scan logged; the selector
    // fetches it again, which is not logged: assumed unchanged.
    if (!pending && offset >= -1) {
        const int64_t wanted = static_cast<int64_t>(step.requested);
        // With a begin of 0 the capture wants at least offset + 1 + n frames: from 0.
        const int64_t from = *step.csbegin > 0 && offset + 1 > wanted ? offset + 1 - wanted : 0;
        if (step.producer.empty())
            step.notes.push_back("producer frames may follow the selection: the producer list is not in the log");
        else if (from < static_cast<int64_t>(step.producer.size()))
            step.selectedFrames.insert(step.selectedFrames.end(), step.producer.begin() + from, step.producer.end());
    }
    step.notes.push_back("frames up to the last used frame number are left out of the selection; that number "
                         "is not in the log");
    std::vector<uint32_t> unknown;
    for (uint32_t frame : step.consumer)
        if (!step.shutterNs.count(frame) &&
            std::none_of(step.warnings.begin(), step.warnings.end(), [frame](const StepWarning &warning) {
                return warning.frame == frame && warning.kind == StepWarning::Kind::LeftQueue;
            }))
            unknown.push_back(frame);
    if (!unknown.empty())
        step.notes.push_back("shutter times of frames shot after the anchor are not in the log (" +
                             std::to_string(unknown.size()) + " frame" + (unknown.size() == 1 ? "" : "s") + ")");
    QueueView meta;
    meta.type = 1;
    meta.name = marks.queueName;
    for (const auto &entry : step.shutterNs)
        meta.held.push_back(entry.first);
    step.queues.push_back(std::move(meta));
}

StepOutcome &LogImporter::addStep(const Thread &thread, StepKind kind, size_t firstLine, const kohost::LogLine &first)
{
    Open &open = mOpen.emplace_back();
    if (kind == StepKind::Select)
        ++mSelectionsBegun[thread.pid];
    open.linesAtOpen = mLinesUsed;
    open.selectionsAtOpen = mSelectionsBegun[thread.pid];
    StepOutcome &step = open.step;
    step.kind = kind;
    // A lone answer of isSelectorNeeded is one line; a call's lines start there.
    step.label = who(thread) + (kind == StepKind::Needed ? ", line " : ", from line ") + std::to_string(firstLine);
    step.firstLine = firstLine;
    step.pid = thread.pid;
    step.tid = thread.tid;
    step.logTime = first.timeText;
    return step;
}

void LogImporter::closeNeeded(Thread &thread)
{
    if (!thread.needed)
        return;
    StepOutcome &step = addStep(thread, StepKind::Needed, thread.needed->second, thread.needed->first);
    step.needed = neededAnswer(thread.needed->first);
    step.log.push_back(std::move(thread.needed->first));
    thread.needed.reset();
}

bool LogImporter::finishedEarly(const Open &open) const
{
    // Cut by the log, or finished early, the line that says so being a debug line.
    const StepOutcome &step = open.step;
    const bool allOld =
        step.zsdTs && std::all_of(step.consumer.begin(), step.consumer.end(), [&](uint32_t frame) {
            const auto shutter = step.shutterNs.find(frame);
            return shutter != step.shutterNs.end()
                       ? shutter->second <= *step.zsdTs
                       : std::any_of(step.warnings.begin(), step.warnings.end(),
                                     [frame](const StepWarning &warning) { return warning.frame == frame; });
        });
    return !debugLevel(step) && open.pending && allOld;
}

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
