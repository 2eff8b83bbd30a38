#include "Replay.h"

#include <HostFrameQueue.h>
#include <PluginLoader.h>
#include <SelectorProperties.h>

#include <StaticMetadataWraper.h>
#include <kodebug/Log.h>
#include <kodebug/SystemLogSink.h>

#include <utils/Timers.h>

#include <algorithm>
#include <regex>

namespace replay {

namespace {

// Collects the system log for the length of a replay.
class LogTap {
public:
    LogTap()
    {
        mPrevious = kodebug::setSystemLogReceiver([this](const kodebug::SystemLogRecord &record) {
            mLines.push_back({record.level, record.fileName, record.function, record.line, record.text});
        });
    }
    ~LogTap() { kodebug::setSystemLogReceiver(std::move(mPrevious)); }

    size_t mark() const { return mLines.size(); }
    std::vector<LogLine> since(size_t mark) const { return {mLines.begin() + static_cast<long>(mark), mLines.end()}; }

private:
    std::vector<LogLine> mLines;
    kodebug::SystemLogReceiver mPrevious;
};

struct Queues {
    kohal::ZSLQueueList list;
    const QueueSpec *meta = nullptr;
};

Queues buildQueues(const TraceSpec &trace, int64_t captureNs, StepResult &result)
{
    Queues queues;
    for (const QueueSpec &input : trace.queues) {
        auto queue = std::make_shared<kohost::HostFrameQueue>(input.id, input.type, input.name);
        queue->setList(kohal::CONSUMER_LIST, input.consumer);
        queue->setList(kohal::PRODUCER_LIST, input.producer);
        const bool firstMeta = input.type == kohal::ZSL_QUEUE_TYPE_META && !queues.meta;
        for (const FrameSpec &frame : input.frames) {
            if (input.type == kohal::ZSL_QUEUE_TYPE_META) {
                kohal::MetaInfo info;
                info.shutterTime = frame.shutter->at(captureNs);
                info.metadata = buildMetadata(frame.metadata, captureNs);
                for (const auto &[camera, meta] : frame.physical)
                    info.physicalMetadata.emplace_back(camera, buildMetadata(meta, captureNs));
                if (firstMeta)
                    result.shutterNs[frame.frameNum] = info.shutterTime;
                queue->putMetaFrame(frame.frameNum, std::move(info));
            } else if (input.type == kohal::ZSL_QUEUE_TYPE_SENSOR_MODE) {
                queue->putSensorModeFrame(frame.frameNum, *frame.sensorMode);
            } else {
                queue->putFrame(frame.frameNum);
            }
        }
        if (firstMeta) {
            queues.meta = &input;
            result.consumer = input.consumer;
            result.producer = input.producer;
        }
        queues.list.push_back(queue);
    }
    return queues;
}

// The selection's own account of itself, from its lines.
void readSelectionLines(StepResult &result)
{
    static const std::regex kZsdTs(R"(.* zsdTs:(-?\d+) curTime:(-?\d+))");
    static const std::regex kShutter(R"(.* (?:Consumer|Producer) list: (\d+) shutter time:(-?\d+) ?)");
    static const std::regex kAnchor(R"(.* ZSLAnchor offset:(-?\d+) csbegin:(-?\d+) .*)");
    std::smatch match;
    std::optional<std::pair<uint32_t, int64_t>> lastExamined;
    for (const LogLine &line : result.log) {
        if (std::regex_match(line.text, match, kZsdTs)) {
            result.zsdTs = std::stoll(match[1]);
            result.curTime = std::stoll(match[2]);
        } else if (std::regex_match(line.text, match, kShutter)) {
            lastExamined = {static_cast<uint32_t>(std::stoul(match[1])), std::stoll(match[2])};
        } else if (std::regex_match(line.text, match, kAnchor)) {
            result.anchorOffset = std::stoi(match[1]);
            result.csbegin = std::stoi(match[2]);
        }
    }
    if (lastExamined && result.zsdTs && lastExamined->second > *result.zsdTs)
        result.anchorFrame = lastExamined->first;
}

bool contains(const std::string &text, const char *part)
{
    return text.find(part) != std::string::npos;
}

// Why the plug-in refused a frame, in its own words.
std::string refusalReason(const std::vector<LogLine> &log)
{
    static const std::regex kInvalid(R"(.*No zslFrame: \d+ ?(?:,camid:(-?\d+) )?invalid)");
    static const std::regex kAeValue(R"(\[isAEStable\] tag\(0x1001f\) val=(\d+) target=([0-9,]+) bc=0)");
    static const std::regex kFrameMode(R"(.*perframeSensorMode ?[:=] ?(-?\d+))");
    static const std::regex kRequestMode(R"(.*reqDesiredSensorMode:(-?\d+))");
    std::vector<std::string> reasons;
    std::string rule;
    std::string frameMode = "?", requestMode = "?";
    std::smatch match;
    for (const LogLine &line : log) {
        const std::string &text = line.text;
        if (contains(text, "AF fail: ") || contains(text, "isRequiredEV fail") || contains(text, "not found") ||
            text == "Metadata is nullptr") {
            rule = text;
            while (!rule.empty() && rule.back() == ' ')
                rule.pop_back();
        } else if (std::regex_match(text, match, kAeValue)) {
            rule = "aeState " + match[1].str() + " not settled (accepted " + match[2].str() + ")";
        } else if (std::regex_match(text, match, kInvalid)) {
            reasons.push_back((match[1].matched ? "camera " + match[1].str() + ": " : std::string()) + rule);
        } else if (std::regex_match(text, match, kFrameMode)) {
            frameMode = match[1];
        } else if (std::regex_match(text, match, kRequestMode)) {
            requestMode = match[1];
        } else if (contains(text, "checkDesiredSensorMode fail")) {
            reasons.push_back("sensor mode " + frameMode + ", request wants " + requestMode);
        }
    }
    if (reasons.empty()) {
        bool sensorCheck = std::any_of(log.begin(), log.end(),
                                       [](const LogLine &line) { return contains(line.text, "checkFrameNum = "); });
        return sensorCheck ? "no sensor-mode queue" : "refused (no reason in the system log)";
    }
    std::string text;
    for (const std::string &reason : reasons)
        text += (text.empty() ? "" : "; ") + reason;
    return text;
}

kohal::ZSLFrameSelectInfo selectInfo(const StepSpec &step, const Queues &queues, int64_t captureNs)
{
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = step.fwkFrame;
    info.usedFrameNums = step.used;
    info.zslQueues = queues.list;
    for (const MetaSpec &request : step.requests)
        info.requestMetas.push_back(buildMetadata(request, captureNs));
    return info;
}

CheckResult check(kohal::ZSLSelectorBase &selector, const LogTap &tap, kohal::ZSLFrameCheckInfo info)
{
    CheckResult result;
    result.frame = info.checkFrameNum;
    size_t mark = tap.mark();
    result.verdict = selector.checkFrame(info);
    result.log = tap.since(mark);
    if (!result.verdict.first)
        result.reason = refusalReason(result.log);
    return result;
}

void runStep(kohal::ZSLSelectorBase &selector, const TraceSpec &trace, const StepSpec &step, const LogTap &tap,
             StepResult &result)
{
    size_t mark = tap.mark();
    result.captureNs = systemTime(SYSTEM_TIME_BOOTTIME);
    Queues queues = buildQueues(trace, result.captureNs, result);

    if (step.kind == StepSpec::Kind::Check) {
        kohal::ZSLFrameCheckInfo info;
        info.checkFrameNum = step.frame;
        info.fwkFrameNum = step.fwkFrame;
        info.requestMeta = buildMetadata(step.request, result.captureNs);
        info.logicalId = step.logicalId;
        info.reqtMasterId = step.reqtMasterId;
        info.masterRoleId = step.masterRoleId;
        info.AiHLFrameNum = step.aiHLFrameNum;
        info.zslQueues = queues.list;
        result.checks.push_back(check(selector, tap, info));
        result.log = tap.since(mark);
        return;
    }

    kohal::ZSLFrameSelectInfo info = selectInfo(step, queues, result.captureNs);
    if (step.kind != StepSpec::Kind::Select) {
        result.needed = selector.isSelectorNeeded(info);
        if (step.kind == StepSpec::Kind::Needed || !*result.needed) {
            result.log = tap.since(mark);
            return;
        }
    }

    result.selectRan = true;
    result.selection = selector.selectZSLFrames(info);
    result.log = tap.since(mark);
    readSelectionLines(result);
    if (!result.selection.empty()) {
        auto entry = queues.meta ? result.selection.find(queues.meta->id) : result.selection.end();
        result.selectedFrames = (entry != result.selection.end() ? entry : result.selection.begin())->second;
    }
    if (step.kind != StepSpec::Kind::Capture)
        return;

    // The host checks the selected frames in order and takes the first
    // accepted ones, one per requested frame.
    const size_t wanted = std::max<size_t>(1, info.requestMetas.size());
    for (uint32_t frame : result.selectedFrames) {
        kohal::ZSLFrameCheckInfo checkInfo;
        checkInfo.checkFrameNum = frame;
        checkInfo.fwkFrameNum = step.fwkFrame;
        checkInfo.requestMeta = info.requestMetas.empty() ? nullptr : info.requestMetas.front();
        checkInfo.logicalId = step.logicalId;
        checkInfo.zslQueues = queues.list;
        CheckResult checked = check(selector, tap, checkInfo);
        if (checked.verdict.first && result.taken.size() < wanted)
            result.taken.push_back(frame);
        result.checks.push_back(std::move(checked));
    }
    result.log = tap.since(mark);
}

} // namespace

TraceResult Replayer::run(const TraceSpec &trace) const
{
    kohost::setSelectorProperties(trace.properties);
    for (const auto &[camera, meta] : trace.staticMetadata)
        StaticMetadataWraper::getInstance()->setStaticMetadata(camera, buildMetadata(meta, 0));
    kodebug::gKoCamLogLevel = trace.logLevel;
    kodebug::gKoCamLogGroup = trace.logGroup;
    kodebug::gKoCamDebugMask = trace.debugMask;

    TraceResult result;
    result.input = &trace;
    LogTap tap;
    kohost::PluginLoader plugin;
    if (!plugin.load(mPluginPath))
        throw PluginError("cannot load the plug-in " + mPluginPath + ": " + plugin.error());
    {
        std::shared_ptr<kohal::ZSLSelectorBase> selector = plugin.createSelector();
        result.setupLog = tap.since(0);
        for (const StepSpec &step : trace.steps) {
            result.steps.emplace_back();
            result.steps.back().input = &step;
            runStep(*selector, trace, step, tap, result.steps.back());
        }
    }
    for (const auto &entry : trace.staticMetadata)
        StaticMetadataWraper::getInstance()->setStaticMetadata(entry.first, nullptr);
    return result;
}

} // namespace replay
