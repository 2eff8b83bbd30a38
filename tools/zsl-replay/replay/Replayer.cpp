// One trace through the plug-in: scene, calls and recorded lines per step.

#include "replay/Replayer.h"

#include "outcome/Error.h"
#include "outcome/PluginLines.h"
#include "replay/Scene.h"

#include <BootClock.h>
#include <LogRecorder.h>
#include <PluginSession.h>
#include <StaticMetadataWraper.h>

#include <algorithm>

namespace zsl::replay {

using namespace zsl::outcome;

namespace {

using kohost::LogOutput;

// The lines recorded since mark. The one address a line prints, the
// selector's own ("this = 0x..."), differs from run to run; it is shown as
// "this = <selector>" so that a replay's output is the same on every run.
std::vector<kohost::LogLine> recorded(const kohost::LogRecorder &log, size_t mark, LogOutput output)
{
    std::vector<kohost::LogLine> lines = log.since(mark, output);
    for (kohost::LogLine &line : lines) {
        const auto at = line.text.rfind(" this = 0x");
        if (at != std::string::npos && line.text.find(' ', at + 8) == std::string::npos)
            line.text.replace(at, std::string::npos, " this = <selector>");
    }
    return lines;
}

CheckOutcome check(kohal::ZSLSelectorBase &selector, const kohost::LogRecorder &log,
                   const kohal::ZSLFrameCheckInfo &info)
{
    CheckOutcome result;
    result.frame = info.checkFrameNum;
    const size_t mark = log.mark();
    result.verdict = selector.checkFrame(info);
    result.log = recorded(log, mark, LogOutput::System);
    if (!result.verdict.first) {
        Refusal why = refusal(result.log);
        result.reason = std::move(why.reason);
        result.explanation = std::move(why.explanation);
        result.refusalClasses = why.classes;
    }
    return result;
}

void runStep(kohal::ZSLSelectorBase &selector, const TraceSpec &trace, const StepSpec &step,
             const kohost::LogRecorder &log, int64_t captureNs, StepOutcome &result)
{
    const size_t mark = log.mark();
    result.kind = step.kind;
    result.label = step.label;
    result.fwkFrame = step.fwkFrame;
    result.captureNs = captureNs;
    const Scene scene = buildScene(trace, result.captureNs);
    result.queues = scene.views;
    result.states = scene.states;
    result.sensorModes = scene.sensorModes;

    if (step.kind == StepKind::Check) {
        result.checks.push_back(check(selector, log, checkInfo(step, scene)));
        result.log = recorded(log, mark, LogOutput::System);
        return;
    }

    const kohal::ZSLFrameSelectInfo info = selectInfo(step, scene);
    if (step.kind != StepKind::Select) {
        result.needed = selector.isSelectorNeeded(info);
        if (step.kind == StepKind::Needed || !*result.needed) {
            result.log = recorded(log, mark, LogOutput::System);
            return;
        }
    }

    result.selectRan = true;
    result.selection = selector.selectZSLFrames(info);
    result.log = recorded(log, mark, LogOutput::System);
    readSelectionLines(result.log, result);
    if (scene.metaQueue) {
        result.consumer = scene.metaQueue->consumer;
        result.producer = scene.metaQueue->producer;
        result.shutterNs = scene.shutterNs;
    }
    if (!result.selection.empty()) {
        auto entry = scene.metaQueue ? result.selection.find(scene.metaQueue->id) : result.selection.end();
        result.selectedFrames = (entry != result.selection.end() ? entry : result.selection.begin())->second;
    }
    if (step.kind != StepKind::Capture)
        return;

    // The host checks the selected frames in order and takes the first
    // accepted ones, one per requested frame.
    const size_t wanted = std::max<size_t>(1, info.requestMetas.size());
    result.requested = wanted;
    for (uint32_t frame : result.selectedFrames) {
        kohal::ZSLFrameCheckInfo checkInfo;
        checkInfo.checkFrameNum = frame;
        checkInfo.fwkFrameNum = step.fwkFrame;
        checkInfo.requestMeta = info.requestMetas.empty() ? nullptr : info.requestMetas.front();
        checkInfo.logicalId = step.logicalId;
        checkInfo.zslQueues = scene.queues;
        CheckOutcome checked = check(selector, log, checkInfo);
        if (checked.verdict.first && result.taken.size() < wanted)
            result.taken.push_back(frame);
        result.checks.push_back(std::move(checked));
    }
    result.log = recorded(log, mark, LogOutput::System);
}

} // namespace

Replayer::Replayer(std::string pluginPath, bool realClock, Loading loading)
    : mPluginPath(std::move(pluginPath)), mRealClock(realClock), mLoading(loading)
{
}

Replayer::~Replayer() = default;

SessionOutcome Replayer::run(const TraceSpec &trace) const
{
    for (const auto &[camera, meta] : trace.staticMetadata)
        StaticMetadataWraper::getInstance()->setStaticMetadata(camera, buildMetadata(meta, 0));
    kohost::LogGates gates(trace.logLevel, trace.logGroup, trace.debugMask);

    SessionOutcome result;
    result.name = trace.name;
    result.file = trace.file;
    result.description = trace.description;
    kohost::LogRecorder log;
    {
        // Pinned from the load on, so that the selector's own lines are timed
        // at the capture moment too.
        kohost::pinBootTime(mRealClock ? std::nullopt : std::optional<int64_t>(kDefaultCaptureNs));
        std::unique_ptr<kohost::PluginSession> fresh;
        try {
            if (mKept)
                mKept->renew(trace.properties);
            else
                fresh = std::make_unique<kohost::PluginSession>(trace.properties, mPluginPath);
        } catch (const kohost::PluginLoadError &error) {
            throw outcome::Error(error.what(), outcome::Error::Reach::Run);
        }
        kohost::PluginSession &plugin = mKept ? *mKept : *fresh;
        result.setupLog = recorded(log, 0, LogOutput::System);
        for (const StepSpec &step : trace.steps) {
            const int64_t captureNs =
                mRealClock ? kohost::realBootTimeNs() : step.captureNs.value_or(kDefaultCaptureNs);
            if (!mRealClock)
                kohost::pinBootTime(captureNs);
            result.steps.emplace_back();
            runStep(plugin.selector(), trace, step, log, captureNs, result.steps.back());
        }
        if (fresh && mLoading == Loading::KeptLoaded)
            mKept = std::move(fresh);
    }
    kohost::pinBootTime(std::nullopt);
    result.androidLog = recorded(log, 0, LogOutput::Android);
    for (const auto &entry : trace.staticMetadata)
        StaticMetadataWraper::getInstance()->setStaticMetadata(entry.first, nullptr);
    return result;
}

} // namespace zsl::replay
