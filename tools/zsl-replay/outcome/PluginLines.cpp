// Reading the plug-in's lines back through their decoded events.

#include "outcome/PluginLines.h"

#include "outcome/AndroidEnums.h"

#include "messages/PluginEvent.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>
#include <string_view>

namespace zsl::outcome {

namespace {

using messages::Arg;
using messages::MessageId;
using messages::PluginEvent;

// Android's tag ids, for the names of their values.
constexpr uint32_t kAfMode = 0x10007, kAfState = 0x10020, kAeState = 0x1001f, kLensState = 0x80009;

// "2 CONVERGED": a value with Android's name for it, where it has one.
std::string named(uint32_t tag, std::optional<int> value)
{
    if (!value)
        return "?";
    const std::vector<std::string> *names = enumNames(tag);
    const bool known = names && *value >= 0 && static_cast<size_t>(*value) < names->size();
    return std::to_string(*value) + (known ? " " + (*names)[static_cast<size_t>(*value)] : "");
}

std::string aeExplanation(std::optional<int> state)
{
    return "AE: state " + named(kAeState, state) + ", not 2 CONVERGED, 3 LOCKED or 4 FLASH_REQUIRED";
}

// A rule line that refuses the frame if a refusal follows: the plug-in's
// words, and the engineer's.
std::optional<Refusal> ruleOf(const PluginEvent &event, std::string_view text)
{
    const std::string words(text.substr(0, text.find_last_not_of(' ') + 1));
    switch (event.id()) {
    case MessageId::EvFail:
        return Refusal{words,
                       "EV: frame " + std::to_string(event.number<int>(Arg::HistoryEv).value_or(0)) + ", request " +
                           std::to_string(event.number<int>(Arg::TargetEv).value_or(0)),
                       bitOf(RefusalClass::Ev)};
    case MessageId::AfFail:
        return Refusal{words,
                       "AF: mode " + named(kAfMode, event.afMode()) + ", state " + named(kAfState, event.afState()) +
                           ", lens " + named(kLensState, event.lensState()),
                       bitOf(RefusalClass::Af)};
    case MessageId::AfModeMissing:
        return Refusal{words, "AF: android.control.afMode missing", bitOf(RefusalClass::Af)};
    case MessageId::AfStateMissing:
        return Refusal{words, "AF: android.control.afState missing", bitOf(RefusalClass::Af)};
    case MessageId::LensStateMissing:
        return Refusal{words, "AF: android.lens.state missing", bitOf(RefusalClass::Af)};
    case MessageId::TagMissing:
        if (event.number<uint32_t>(Arg::Tag) == kAeState)
            return Refusal{words, "AE: android.control.aeState missing", bitOf(RefusalClass::Ae)};
        return Refusal{words, words, bitOf(RefusalClass::Other)};
    case MessageId::MetadataNull:
        return Refusal{words, "no metadata", bitOf(RefusalClass::NoMetadata)};
    case MessageId::TagValue: { // the AE check prints the state it saw and the states it accepts
        if (event.number<uint32_t>(Arg::Tag) != kAeState)
            return std::nullopt;
        const std::optional<int> state = event.number<int>(Arg::Value);
        return Refusal{"aeState " + std::to_string(state.value_or(-1)) + " not settled (accepted " +
                           std::string(event.text(Arg::Accepted)) + ")",
                       aeExplanation(state), bitOf(RefusalClass::Ae)};
    }
    default:
        return std::nullopt;
    }
}

} // namespace

// The selection's own account of itself, from its lines.
void readSelectionLines(const std::vector<kohost::LogLine> &lines, StepOutcome &result)
{
    std::optional<std::pair<uint32_t, int64_t>> lastExamined;
    for (const kohost::LogLine &line : lines) {
        const std::optional<PluginEvent> event = PluginEvent::decode(line);
        if (!event)
            continue;
        readRequestLine(*event, result.request);
        switch (event->id()) {
        case MessageId::Consumer:
            result.consumer = messages::numbersIn(event->text(Arg::FrameList));
            break;
        case MessageId::Producer:
            result.producer = messages::numbersIn(event->text(Arg::FrameList));
            break;
        case MessageId::AnchorPick: {
            const uint32_t type = event->number<uint32_t>(Arg::MotionCapType).value_or(0);
            if ((type & 0xFF) == 1) // a motion capture: zsdTs follows the anchor time stamp
                result.motionCapture = {event->number<int64_t>(Arg::AnchorTs).value_or(0), type};
            break;
        }
        case MessageId::Window:
            result.zsdTs = event->number<int64_t>(Arg::ZsdTs);
            result.curTime = event->number<int64_t>(Arg::CurTime);
            break;
        case MessageId::ConsumerShutter:
        case MessageId::ProducerShutter: {
            auto frame = event->number<uint32_t>(Arg::Frame);
            auto shutter = event->number<int64_t>(Arg::ShutterTs);
            if (frame && shutter) {
                lastExamined = {*frame, *shutter};
                result.shutterNs.emplace(*frame, *shutter);
            }
            break;
        }
        case MessageId::Anchor:
            result.anchorOffset = event->number<int32_t>(Arg::AnchorOffset);
            result.csbegin = event->number<int32_t>(Arg::CsBegin);
            break;
        case MessageId::ConsumerGone:
            if (auto gone = event->number<uint32_t>(Arg::Frame))
                result.warnings.push_back(
                    {*gone, "frame " + std::to_string(*gone) + " is listed but has left the queue (no record)",
                     StepWarning::Kind::LeftQueue});
            break;
        case MessageId::BeginMoved:
            if (auto lacked = event->number<uint32_t>(Arg::ZslFrame))
                result.warnings.push_back({*lacked,
                                           "the selection's first frame " + std::to_string(*lacked) +
                                               " was passed over: queue [" + std::string(event->text(Arg::FrameList)) +
                                               "] does not hold it",
                                           StepWarning::Kind::FirstFrameLacked});
            break;
        default:
            break;
        }
    }
    if (lastExamined && result.zsdTs && lastExamined->second > *result.zsdTs)
        result.anchorFrame = lastExamined->first;
}

std::vector<uint32_t> producerWithoutRecord(const StepOutcome &step)
{
    if (!step.producerKnown || !step.csbegin) // the scan never reached the producer list
        return {};
    size_t end = step.producer.size();
    if (step.anchorFrame)
        for (size_t j = 0; j < step.producer.size(); ++j)
            if (step.producer[j] == *step.anchorFrame)
                end = j;
    std::vector<uint32_t> frames;
    for (size_t j = 0; j < end; ++j)
        if (!step.shutterNs.count(step.producer[j]))
            frames.push_back(step.producer[j]);
    return frames;
}

SelectorConfig configOf(const PluginEvent &configLine)
{
    return SelectorConfig{configLine.number<int>(Arg::SupportPending).value_or(0) != 0,
                          configLine.number<int64_t>(Arg::DefaultWindowMs).value_or(0),
                          configLine.number<int64_t>(Arg::ProjectWindowMs).value_or(0),
                          configLine.number<int64_t>(Arg::UserWindowMs).value_or(0)};
}

std::optional<SelectorConfig> configIn(const std::vector<kohost::LogLine> &lines)
{
    std::optional<SelectorConfig> config;
    for (const kohost::LogLine &line : lines)
        if (const std::optional<PluginEvent> event = PluginEvent::decode(line); event && event->is(MessageId::Config))
            config = configOf(*event);
    return config;
}

void readRequestLine(const PluginEvent &event, RequestSeen &seen)
{
    switch (event.id()) {
    case MessageId::RequestEv:
        seen.ev = seen.ev ? seen.ev : event.number<int>(Arg::Ev);
        break;
    case MessageId::SuperResolutionOn:
        seen.superResolution = seen.superResolution ? seen.superResolution : event.number<int>(Arg::SrEnable);
        break;
    case MessageId::SensorStart:
        seen.sensorCheck = true;
        break;
    case MessageId::SensorDesired:
        seen.desiredSensorModeSet = true;
        [[fallthrough]];
    case MessageId::SensorDesiredUnset:
        seen.desiredSensorMode =
            seen.desiredSensorMode ? seen.desiredSensorMode : event.number<int32_t>(Arg::DesiredSensorMode);
        break;
    case MessageId::QuickSnapshot:
        seen.quickSnapshot = true;
        break;
    case MessageId::AnchorPick:
        seen.anchorTs = seen.anchorTs ? seen.anchorTs : event.number<int64_t>(Arg::AnchorTs);
        seen.motionCapType = seen.motionCapType ? seen.motionCapType : event.number<uint32_t>(Arg::MotionCapType);
        break;
    default:
        break;
    }
}

void addRequestSeen(RequestSeen &seen, const RequestSeen &later)
{
    seen.ev = seen.ev ? seen.ev : later.ev;
    seen.superResolution = seen.superResolution ? seen.superResolution : later.superResolution;
    seen.sensorCheck = seen.sensorCheck || later.sensorCheck;
    seen.desiredSensorMode = seen.desiredSensorMode ? seen.desiredSensorMode : later.desiredSensorMode;
    seen.desiredSensorModeSet = seen.desiredSensorModeSet || later.desiredSensorModeSet;
    seen.quickSnapshot = seen.quickSnapshot || later.quickSnapshot;
    seen.anchorTs = seen.anchorTs ? seen.anchorTs : later.anchorTs;
    seen.motionCapType = seen.motionCapType ? seen.motionCapType : later.motionCapType;
}

// Why the plug-in refused a frame.
Refusal refusal(const std::vector<kohost::LogLine> &log)
{
    std::vector<Refusal> reasons;
    Refusal rule;
    std::string frameMode = "?", requestMode = "?";
    bool sensorCheck = false;
    for (const kohost::LogLine &line : log) {
        const std::optional<PluginEvent> event = PluginEvent::decode(line);
        if (!event)
            continue;
        if (auto newRule = ruleOf(*event, line.text)) {
            rule = std::move(*newRule);
            continue;
        }
        switch (event->id()) {
        case MessageId::RefusedCamera:
        case MessageId::RefusedOwn: {
            const std::optional<int> camera = event->camera();
            const std::string who = camera ? "camera " + std::to_string(*camera) + ": " : "";
            // A refusal after no rule line of the plug-in's is of no known class.
            reasons.push_back(
                {who + rule.reason, who + rule.explanation, rule.classes ? rule.classes : bitOf(RefusalClass::Other)});
            break;
        }
        case MessageId::SensorFrameMode:
        case MessageId::SensorFrameModeNoMeta:
            if (auto mode = event->number<int>(Arg::SensorMode))
                frameMode = std::to_string(*mode);
            break;
        case MessageId::SensorRequestMode:
            if (auto mode = event->number<int>(Arg::SensorMode))
                requestMode = std::to_string(*mode);
            break;
        case MessageId::SensorMismatch:
            reasons.push_back({"sensor mode " + frameMode + ", request wants " + requestMode,
                               "sensor mode: frame " + frameMode + ", request " + requestMode,
                               bitOf(RefusalClass::SensorMode)});
            break;
        case MessageId::SensorStart:
            sensorCheck = true;
            break;
        default:
            break;
        }
    }
    if (reasons.empty()) {
        if (sensorCheck)
            return {"no sensor-mode queue", "sensor mode: no sensor-mode queue to compare with",
                    bitOf(RefusalClass::SensorMode)};
        return {"refused (no reason in the system log)", "not in the log: the system log was closed",
                bitOf(RefusalClass::Unlogged)};
    }
    Refusal all;
    for (const Refusal &reason : reasons) {
        all.reason += (all.reason.empty() ? "" : "; ") + reason.reason;
        all.explanation += (all.explanation.empty() ? "" : "; ") + reason.explanation;
        all.classes |= reason.classes;
    }
    if (all.explanation.empty()) // one refusal, of no rule's and no camera's: nothing to count
        all.classes = 0;
    return all;
}

std::vector<std::string> refusalClassNames(RefusalClasses classes)
{
    std::vector<std::string> names;
    for (size_t kind = 0; kind < std::size(kRefusalClasses); ++kind)
        if (classes & bitOf(static_cast<RefusalClass>(kind)))
            names.emplace_back(kRefusalClasses[kind]);
    return names;
}

} // namespace zsl::outcome
