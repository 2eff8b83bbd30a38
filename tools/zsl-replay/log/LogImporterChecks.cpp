// The check stage of LogImporter: the lines after a selection cut into
// checkFrame calls by the lines that begin and end one (the first EV line
// of a qualification, the refusal lines, the super-resolution line, the
// sensor-mode check's last line), and each call read into a judged frame of
// its capture, or of a check step of its own.

#include "log/LogImporter.h"

#include "log/CheckGrammar.h"
#include "outcome/PluginLines.h"
#include "messages/PluginEvent.h"

#include <algorithm>
#include <optional>

namespace zsl::log {

using namespace zsl::outcome;
using namespace zsl::messages;

namespace {

constexpr uint32_t kAeStateTag = 0x1001f; // android.control.aeState

} // namespace

void LogImporter::checkLine(Thread &thread, MessageKind kind, const PluginEvent &event, kohost::LogLine &&line,
                            uint64_t lineNumber)
{
    const Phase phase = thread.call ? thread.call->phase : Phase::Ended;
    auto startCall = [&](size_t keepFrom) {
        // Lines after a refused camera may be the next frame's first cameras.
        std::vector<kohost::LogLine> carried;
        if (thread.call && keepFrom < thread.call->lines.size()) {
            carried.assign(std::make_move_iterator(thread.call->lines.begin() + static_cast<std::ptrdiff_t>(keepFrom)),
                           std::make_move_iterator(thread.call->lines.end()));
            thread.call->lines.resize(keepFrom);
        }
        closeCall(thread);
        thread.call.emplace();
        thread.call->lines = std::move(carried);
        // A check's call is some eight lines: room made once, not grown.
        thread.call->lines.reserve(8);
        thread.call->firstLine = lineNumber;
        thread.call->mayStartInside = thread.priorLine == 0 || thread.afterGap;
    };
    const size_t all = thread.call ? thread.call->lines.size() : 0;
    const size_t split = phase == Phase::CameraRefused ? thread.call->afterRefusal : all;
    switch (kind) {
    case MessageKind::QualifyStart:
        if (!thread.call || phase == Phase::Refused || phase == Phase::Qualified || phase == Phase::Sensor ||
            phase == Phase::Ended)
            startCall(all);
        thread.call->blockOpen = !event.is(MessageId::MetadataNull);
        break;
    case MessageKind::RefusedCamera:
        if (!thread.call)
            startCall(all);
        else if (phase == Phase::CameraRefused &&
                 PluginEvent::decode(thread.call->lines[thread.call->afterRefusal - 1])->zslFrame() != event.zslFrame())
            startCall(split);
        break;
    case MessageKind::RefusedOwn:
    case MessageKind::SuperResolution:
        if (!thread.call ||
            (kind == MessageKind::SuperResolution && phase != Phase::Qualify && phase != Phase::CameraRefused))
            startCall(all);
        else if (phase == Phase::CameraRefused)
            startCall(split);
        break;
    case MessageKind::SensorStart:
        if (phase != Phase::Qualified)
            startCall(all);
        break;
    default:
        if (!thread.call)
            startCall(all);
    }
    Call &call = *thread.call;
    if (kind == MessageKind::QualifyEnd)
        call.blockOpen = false;
    call.lines.push_back(std::move(line));
    switch (kind) {
    case MessageKind::RefusedCamera:
        call.phase = Phase::CameraRefused;
        call.afterRefusal = call.lines.size();
        break;
    case MessageKind::RefusedOwn:
        call.phase = Phase::Refused;
        break;
    case MessageKind::SuperResolution:
        call.phase = Phase::Qualified;
        break;
    case MessageKind::SensorStart:
    case MessageKind::Sensor:
        call.phase = Phase::Sensor;
        break;
    case MessageKind::SensorEnd:
        call.phase = Phase::Ended;
        break;
    default:
        break;
    }
}

// Long: a call's lines read into one judged frame keep their order of
// questions (which camera, which frame, which capture, what verdict), each
// answered from what the earlier ones found; parted, each step would take
// the call's whole state with it.
void LogImporter::closeCall(Thread &thread, bool atEnd)
{
    if (!thread.call)
        return;
    Call call = std::move(*thread.call);
    thread.call.reset();
    const CallShape shape = callShape(call.lines, mDebugProcesses.count(thread.pid) > 0, atEnd);

    CheckOutcome check;
    std::optional<uint32_t> frame, fwkFrame;
    bool refused = false, sensorFailed = false, sensorOwnMode = false, sensorOpened = false, sensorEnded = false;
    std::vector<FrameStates> blocks(1);
    std::map<StatesSource, FrameStates> named;
    std::optional<int32_t> sensorMode;
    RequestSeen request; // what this call's lines show of the request
    for (const kohost::LogLine &line : call.lines) {
        const std::optional<PluginEvent> event = PluginEvent::decode(line);
        if (!event)
            continue;
        frame = frame ? frame : event->zslFrame();
        fwkFrame = fwkFrame ? fwkFrame : event->fwkFrame();
        readRequestLine(*event, request);
        FrameStates &states = blocks.back();
        switch (event->id()) {
        case MessageId::FrameEv:
            states.ev = event->number<int>(Arg::Ev);
            break;
        case MessageId::AfOk:
        case MessageId::AfFail:
            states.afMode = event->afMode();
            states.afState = event->afState();
            states.lensState = event->lensState();
            break;
        case MessageId::TagValue:
        case MessageId::TagMissing:
            if (event->number<uint32_t>(Arg::Tag) == kAeStateTag)
                states.aeState = event->is(MessageId::TagValue) ? event->number<int>(Arg::Value) : std::nullopt;
            break;
        case MessageId::MotionBypass:
            states.motionCapType = event->number<uint32_t>(Arg::MotionCapType);
            break;
        case MessageId::HfNoTarget:
        case MessageId::HfOk:
        case MessageId::AfRefused:
        case MessageId::AeRefused:
        case MessageId::MetadataNull: // a metadata's qualification ends
            blocks.emplace_back();
            break;
        case MessageId::RefusedCamera:
        case MessageId::RefusedOwn:
            refused = true;
            if (auto camera = event->camera(); camera && blocks.size() > 1)
                thread.cameraAt[blocks.size() - 2] = *camera;
            break;
        case MessageId::SensorFrameMode:
            sensorMode = event->number<int32_t>(Arg::SensorMode);
            break;
        case MessageId::SensorRequestMode:
            sensorOwnMode = true;
            break;
        case MessageId::SensorStart:
            sensorOpened = true;
            break;
        case MessageId::SensorMismatch:
            sensorFailed = true;
            [[fallthrough]];
        case MessageId::SensorMatch:
        case MessageId::SensorNoPolicy:
            sensorEnded = true;
            break;
        default:
            break;
        }
    }
    blocks.pop_back(); // the one opened after the last block's end
    // Several metadata judged: the physical cameras, in the record's order.
    // A camera's id is logged only when it fails; one learnt at a position
    // names that position's camera in every frame of the capture.
    const bool cameras = blocks.size() > 1 || thread.cameraAt.count(0);
    for (size_t i = 0; i < blocks.size(); ++i) {
        auto known = thread.cameraAt.find(i);
        named[!cameras                         ? StatesSource{}
              : known != thread.cameraAt.end() ? StatesSource::camera(known->second)
                                               : StatesSource::unknownCamera(static_cast<int>(i + 1))] = blocks[i];
    }

    // The step the check belongs to: this thread's last capture of the same
    // fwkFrame, else a step of its own.
    auto belongs = [&](const StepOutcome &capture) {
        if (fwkFrame && capture.fwkFrame != *fwkFrame)
            return false;
        if (!capture.selectionUnknown.empty() || capture.completeness != Completeness::Whole)
            return true; // its frames are not all known: the check is one of them
        return frame || thread.nextSelected < capture.selectedFrames.size(); // a frame of the selection is left
    };
    const bool ownStep = !thread.capture || !belongs(openStep(*thread.capture));
    const size_t index = ownStep ? mFirstOpen + mOpen.size() : *thread.capture;
    if (ownStep) {
        StepOutcome &own = addStep(thread, StepKind::Check, call.firstLine, call.lines.front());
        own.fwkFrame = fwkFrame.value_or(0);
        if (thread.tid == kUnknownId)
            mergedLines(index, call.firstLine).last = thread.lastLine;
    }
    Open &open = mOpen[index - mFirstOpen];
    StepOutcome &step = open.step;
    addRequestSeen(step.request, request);
    if (step.kind == StepKind::Select)
        step.kind = StepKind::Capture;
    // A check alone is a call of the host's too; as the thread's first
    // line, or after a gap, it may be a capture whose selection is lost.
    if (ownStep && call.mayStartInside)
        damage(index, thread.afterGap ? Completeness::LinesMissing : Completeness::StartsInside,
               "no selection of it is in the log");
    // A check whose lines are not one whole call: its verdict is not known.
    std::string brokenWhy;
    if (call.gapInside)
        brokenWhy = "logd dropped lines while it ran";
    else if (!shape.begun)
        brokenWhy = "its first lines are not in the log";
    else if (!shape.sound)
        brokenWhy = "its lines are not those of one check";
    else if (!shape.ended)
        brokenWhy = atEnd ? "the log ends inside it" : "its last lines are not in the log";
    // Without thread ids, a check out of shape may hold another capture's
    // lines rather than lack its own: its verdict is not known, and the
    // capture is said to be mixed, not to miss lines.
    const bool mixable = thread.tid == kUnknownId && !call.gapInside && !call.mayStartInside && !atEnd;
    if (!brokenWhy.empty() && mixable)
        open.numberingLost = true;
    else if (!brokenWhy.empty())
        damage(index,
               !shape.begun && !call.gapInside                          ? startDamage(thread)
               : atEnd && shape.begun && shape.sound && !call.gapInside ? Completeness::EndsInside
                                                                        : Completeness::LinesMissing,
               "a frame check: " + brokenWhy);
    // Every camera's metadata is judged for every frame: a check that
    // judged another number of them holds lines of two checks, or lost some.
    const bool cameraRefused = std::any_of(call.lines.begin(), call.lines.end(), [](const kohost::LogLine &line) {
        const std::optional<PluginEvent> event = PluginEvent::decode(line);
        return event && event->is(MessageId::RefusedCamera);
    });
    // (A camera's refusal leaves where one frame's cameras end and the next's
    // begin to the split above: those are not compared.)
    if (brokenWhy.empty() && !blocks.empty() && !cameraRefused && thread.cameraAt.empty()) {
        if (open.blocks && *open.blocks != blocks.size()) {
            brokenWhy = "it judged another number of metadata than the capture's other checks";
            damage(index, Completeness::LinesMissing, "a frame check: " + brokenWhy);
        }
        open.blocks = open.blocks.value_or(blocks.size());
    }

    std::vector<uint32_t> &selected = step.selectedFrames;
    if (frame && thread.nextSelected == 0 && step.checks.empty() && debugLevel(step) && step.selectionUnknown.empty() &&
        step.completeness == Completeness::Whole && !open.numberingLost && open.unnamedChecks == 0) {
        // The host checks the selection from its front: frames before the
        // first one checked were not selected (the last used frame number,
        // or presence-check lines lost, left them out).
        const auto first = std::find(selected.begin(), selected.end(), *frame);
        if (first != selected.end() && first != selected.begin()) {
            step.notes.push_back("the first check is of frame " + std::to_string(*frame) +
                                 ": the frames before it in "
                                 "the list were not selected");
            selected.erase(selected.begin(), first);
        }
    }
    if (frame) {
        auto at =
            std::find(selected.begin() + static_cast<std::ptrdiff_t>(std::min(thread.nextSelected, selected.size())),
                      selected.end(), *frame);
        // The host checks in selection order: past the first check, a frame
        // passed over means a check's lines are not in the log.
        if (at != selected.end() && thread.nextSelected > 0 &&
            at != selected.begin() + static_cast<std::ptrdiff_t>(thread.nextSelected) && debugLevel(step))
            damage(index, Completeness::LinesMissing, "its checks pass over a selected frame");
        if (at != selected.end())
            thread.nextSelected = static_cast<size_t>(at - selected.begin()) + 1;
    } else if (!open.numberingLost && step.selectionUnknown.empty() && step.completeness == Completeness::Whole &&
               step.kind == StepKind::Capture && thread.nextSelected < selected.size()) {
        frame = selected[thread.nextSelected++];
        check.frameInferred = true;
        if (!open.numberedInOrder)
            step.notes.push_back("accepted frames without super resolution have no line naming them: they are "
                                 "numbered in selection order, assuming the host checks the selected frames in "
                                 "that order");
        open.numberedInOrder = true;
    } else { // no frame named, and selection order cannot number it (lost, or none): left out, and counted
        ++open.unnamedChecks;
        open.numberingLost = true;
        step.log.insert(step.log.end(), std::make_move_iterator(call.lines.begin()),
                        std::make_move_iterator(call.lines.end()));
        return;
    }
    check.frame = frame.value_or(0);
    check.verdict = {!refused && !sensorFailed, refused || !(sensorFailed && sensorOwnMode)};
    // A frame the capture checked already: lines of two checks are mixed,
    // or lost; neither answer is known.
    for (CheckOutcome &earlier : step.checks)
        if (earlier.frame == check.frame) {
            brokenWhy = "frame " + std::to_string(check.frame) + " is checked twice";
            earlier.unknown = "the capture's checks of this frame are not whole: " + brokenWhy;
            if (thread.tid != kUnknownId) // else another capture's lines may be mixed in
                damage(index, Completeness::LinesMissing, "its checks: " + brokenWhy);
        }
    if (!brokenWhy.empty()) {
        check.unknown = "the check's lines are not whole: " + brokenWhy;
        open.numberingLost = true;
    }
    if (!check.verdict.first) {
        Refusal why = refusal(call.lines);
        check.reason = std::move(why.reason);
        check.explanation = std::move(why.explanation);
        check.refusalClasses = why.classes;
    }
    for (auto &[source, states] : named)
        step.states[source][check.frame] = states;
    if (sensorMode)
        step.sensorModes[check.frame] = *sensorMode;
    // A sensor-mode check that wrote only its first line found no sensor-mode
    // queue, or wrote the rest at debug level: the whole log tells which,
    // by its lines.
    if (sensorOpened && !sensorEnded && !refused) {
        open.sensorOnly.push_back(step.checks.size());
        check.log = call.lines;
    }
    step.log.insert(step.log.end(), std::make_move_iterator(call.lines.begin()),
                    std::make_move_iterator(call.lines.end()));
    step.checks.push_back(std::move(check));
}

} // namespace zsl::log
