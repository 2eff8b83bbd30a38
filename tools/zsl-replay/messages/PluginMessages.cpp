// The plug-in's messages, word for word as it writes them (blanks and
// misspellings included: they are what a device's log holds).

#include "messages/PluginMessages.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>

namespace zsl::messages {

namespace {

using K = MessageKind;
using I = MessageId;
using A = Arg;

} // namespace

ArgShape argShape(Arg arg)
{
    switch (arg) {
    case Arg::SelectorName:
    case Arg::QueueName:
    case Arg::FrameList:
    case Arg::AfInfo:
    case Arg::Caller:
    case Arg::Value:
    case Arg::Accepted:
        return ArgShape::Text;
    case Arg::MotionCapType:
    case Arg::Tag:
    case Arg::ModeSelectMask:
        return ArgShape::Hex;
    case Arg::SelectorAddress:
        return ArgShape::Pointer;
    default:
        return ArgShape::Decimal;
    }
}

// Long: the table itself, one message a line.
const std::vector<PluginMessage> &pluginMessages()
{
    static const std::vector<PluginMessage> messages = {
        // The selector's construction and isSelectorNeeded.
        {"mSupportPending %d mZSLTimeDiffMs(%ld) = default(%ld)+project(%ld)+user(%ld)",
         'I',
         K::Config,
         I::Config,
         {A::SupportPending, A::WindowMs, A::DefaultWindowMs, A::ProjectWindowMs, A::UserWindowMs}},
        {"[ZSLSelector] %s isNeeded %d", 'D', K::Needed, I::Needed, {A::SelectorName, A::IsNeeded}},
        // selectZSLFrames.
        {"[ZSLSelector] fwkFrame:%u no metaQueue, select finished",
         'D',
         K::SelectStart,
         I::SelectNoQueue,
         {A::FwkFrame}},
        {"[ZSLSelector] fwkFrame:%u [%s] Current Consumer list none",
         'I',
         K::SelectStart,
         I::ConsumerNone,
         {A::FwkFrame, A::QueueName}},
        {"[ZSLSelector] fwkFrame:%u [%s] Current Consumer list: %s",
         'I',
         K::SelectStart,
         I::Consumer,
         {A::FwkFrame, A::QueueName, A::FrameList}},
        {"<mc anchor pick> anchorTS:%ld, motionCapType:0x%x",
         'I',
         K::Select,
         I::AnchorPick,
         {A::AnchorTs, A::MotionCapType}},
        {"[ZSLSelector] fwkFrame:%u zsdTs:%ld curTime:%ld",
         'I',
         K::Select,
         I::Window,
         {A::FwkFrame, A::ZsdTs, A::CurTime}},
        {"[ZSLSelector] fwkFrame:%u Consumer list: %u ResultMetaTarget removed",
         'I',
         K::Select,
         I::ConsumerGone,
         {A::FwkFrame, A::Frame}},
        {"[ZSLSelector] fwkFrame:%u Consumer list: %u shutter time:%ld",
         'I',
         K::Select,
         I::ConsumerShutter,
         {A::FwkFrame, A::Frame, A::ShutterTs}},
        {"[ZSLSelector] fwkFrame:%u consumer list ts too old, select finished",
         'D',
         K::Select,
         I::ConsumerTooOld,
         {A::FwkFrame}},
        {"[ZSLSelector] fwkFrame:%u [%s] Current Producer list: %s",
         'I',
         K::Select,
         I::Producer,
         {A::FwkFrame, A::QueueName, A::FrameList}},
        {"[ZSLSelector] fwkFrame:%u Producer list: %u shutter time:%ld ",
         'I',
         K::Select,
         I::ProducerShutter,
         {A::FwkFrame, A::Frame, A::ShutterTs}},
        {"[ZSLSelector] fwkFrame:%u ZSLAnchor offset:%d csbegin:%d consumerQ[%s]",
         'I',
         K::Select,
         I::Anchor,
         {A::FwkFrame, A::AnchorOffset, A::CsBegin, A::FrameList}},
        {"[ZSLSelector] fwkFrame:%u, cannot find zslFrame: %u in [%s], move begin to next",
         'D',
         K::Select,
         I::BeginMoved,
         {A::FwkFrame, A::ZslFrame, A::FrameList}},
        // checkFrame: one metadata's qualification.
        {"Metadata is nullptr", 'D', K::QualifyStart, I::MetadataNull, {}},
        {"get EV setting=%d", 'D', K::QualifyStart, I::FrameEv, {A::Ev}},
        {"cannot get EV setting, set default EV=%d",
         'D',
         K::QualifyStart,
         I::DefaultEv,
         {A::Ev}}, // or a later line: the importer tells
        {" get EV setting=%d", 'D', K::Qualify, I::RequestEv, {A::Ev}},
        {"isRequiredEV OK: EV=%d", 'D', K::Qualify, I::EvOk, {A::Ev}},
        {"isRequiredEV fail: EV(History)=%d, EV(Target)=%d", 'D', K::Qualify, I::EvFail, {A::HistoryEv, A::TargetEv}},
        {"QuickSnapshot bypass check AF/AE ", 'D', K::Qualify, I::QuickSnapshot, {}},
        {"bypass AF/AE stable check for motion cap: 0x%x", 'D', K::Qualify, I::MotionBypass, {A::MotionCapType}},
        {"android.control.afMode tag not found! ", 'D', K::Qualify, I::AfModeMissing, {}},
        {"android.control.afState tag not found!", 'D', K::Qualify, I::AfStateMissing, {}},
        {"android.lens.state not found!", 'D', K::Qualify, I::LensStateMissing, {}},
        {"AF ok: %s", 'D', K::Qualify, I::AfOk, {A::AfInfo}},
        {"AF fail: %s", 'D', K::Qualify, I::AfFail, {A::AfInfo}},
        {"[%s] tag(%#x) val=%s target=%s bc=%d",
         'D',
         K::Qualify,
         I::TagValue,
         {A::Caller, A::Tag, A::Value, A::Accepted, A::Bc}},
        {"[%s] tag(%#x) not found!", 'D', K::Qualify, I::TagMissing, {A::Caller, A::Tag}},
        {"hf does not include tareget EV", 'D', K::QualifyEnd, I::HfNoTarget, {}},
        {"AF X", 'D', K::QualifyEnd, I::AfRefused, {}},
        {"AE X", 'D', K::QualifyEnd, I::AeRefused, {}},
        {"hf OK", 'D', K::QualifyEnd, I::HfOk, {}},
        // checkFrame: the verdict on the metadata, and super resolution.
        {"[ZSLSelector] fwkFrame:%u, No zslFrame: %u ,camid:%d invalid",
         'D',
         K::RefusedCamera,
         I::RefusedCamera,
         {A::FwkFrame, A::ZslFrame, A::Camera}},
        {"[ZSLSelector] fwkFrame:%u, No zslFrame: %uinvalid",
         'D',
         K::RefusedOwn,
         I::RefusedOwn,
         {A::FwkFrame, A::ZslFrame}},
        {"[ZSLSelector] get korvan.superResolution.enabled successful, srEnable = %d",
         'D',
         K::SuperResolution,
         I::SuperResolutionOn,
         {A::SrEnable}},
        {"[ZSLSelector] get korvan.superResolution.enabled failed, srEnable = %d",
         'D',
         K::SuperResolution,
         I::SuperResolutionUnset,
         {A::SrEnable}},
        // The platform's sensor-mode check.
        {"[ZSLSelector] checkFrameNum = %d fwkFrameNum = %d  reqtMasterId = %d masterRoleId = %d "
         "AiHLFrameNum = %d this = %p",
         'I',
         K::SensorStart,
         I::SensorStart,
         {A::ZslFrame, A::FwkFrame, A::ReqtMasterId, A::MasterRoleId, A::AiHLFrameNum, A::SelectorAddress}},
        {"[ZSLSelector] fwkFrame:%u zslFrame: %u zslFrame perframeSensorMode:%d",
         'D',
         K::Sensor,
         I::SensorFrameMode,
         {A::FwkFrame, A::ZslFrame, A::SensorMode}},
        {"[ZSLSelector] fwkFrame:%u zslFrame: %u get metaFrame failed perframeSensorMode = %d",
         'D',
         K::Sensor,
         I::SensorFrameModeNoMeta,
         {A::FwkFrame, A::ZslFrame, A::SensorMode}},
        {"[ZSLSelector] get korvan.ext.control.policy.sensorMode failed, desiredSensorMode = %d",
         'D',
         K::Sensor,
         I::SensorDesiredUnset,
         {A::DesiredSensorMode}},
        {"[ZSLSelector] get korvan.ext.control.policy.sensorMode successful, desiredSensorMode = %d",
         'D',
         K::Sensor,
         I::SensorDesired,
         {A::DesiredSensorMode}},
        {"[ZSLSelector] fwkFrame:%u zslFrame: %u reqestFrame reqDesiredSensorMode:%d",
         'D',
         K::Sensor,
         I::SensorRequestMode,
         {A::FwkFrame, A::ZslFrame, A::SensorMode}},
        {"[ZSLSelector] checkDesiredSensorMode success!  fwkFrame:%u zslFrame: %u",
         'D',
         K::SensorEnd,
         I::SensorMatch,
         {A::FwkFrame, A::ZslFrame}},
        {"[ZSLSelector] checkDesiredSensorMode fail!  fwkFrame:%u zslFrame: %u",
         'D',
         K::SensorEnd,
         I::SensorMismatch,
         {A::FwkFrame, A::ZslFrame}},
        // The interface's own sensor-mode check, for selectors that keep it.
        {"[ZSLSelector] logicalId:%d, mSensorPolicyMask:%d",
         'D',
         K::Sensor,
         I::SensorPolicyMask,
         {A::LogicalId, A::SensorPolicyMask}},
        {"[ZSLSelector] not support sensor policy, skip sensor mode checking.",
         'D',
         K::SensorEnd,
         I::SensorNoPolicy,
         {}},
        {"[ZSLSelector] fwkFrame:%u zslFrame: %u zslFrame koholder::sensorModetype:%d",
         'D',
         K::Sensor,
         I::SensorFrameType,
         {A::FwkFrame, A::ZslFrame, A::SensorMode}},
        {"[ZSLSelector] fwkFrame:%u zslFrame: %u get metaFrame failed",
         'D',
         K::Sensor,
         I::SensorFrameNoMeta,
         {A::FwkFrame, A::ZslFrame}},
        {"[ZSLSelector] not find mcxFrameresult", 'D', K::Sensor, I::SensorNoResult, {}},
        {"[ZSLSelector] getDesiredSensorMode cameraRoleType:%d modeSelectMask:0x%x modeOffset:%d sensorModetype%d",
         'D',
         K::Sensor,
         I::SensorDesiredMask,
         {A::CameraRoleType, A::ModeSelectMask, A::ModeOffset, A::SensorMode}},
        {"[ZSLSelector] fwkFrame:%u zslFrame: %u reqestFrame koholder::sensorModetype:%d",
         'D',
         K::Sensor,
         I::SensorRequestType,
         {A::FwkFrame, A::ZslFrame, A::SensorMode}},
    };
    return messages;
}

namespace {

// What tells most texts from a message at a glance: the format's fixed
// start and, where a number follows it, the fixed text after the number;
// and its fixed end, before the number that ends it if one does (a text
// fills a format whole, so it ends as the format does).
struct Start {
    std::string_view fixed;
    std::string_view afterNumber; // empty: no number right after `fixed`
    std::string_view last;        // the text after the last conversion but a number ending the format
    bool endsInNumber = false;
    bool endKnown = false; // false where the number's digits could not be told from `last`'s
};

void readEnd(std::string_view format, Start &start)
{
    size_t end = format.size();
    if (end > 0 && (format[end - 1] == 'd' || format[end - 1] == 'u')) { // "%d", "%u", "%ld" at the very end
        size_t at = end - 1;
        while (at > 0 && format[at - 1] == 'l')
            --at;
        if (at > 0 && format[at - 1] == '%') {
            start.endsInNumber = true;
            end = at - 1;
        }
    }
    const size_t conversion = end == 0 ? std::string_view::npos : format.rfind('%', end - 1);
    size_t from = 0;
    if (conversion != std::string_view::npos) {
        from = conversion + 1;
        while (from < end && (format[from] == '#' || format[from] == 'l'))
            ++from;
        from = std::min(from + 1, end); // past the conversion's letter
    }
    start.last = format.substr(from, end - from);
    start.endKnown =
        !start.endsInNumber || start.last.empty() || (!isDigit(start.last.back()) && start.last.back() != '-');
}

// Whether the text ends as the format does (true where that cannot be told).
bool mayEnd(std::string_view text, const Start &start)
{
    if (!start.endKnown)
        return true;
    size_t end = text.size();
    if (start.endsInNumber) {
        while (end > 0 && isDigit(text[end - 1]))
            --end;
        end -= end > 0 && text[end - 1] == '-';
    }
    return end >= start.last.size() && text.compare(end - start.last.size(), start.last.size(), start.last) == 0;
}

// Where the fixed start ends; the conversion after it, if any, at `at`.
Start startOf(std::string_view format)
{
    Start start;
    const size_t at = format.find('%');
    start.fixed = format.substr(0, at);
    if (at == std::string_view::npos) {
        readEnd(format, start);
        return start;
    }
    size_t end = at + 1;
    while (end < format.size() && format[end] == 'l')
        ++end;
    if (end < format.size() && (format[end] == 'd' || format[end] == 'u')) {
        const std::string_view rest = format.substr(end + 1);
        start.afterNumber = rest.substr(0, rest.find('%'));
    }
    readEnd(format, start);
    return start;
}

} // namespace

const PluginMessage *findPluginMessage(std::string_view text, std::vector<std::string_view> &args)
{
    // The messages a text may fill, by its first byte, in the table's order:
    // a text is matched against a few formats, not all. Most of a byte's
    // formats share their fixed start with others ("[ZSLSelector] fwkFrame:"
    // begins a score of them): each distinct start is compared, and the
    // number after it passed over, once per text (`shared`: the start's
    // slot among its byte's).
    struct Candidate {
        uint8_t message;
        uint8_t shared;
    };
    struct Bucket {
        std::vector<Candidate> candidates;
        size_t shared = 0; // distinct starts
    };
    struct Index {
        std::vector<Start> starts;
        std::array<Bucket, 256> byFirst;
    };
    static const Index index = [] {
        Index built;
        const std::vector<PluginMessage> &messages = pluginMessages();
        for (size_t i = 0; i < messages.size(); ++i)
            built.starts.push_back(startOf(messages[i].format));
        for (size_t c = 0; c < 256; ++c) {
            std::vector<std::string_view> fixed; // the byte's distinct starts
            for (size_t i = 0; i < messages.size(); ++i) {
                const std::string_view start = built.starts[i].fixed;
                if (!start.empty() && static_cast<unsigned char>(start.front()) != c)
                    continue;
                const size_t slot = std::find(fixed.begin(), fixed.end(), start) - fixed.begin();
                if (slot == fixed.size())
                    fixed.push_back(start);
                built.byFirst[c].candidates.push_back({static_cast<uint8_t>(i), static_cast<uint8_t>(slot)});
            }
            built.byFirst[c].shared = fixed.size();
        }
        return built;
    }();
    if (text.empty())
        return nullptr;
    const Bucket &bucket = index.byFirst[static_cast<unsigned char>(text.front())];
    // Per shared start: 0 not compared yet, 1 the text begins otherwise,
    // else where the number after it ends, plus 2.
    std::array<size_t, 256> numberEnd;
    std::fill_n(numberEnd.begin(), bucket.shared, 0);
    const std::vector<PluginMessage> &messages = pluginMessages();
    for (const Candidate candidate : bucket.candidates) {
        const Start &start = index.starts[candidate.message];
        size_t &end = numberEnd[candidate.shared];
        if (end == 0) {
            if (text.compare(0, start.fixed.size(), start.fixed) != 0) {
                end = 1;
            } else {
                size_t at = start.fixed.size();
                at += at < text.size() && text[at] == '-';
                while (at < text.size() && text[at] >= '0' && text[at] <= '9')
                    ++at;
                end = at + 2;
            }
        }
        if (end == 1)
            continue;
        if (!start.afterNumber.empty()) {
            const size_t at = end - 2;
            if (at >= text.size() || text[at] != start.afterNumber.front() ||
                text.compare(at, start.afterNumber.size(), start.afterNumber) != 0)
                continue;
        }
        if (!mayEnd(text, start))
            continue;
        args.clear();
        if (fillsFormat(text, messages[candidate.message].format, &args))
            return &messages[candidate.message];
    }
    return nullptr;
}

const PluginMessage *findPluginMessage(std::string_view text)
{
    thread_local std::vector<std::string_view> args;
    return findPluginMessage(text, args);
}

} // namespace zsl::messages
