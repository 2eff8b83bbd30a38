// What a capture read from a log grounds of its selection at another
// configuration.

#include "whatif/LogGrounds.h"

#include "messages/PluginEvent.h"
#include "outcome/PluginLines.h"
#include "output/TraceWriter.h"

#include <algorithm>

namespace zsl::whatif {

using namespace zsl::outcome;
using messages::MessageId;
using messages::PluginEvent;

namespace {

bool warned(const StepOutcome &step, uint32_t frame, StepWarning::Kind kind)
{
    return std::any_of(step.warnings.begin(), step.warnings.end(),
                       [&](const StepWarning &warning) { return warning.frame == frame && warning.kind == kind; });
}

} // namespace

LogGrounds::LogGrounds(const SessionOutcome &, const StepOutcome &step) : curTime(step.curTime)
{
    bool tooOld = false;
    for (const kohost::LogLine &line : step.log)
        if (const std::optional<PluginEvent> event = PluginEvent::decode(line)) {
            noMetaQueue = noMetaQueue || event->is(MessageId::SelectNoQueue);
            tooOld = tooOld || event->is(MessageId::ConsumerTooOld);
        }
    tooOld = tooOld || step.finishedEarly;
    if (step.mixedThreads)
        unusable = "its lines may be mixed with another capture's (the log's format shows no thread id)";
    else if (!step.selectionUnknown.empty()) // lost check lines leave only their verdicts unknown
        unusable = step.selectionUnknown;
    else if (!step.selectRan)
        unusable = "the log shows no selection for it";
    else if (noMetaQueue)
        return;
    else if (!step.zsdTs || !step.curTime)
        unusable = "its selection's time stamps (zsdTs, curTime) are not in the log";
    else if (!step.csbegin && !tooOld)
        unusable = "its selection's end (the anchor offset line) is not in the log";
    if (!unusable.empty())
        return;

    const size_t n = step.consumer.size();
    for (uint32_t frame : step.consumer) {
        const bool gone = warned(step, frame, StepWarning::Kind::LeftQueue);
        if (!gone && !step.shutterNs.count(frame))
            break;
        if (gone)
            mAbsent.insert(frame);
        ++consumerKnown;
    }
    // A producer frame without a record is passed over without a line: known
    // up to the scan's anchor.
    if (step.producerKnown) {
        const std::vector<uint32_t> without = producerWithoutRecord(step);
        producerKnown = 0;
        while (*producerKnown < step.producer.size() &&
               (step.shutterNs.count(step.producer[*producerKnown]) ||
                std::count(without.begin(), without.end(), step.producer[*producerKnown])))
            ++*producerKnown;
    }

    if (step.requested > 0)
        requested = step.requested;
    else
        requestedAtLeast = output::requestsToRebuild(step);

    // The presence check logs at debug level each frame a queue lacked, and
    // is silent on the one every queue held.
    if (step.debugLines && step.csbegin) {
        size_t begin = static_cast<size_t>(std::max(0, *step.csbegin));
        while (begin < n && warned(step, step.consumer[begin], StepWarning::Kind::FirstFrameLacked))
            mAbsent.insert(step.consumer[begin++]);
        if (begin < n)
            mPresent.insert(step.consumer[begin]);
    }

    // A frame the host checked was selected, so above the last used number.
    // Frames numbered only by selection order count when the host checked
    // as many frames as the log's selection holds: none was left out.
    const bool allChecked = step.debugLines && step.checks.size() == step.selectedFrames.size();
    for (const CheckOutcome &check : step.checks) {
        if (check.frameInferred && !allChecked)
            continue;
        if (std::find(step.selectedFrames.begin(), step.selectedFrames.end(), check.frame) == step.selectedFrames.end())
            continue;
        if (!aboveLastUsed || check.frame < *aboveLastUsed)
            aboveLastUsed = check.frame;
        if (check.unknown.empty())
            mVerdicts.emplace(check.frame, check);
    }
}

LogGrounds::Presence LogGrounds::presence(uint32_t frame) const
{
    return mAbsent.count(frame) ? Presence::Absent : mPresent.count(frame) ? Presence::Present : Presence::Unknown;
}

const CheckOutcome *LogGrounds::verdict(uint32_t frame) const
{
    auto at = mVerdicts.find(frame);
    return at == mVerdicts.end() ? nullptr : &at->second;
}

} // namespace zsl::whatif
