// The plug-in's messages, word for word as it writes them (blanks and
// misspellings included: they are what a device's log holds).

#include "messages/PluginMessages.h"

#include <array>
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

} // namespace zsl::messages
