#pragma once
/*
 * LogImporter: rebuilds captures from the plug-in's own lines in a device
 * log, fed one line at a time in the log's order. Lines are told apart by
 * process and thread: each thread's selectZSLFrames lines make a capture
 * (lists, zsdTs and curTime, logged shutter times, anchor, begin, frames
 * passed over), and the checkFrame lines that follow on the same thread
 * make its judged frames (verdict, reason, the states the lines print).
 * What the log cannot tell is said in each step's notes, with the
 * assumptions made; problems of the log itself become warnings. Memory
 * grows with the captures found, not with the log.
 */

#include "outcome/Outcome.h"
#include "messages/PluginEvent.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zsl::log {

class LogImporter {
public:
    explicit LogImporter(std::string file);

    void add(kohost::LogLine line, uint64_t lineNumber);
    // A problem of the log itself, found while reading it.
    void problem(const std::string &text);
    // Earlier lines of a live log showed the process writing debug lines.
    void assumeDebugLevel(int pid) { mDebugProcesses.insert(pid); }

    // The captures found, in the order of their first line; call once.
    outcome::SessionOutcome finish();
    const std::vector<std::string> &warnings() const { return mWarnings; }
    uint64_t linesUsed() const { return mLinesUsed; }

private:
    // What a plug-in line is, by its text: a configuration, an answer of
    // isSelectorNeeded, a selection's, or which part of a frame check.

    // Where a checkFrame call's lines stand: judging metadata, one camera
    // refused (more cameras may follow), refused, qualified (the sensor-mode
    // check may follow), in the sensor-mode check, ended.
    enum class Phase { Qualify, CameraRefused, Refused, Qualified, Sensor, Ended };

    struct Call {
        // Spelled out: an optional member of the enclosing class needs it
        // before that class is complete.
        Call() : phase(Phase::Qualify), blockOpen(false), afterRefusal(0), firstLine(0) {}
        std::vector<kohost::LogLine> lines;
        Phase phase;
        bool blockOpen;      // inside one metadata's qualification
        size_t afterRefusal; // lines after the last refused camera
        uint64_t firstLine;
    };

    struct Thread {
        int pid = 0, tid = 0; // as the log shows them (outcome::kUnknownId: not shown)
        std::optional<size_t> selecting; // the step whose selection lines are open
        std::optional<size_t> capture;   // the step the next checks belong to
        size_t nextSelected = 0;
        std::map<size_t, int> cameraAt; // camera ids learnt by position in a record
        std::optional<Call> call;
        std::optional<std::pair<kohost::LogLine, uint64_t>> needed; // an answer no selection followed yet
        int64_t lastTimeNs = 0;
        uint64_t lastLine = 0;
    };

    // A problem of one line: its kind (counted, listed ten times at most) and details.
    void warn(uint64_t lineNumber, const std::string &kind, const std::string &detail);
    void selectionLine(Thread &thread, uint32_t fwkFrame, kohost::LogLine line, uint64_t lineNumber, bool starts);
    void checkLine(Thread &thread, messages::MessageKind kind, const messages::PluginEvent &event, kohost::LogLine line,
                   uint64_t lineNumber);
    void closeSelection(Thread &thread);
    void closeCall(Thread &thread);
    void closeNeeded(Thread &thread);
    // A new step of the thread's, labelled with where its lines start.
    outcome::StepOutcome &addStep(const Thread &thread, outcome::StepKind kind, const std::string &where, const kohost::LogLine &first);
    static std::string who(const Thread &thread);
    // What the whole log tells about each step's process: whether it wrote
    // debug lines decides what their absence means.
    void resolveLevels();
    bool debugLevel(size_t step) const;

    outcome::SessionOutcome mSession;
    // By process and thread; without thread ids in the log, by process and
    // -2 - fwkFrame, and kNeededWaiting for an answer of isSelectorNeeded.
    std::map<std::pair<int, int64_t>, Thread> mThreads;
    static constexpr int64_t kNeededWaiting = INT64_MIN;
    std::map<int, int64_t> mLastNamed; // per process: the thread key of the fwkFrame named last
    std::map<size_t, std::pair<uint64_t, uint64_t>> mMergedRanges; // steps read without thread ids: their lines
    std::map<int, bool> mPending; // the pending switch per process, from its configuration line
    std::set<int> mDebugProcesses;   // processes with a debug line in the log
    std::vector<size_t> mUnended;    // selections without their anchor offset line
    std::map<size_t, uint64_t> mEndedInside; // ... of which the log ended inside, at its line
    std::vector<std::pair<size_t, size_t>> mSensorOnly; // (step, check): the sensor-mode check's first line only
    std::vector<std::string> mWarnings;
    std::map<std::string, size_t> mWarningCounts;
    uint64_t mLinesUsed = 0;
};

} // namespace zsl::log
