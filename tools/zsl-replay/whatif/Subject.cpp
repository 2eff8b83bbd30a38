// A trace or a log's capture, replayed before and after a change.

#include "whatif/Subject.h"

#include "outcome/Error.h"
#include "outcome/PluginLines.h"
#include "output/Outputs.h"
#include "output/TraceWriter.h"
#include "replay/TraceReader.h"
#include "whatif/LogSide.h"

namespace zsl::whatif {

using namespace zsl::outcome;

namespace {

SelectorConfig statedConfig(const SessionOutcome &replayed, const std::string &file)
{
    const std::optional<SelectorConfig> config = configIn(replayed.setupLog);
    if (!config)
        throw Error(file + ": the selector's configuration line is not in its replay (the trace's \"log\" gates "
                           "close it), so the change cannot be made against it");
    return *config;
}

int64_t windowOf(const SelectorConfig &config)
{
    return static_cast<int64_t>(static_cast<uint64_t>(config.defaultMs) + static_cast<uint64_t>(config.projectMs) +
                                static_cast<uint64_t>(config.userMs));
}

// Where the rebuilt capture's plain replay differs from the log, "" if nowhere.
std::string replaysAsLogged(const StepOutcome &logged, const StepOutcome &replayed)
{
    if (logged.zsdTs != replayed.zsdTs)
        return "zsdTs";
    if (logged.anchorFrame != replayed.anchorFrame)
        return "the anchor";
    if (logged.anchorOffset != replayed.anchorOffset || logged.csbegin != replayed.csbegin)
        return "the anchor offset or begin";
    return "";
}

} // namespace

Subject Subject::ofTrace(const replay::Replayer &replayer, replay::TraceSpec trace)
{
    SessionOutcome before = replayer.run(trace);
    Subject subject(replayer, std::move(trace), std::move(before));
    subject.mConfig = statedConfig(subject.mBefore, subject.mTrace.file);
    return subject;
}

Subject Subject::ofLog(const replay::Replayer &replayer, const SessionOutcome &session, const StepOutcome &step)
{
    // Printed as every output prints what a log gave: a byte that is not
    // UTF-8 (a damaged line kept in the trace) becomes U+FFFD, not an error.
    replay::TraceSpec trace = replay::parseTrace(output::jsonText(output::traceFromLog(session, step)), session.file);
    SessionOutcome before = replayer.run(trace);
    Subject subject(replayer, std::move(trace), std::move(before));
    subject.mConfig = statedConfig(subject.mBefore, session.file);
    subject.mFromLog = true;
    subject.mDevice = session.fingerprint;
    subject.mLogged = step;
    subject.mLoggedConfig = session.config;
    subject.mGrounds.emplace(session, step);
    if (subject.mGrounds->unusable.empty() && !subject.mGrounds->noMetaQueue)
        if (const std::string where = replaysAsLogged(step, subject.mBefore.steps.front()); !where.empty())
            subject.mGrounds->unusable = "the trace rebuilt from the log replays with another " + where;
    return subject;
}

std::vector<Comparison> Subject::compare(const Changes &changes) const
{
    replay::TraceSpec changed = mTrace;
    changed.properties = changes.applied(mTrace.properties, mConfig);
    const SessionOutcome after = mReplayer->run(changed);
    std::vector<Comparison> comparisons;
    if (!mFromLog) {
        for (size_t s = 0; s < mBefore.steps.size() && s < after.steps.size(); ++s)
            comparisons.push_back({mTrace.file, "", false, exactSide(mBefore.steps[s]), exactSide(after.steps[s])});
        return comparisons;
    }
    const SelectorConfig afterConfig = statedConfig(after, mTrace.file);
    // Before: the log's own configuration, whose window its zsdTs shows.
    const SideSetting was{windowOf(mConfig),
                          mLoggedConfig ? std::optional<bool>(mLoggedConfig->pending) : std::nullopt};
    const SideSetting now{changes.windowMs(mLoggedConfig), changes.pending(mLoggedConfig)};
    comparisons.push_back({mTrace.file, mDevice, true,
                           logSide(mLogged, *mGrounds, mBefore.steps.front(), was, mConfig.pending),
                           logSide(mLogged, *mGrounds, after.steps.front(), now, afterConfig.pending)});
    return comparisons;
}

} // namespace zsl::whatif
