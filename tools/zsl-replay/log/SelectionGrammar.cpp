// A selection's lines held to the order one call prints them in.

#include "log/SelectionGrammar.h"

#include "messages/PluginEvent.h"
#include "messages/PluginMessages.h"

#include <algorithm>

namespace zsl::log {

using messages::Arg;
using messages::MessageId;
using messages::PluginEvent;

namespace {

// The stages of one call, in the order it prints them.
enum Stage { kStart, kPick, kWindow, kScan, kTooOld, kProducerList, kProducerScan, kAnchor, kMoved, kNone };

Stage stageOf(MessageId id)
{
    switch (id) {
    case MessageId::Consumer:
    case MessageId::ConsumerNone:
    case MessageId::SelectNoQueue:
        return kStart;
    case MessageId::AnchorPick:
        return kPick;
    case MessageId::Window:
        return kWindow;
    case MessageId::ConsumerGone:
    case MessageId::ConsumerShutter:
        return kScan;
    case MessageId::ConsumerTooOld:
        return kTooOld;
    case MessageId::Producer:
        return kProducerList;
    case MessageId::ProducerShutter:
        return kProducerScan;
    case MessageId::Anchor:
        return kAnchor;
    case MessageId::BeginMoved:
        return kMoved;
    default:
        return kNone;
    }
}

bool repeats(Stage stage)
{
    return stage == kScan || stage == kProducerScan || stage == kMoved;
}

} // namespace

int selectionStage(const kohost::LogLine &line)
{
    if (line.message < 0)
        return -1;
    const Stage stage = stageOf(messages::pluginMessages()[static_cast<size_t>(line.message)].id);
    return stage == kNone ? -1 : stage;
}

bool goesBack(int last, int next)
{
    return last >= 0 && next >= 0 && (next < last || (next == last && !repeats(static_cast<Stage>(next))));
}

// Long: the selection's grammar, one stage after another, in the order the
// selector writes them.
std::string selectionBreak(const std::vector<kohost::LogLine> &lines, const outcome::StepOutcome &step,
                           std::optional<bool> pending, bool threadsKnown)
{
    int last = -1;
    bool seen[kNone] = {};
    std::vector<uint32_t> scanned, producerScanned, moved;
    std::optional<int64_t> lastShutter; // of the last scanned consumer frame, if it had a record
    bool noQueue = false;
    std::vector<uint32_t> anchorList;
    for (const kohost::LogLine &line : lines) {
        const std::optional<PluginEvent> event = PluginEvent::decode(line);
        if (!event)
            continue;
        const Stage stage = stageOf(event->id());
        if (stage == kNone || (stage == kPick && !threadsKnown))
            continue; // the answer of isSelectorNeeded before it; a pick of any call
        if (last == -1 && stage != kStart)
            return "its first lines are not in the log";
        if (goesBack(last, stage) || noQueue)
            return "its lines are out of the order one call prints them in";
        for (int skipped = last + 1; skipped < stage; ++skipped)
            if ((skipped == kPick && threadsKnown) || skipped == kWindow ||
                (skipped == kProducerList && stage == kProducerScan))
                return "a line it prints is not in the log";
        seen[stage] = true;
        last = stage;
        noQueue = event->is(MessageId::SelectNoQueue);
        if (stage == kScan) {
            scanned.push_back(event->number<uint32_t>(Arg::Frame).value_or(0));
            lastShutter = event->is(MessageId::ConsumerShutter) ? event->number<int64_t>(Arg::ShutterTs) : std::nullopt;
        } else if (stage == kProducerScan) {
            producerScanned.push_back(event->number<uint32_t>(Arg::Frame).value_or(0));
        } else if (stage == kMoved) {
            moved.push_back(event->number<uint32_t>(Arg::ZslFrame).value_or(0));
        } else if (stage == kAnchor) {
            anchorList = messages::numbersIn(event->text(Arg::FrameList));
        }
    }
    const std::vector<uint32_t> &consumer = step.consumer;
    const size_t n = consumer.size();
    // The consumer scan logs the list's frames from the first, in order.
    if (scanned.size() > n || !std::equal(scanned.begin(), scanned.end(), consumer.begin()))
        return "its consumer scan skips a frame of the list";
    const bool consumerAnchor = lastShutter && step.zsdTs && *lastShutter > *step.zsdTs;
    if (consumerAnchor && (seen[kTooOld] || seen[kProducerList] || seen[kProducerScan]))
        return "it scans on past its anchor";
    if (!consumerAnchor && (seen[kTooOld] || seen[kProducerList] || seen[kProducerScan] || seen[kAnchor]) &&
        scanned.size() != n)
        return "its consumer scan stops before the list's end without an anchor";
    if (seen[kTooOld] && (seen[kAnchor] || pending == false))
        return "it both finishes early and goes on";
    for (uint32_t frame : producerScanned)
        if (std::find(step.producer.begin(), step.producer.end(), frame) == step.producer.end())
            return "its producer scan names a frame not in the producer list";
    if (!seen[kAnchor])
        return ""; // finished early, or the log ends (or loses) its end: the importer tells which
    if (anchorList != consumer)
        return "its anchor offset line lists another consumer list";
    const int64_t offset = step.anchorOffset.value_or(0), begin = step.csbegin.value_or(0);
    const int64_t signedN = static_cast<int64_t>(n);
    if (consumerAnchor) {
        if (offset != static_cast<int64_t>(scanned.size()) - 1 - signedN)
            return "its anchor offset is not the anchor's place in the consumer scan";
    } else {
        if (pending == true)
            return "it goes on past a consumer list too old with pending support on";
        // The last frame examined with a record: the producer scan's, else the consumer scan's.
        int64_t expected = 0;
        if (!producerScanned.empty()) {
            const auto at = std::find(step.producer.begin(), step.producer.end(), producerScanned.back());
            expected = at - step.producer.begin();
        } else {
            for (size_t i = 0; i < n; ++i)
                if (step.shutterNs.count(consumer[i]))
                    expected = static_cast<int64_t>(i) - signedN;
        }
        if (offset != expected)
            return "its anchor offset is not the last frame its scans examined";
        if (offset >= 0 && !seen[kProducerList])
            return "its producer list is not in the log";
    }
    for (size_t k = 0; k < moved.size(); ++k) {
        const int64_t at = begin + static_cast<int64_t>(k);
        if (at < 0 || at >= signedN || consumer[static_cast<size_t>(at)] != moved[k])
            return "the frames its begin moved past are not those from the begin on";
    }
    return "";
}

} // namespace zsl::log
