// The selection stage of LogImporter: a selectZSLFrames call's lines made
// a capture's step (its lists, times, anchor and begin), and a lone answer
// of isSelectorNeeded a step of its own.

#include "log/LogImporter.h"

#include "log/SelectionGrammar.h"

#include "outcome/PluginLines.h"
#include "messages/PluginEvent.h"

#include <algorithm>
#include <optional>

namespace zsl::log {

using namespace zsl::outcome;
using namespace zsl::messages;

namespace {

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
            marks.queueName = std::string(event->text(Arg::QueueName));
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
    return event && event->number<int>(Arg::IsNeeded).value_or(0) != 0;
}

} // namespace

void LogImporter::selectionLine(Thread &thread, uint32_t fwkFrame, kohost::LogLine &&line, uint64_t lineNumber,
                                bool starts)
{
    // On one thread, a line that goes back in a call's order is the next
    // call's, whose first lines are lost: not more of this one.
    const int stage = selectionStage(line);
    const bool nextCall = thread.selecting && thread.tid != kUnknownId && goesBack(thread.selectionStage, stage);
    if (starts || !thread.selecting || nextCall) {
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
        thread.selectionStage = -1;
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
    if (stage >= 0)
        thread.selectionStage = stage;
    StepOutcome &selection = openStep(*thread.selecting);
    if (selection.fwkFrame == 0) // its first lines lost: a later line names it
        selection.fwkFrame = fwkFrame;
    selection.log.push_back(std::move(line));
}

// Long: a selection's lines read into its step in the order the selector
// wrote them, and the damage a missing one does decided beside it.
void LogImporter::closeSelection(Thread &thread)
{
    if (!thread.selecting)
        return;
    const size_t index = *thread.selecting;
    Open &open = mOpen[index - mFirstOpen];
    StepOutcome &step = open.step;
    thread.selecting.reset();
    thread.selectionStage = -1;
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
    if (kind == StepKind::Select)
        step.log.reserve(16); // a selection's lines, and its checks' at info level, without regrowing
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

} // namespace zsl::log
