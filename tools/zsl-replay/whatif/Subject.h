#pragma once
/*
 * Subject: what a what-if asks about: a trace, whose every step is compared,
 * or one capture read from a device log, compared through the trace rebuilt
 * from it. Its "before" is replayed once; its "after" once for each change
 * asked, so that a sweep replays each value and nothing else again. On a
 * trace both sides are exact replays; on a log each side states only what
 * the log grounds (LogSide).
 */

#include "outcome/Outcome.h"
#include "replay/Replayer.h"
#include "replay/Trace.h"
#include "whatif/Comparison.h"
#include "whatif/LogGrounds.h"
#include "whatif/PropertyChange.h"

#include <optional>
#include <string>
#include <vector>

namespace zsl::whatif {

class Subject {
public:
    // Each throws outcome::Error when what it needs cannot be replayed.
    static Subject ofTrace(const replay::Replayer &replayer, replay::TraceSpec trace);
    // A capture read from a log, with its session as far as read.
    static Subject ofLog(const replay::Replayer &replayer, const outcome::SessionOutcome &session,
                         const outcome::StepOutcome &step);

    // One comparison per step: each of a trace's, or the log's capture.
    std::vector<Comparison> compare(const Changes &changes) const;

private:
    Subject(const replay::Replayer &replayer, replay::TraceSpec trace, outcome::SessionOutcome before)
        : mReplayer(&replayer), mTrace(std::move(trace)), mBefore(std::move(before))
    {
    }

    const replay::Replayer *mReplayer;
    replay::TraceSpec mTrace;        // as given, or rebuilt from the log
    outcome::SessionOutcome mBefore; // its plain replay
    outcome::SelectorConfig mConfig; // as the plug-in stated it in that replay
    // Read from a log:
    bool mFromLog = false;
    std::string mDevice;
    outcome::StepOutcome mLogged;
    std::optional<LogGrounds> mGrounds;
    std::optional<outcome::SelectorConfig> mLoggedConfig; // the log's configuration line
};

} // namespace zsl::whatif
