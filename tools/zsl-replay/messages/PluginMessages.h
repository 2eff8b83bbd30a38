#pragma once
/*
 * PluginMessages: every message the plug-in can write, as its printf
 * format, with its level and what a reader of a log makes of it (which
 * call it belongs to, and where in that call it stands). A log line is
 * matched against the formats themselves, so a line is known exactly when
 * the plug-in can write it; a test compares this table with the plug-in's
 * sources, so a message added there and not here fails the build's tests.
 */

#include "messages/FormatMatch.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace zsl::messages {

// The plug-in's Android-log tag, and a word in the prefix of each of its
// lines (its file name): what a reader looks for first.
constexpr std::string_view kPluginTag = "KoAlgoEngine";
constexpr std::string_view kPluginFileMark = "ZSLSelector";

// Where a message stands: the selector's configuration, isSelectorNeeded's
// answer, the first or a later line of selectZSLFrames, or a part of
// checkFrame (a metadata's qualification, a refusal, the super-resolution
// line, the sensor-mode check).
enum class MessageKind : int {
    Config,
    Needed,
    SelectStart,
    Select,
    QualifyStart,
    Qualify,
    QualifyEnd,
    RefusedCamera,
    RefusedOwn,
    SuperResolution,
    SensorStart,
    Sensor,
    SensorEnd
};

// Which message, one name each, for the readers that take its arguments
// (PluginEvent). The names say what the line tells, not how it is worded.
enum class MessageId : int {
    // The selector's construction and isSelectorNeeded.
    Config,
    Needed,
    // selectZSLFrames.
    SelectNoQueue,
    ConsumerNone,
    Consumer,
    AnchorPick,
    Window,
    ConsumerGone,
    ConsumerShutter,
    ConsumerTooOld,
    Producer,
    ProducerShutter,
    Anchor,
    BeginMoved,
    // checkFrame: one metadata's qualification.
    MetadataNull,
    FrameEv,
    DefaultEv,
    RequestEv,
    EvOk,
    EvFail,
    QuickSnapshot,
    MotionBypass,
    AfModeMissing,
    AfStateMissing,
    LensStateMissing,
    AfOk,
    AfFail,
    TagValue,
    TagMissing,
    HfNoTarget,
    AfRefused,
    AeRefused,
    HfOk,
    // checkFrame: the verdict, and super resolution.
    RefusedCamera,
    RefusedOwn,
    SuperResolutionOn,
    SuperResolutionUnset,
    // The platform's sensor-mode check.
    SensorStart,
    SensorFrameMode,
    SensorFrameModeNoMeta,
    SensorDesiredUnset,
    SensorDesired,
    SensorRequestMode,
    SensorMatch,
    SensorMismatch,
    // The interface's own sensor-mode check.
    SensorPolicyMask,
    SensorNoPolicy,
    SensorFrameType,
    SensorFrameNoMeta,
    SensorNoResult,
    SensorDesiredMask,
    SensorRequestType
};

// What each argument of a message is, by name: a reader asks an event for
// Arg::ZsdTs, never for its third argument. The same name means the same
// thing in every message that prints it.
enum class Arg : uint8_t {
    None, // no argument: fills a message's list past its last
    // The selector's configuration and isSelectorNeeded.
    SupportPending,
    WindowMs,
    DefaultWindowMs,
    ProjectWindowMs,
    UserWindowMs,
    SelectorName,
    IsNeeded,
    // selectZSLFrames.
    FwkFrame,
    QueueName,
    FrameList, // frame numbers, each followed by a blank
    AnchorTs,
    MotionCapType,
    ZsdTs,
    CurTime,
    Frame, // a listed frame
    ShutterTs,
    AnchorOffset,
    CsBegin,
    // checkFrame.
    ZslFrame, // the frame judged, or passed over by the selection
    Ev,
    HistoryEv,
    TargetEv,
    AfInfo, // "afMode=4 afState=2 lensState=0"
    Caller,
    Tag,
    Value,
    Accepted, // the accepted values, "2,3,4"
    Bc,
    Camera,
    SrEnable,
    // The sensor-mode checks.
    ReqtMasterId,
    MasterRoleId,
    AiHLFrameNum,
    SelectorAddress,
    SensorMode,
    DesiredSensorMode,
    LogicalId,
    SensorPolicyMask,
    CameraRoleType,
    ModeSelectMask,
    ModeOffset,
};

// How an argument is printed: a decimal number, a hex number, any text, a
// pointer. A test holds each name's shape against every conversion it names.
enum class ArgShape { Decimal, Hex, Text, Pointer };
ArgShape argShape(Arg arg);

// No message prints more arguments (a test reads the table).
constexpr size_t kMaxMessageArgs = 8;

struct PluginMessage {
    std::string_view format; // as the plug-in passes it to the log
    char level;              // 'D' debug, 'I' info
    MessageKind kind;
    MessageId id;
    std::array<Arg, kMaxMessageArgs> args; // each conversion's name, in order
};

const std::vector<PluginMessage> &pluginMessages();
// A message's place in that table: what a line read from a log keeps.
inline int messageIndex(const PluginMessage &message)
{
    return static_cast<int>(&message - pluginMessages().data());
}

} // namespace zsl::messages
