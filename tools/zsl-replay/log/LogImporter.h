#pragma once
/*
 * LogImporter: rebuilds captures from the plug-in's own lines in a device
 * log, fed one line at a time in the log's order. Lines are told apart by
 * process and thread: each thread's selectZSLFrames lines make a capture
 * (lists, zsdTs and curTime, logged shutter times, anchor, begin, frames
 * passed over), and the checkFrame lines that follow on the same thread
 * make its judged frames (verdict, reason, the states the lines print).
 * What the log cannot tell is said in each step's notes, with the
 * assumptions made; problems of the log itself become warnings.
 *
 * Given a hand-over, each capture leaves as soon as nothing later in the log
 * can change it: its thread has begun its next call, and its process's
 * level is known, which decides what the lines it lacks mean: debug once it
 * has written a debug line; info once it has begun two more selections, or
 * the log has gone on for kLevelLookAhead lines of the plug-in, without one
 * (a debug-level process writes debug lines in every capture it checks
 * frames for). Captures leave in the order of their first line, so memory
 * holds the captures still open, not all of them. A log whose format shows
 * no thread id is decided at its end and kept until then; without a
 * hand-over all captures are kept and handed back by finish().
 */

#include "outcome/Outcome.h"
#include "messages/PluginEvent.h"

#include <cstdint>
#include <deque>
#include <functional>
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
    // Receives each complete capture; `session` is the session so far,
    // without steps (its caller may fill in what it knows of the input).
    using HandOver = std::function<void(outcome::SessionOutcome &session, outcome::StepOutcome &step)>;

    explicit LogImporter(std::string file, HandOver handOver = nullptr);

    void add(kohost::LogLine &&line, uint64_t lineNumber);
    // logd dropped lines of process `pid` here (a "chatty" line; pid
    // kUnknownId: of any process): the captures it may cut are not whole.
    void gap(int pid, uint64_t lineNumber);
    // A problem of the log itself, found while reading it.
    void problem(const std::string &text);
    // Earlier lines of a live log showed the process writing debug lines.
    void assumeDebugLevel(int pid) { mDebugProcesses.insert(pid); }

    // The session's own facts, and the captures not handed over, in the
    // order of their first line; call once.
    outcome::SessionOutcome finish();
    const std::vector<std::string> &warnings() const { return mWarnings; }
    uint64_t linesUsed() const { return mLinesUsed; }

private:
    // Each kind of a line's problem is listed this many times at most.
    static constexpr size_t kWarningsPerKind = 10;
    // Lines of the plug-in after a capture's first without a debug line of
    // its process, after which the process is taken as logging at info level.
    static constexpr uint64_t kLevelLookAhead = 4096;

    // Where a checkFrame call's lines stand: judging metadata, one camera
    // refused (more cameras may follow), refused, qualified (the sensor-mode
    // check may follow), in the sensor-mode check, ended.
    enum class Phase { Qualify, CameraRefused, Refused, Qualified, Sensor, Ended };

    struct Call {
        // Spelled out: an optional member of the enclosing class needs it
        // before that class is complete.
        Call() : phase(Phase::Qualify), blockOpen(false), afterRefusal(0), firstLine(0), gapInside(false) {}
        std::vector<kohost::LogLine> lines;
        Phase phase;
        bool blockOpen;      // inside one metadata's qualification
        size_t afterRefusal; // lines after the last refused camera
        uint64_t firstLine;
        bool gapInside;              // logd dropped lines of its process while it was open
        bool mayStartInside = false; // its first line is its thread's first, or follows a gap
    };

    struct Thread {
        int pid = 0, tid = 0;            // as the log shows them (outcome::kUnknownId: not shown)
        std::optional<size_t> selecting; // the step whose selection lines are open
        int selectionStage = -1;         // ... where in a call's order its last line stands
        std::optional<size_t> capture;   // the step the next checks belong to
        size_t nextSelected = 0;
        std::map<size_t, int> cameraAt; // camera ids learnt by position in a record
        std::optional<Call> call;
        std::optional<std::pair<kohost::LogLine, uint64_t>> needed; // an answer no selection followed yet
        int64_t lastTimeNs = 0;
        uint64_t lastLine = 0;  // 0: no line of the thread read yet
        uint64_t priorLine = 0; // lastLine before the line being read
        bool afterGap = false;  // logd dropped lines of its process since its last line
    };

    // A problem of one line: its kind (counted, listed ten times at most) and details.
    void warn(uint64_t lineNumber, const std::string &kind, const std::string &detail,
              std::vector<std::string> *into = nullptr);
    void selectionLine(Thread &thread, uint32_t fwkFrame, kohost::LogLine &&line, uint64_t lineNumber, bool starts);
    void checkLine(Thread &thread, messages::MessageKind kind, const messages::PluginEvent &event,
                   kohost::LogLine &&line, uint64_t lineNumber);
    void closeSelection(Thread &thread);
    // `atEnd`: the log ends here, inside the call if it has not ended.
    void closeCall(Thread &thread, bool atEnd = false);
    void closeNeeded(Thread &thread);
    // A new step of the thread's, labelled with where its lines start.
    outcome::StepOutcome &addStep(const Thread &thread, outcome::StepKind kind, size_t firstLine,
                                  const kohost::LogLine &first);
    static std::string who(const Thread &thread);

    // A step not handed over yet, with what deciding it waits for.
    struct Open {
        outcome::StepOutcome step;
        bool held = false;              // its thread's calls may still add to it
        bool unended = false;           // a selection without its anchor offset line
        bool pending = false;           // the pending switch its selection ran with
        std::vector<size_t> sensorOnly; // checks with the sensor-mode check's first line only
        // Accepted frames name no frame: they are numbered in selection
        // order, which a lost or broken check makes unknown from there on.
        bool numberingLost = false;
        bool numberedInOrder = false; // a check was numbered so (said once)
        // Lines of its selection may be lost after its anchor offset line
        // (logd dropped some, or the log ends there): the frames the begin
        // moved past are then not known.
        std::string selectionCut;
        size_t unnamedChecks = 0;     // checks left out: their frame is not in the log
        std::optional<size_t> blocks; // metadata judged per frame (one per camera), from a whole check
        // Where the log stood when it opened: lines of the plug-in read, and
        // selections its process had begun (this one included).
        uint64_t linesAtOpen = 0;
        size_t selectionsAtOpen = 0;
    };
    // Whether the thread's capture has no check to come that could change
    // what it states: it took all it wants, or checked every frame selected.
    bool checksOver(const Open &open, size_t nextSelected) const;
    // Read without thread ids, the step's lines interleave with another capture's of its process.
    bool mixedWith(size_t index) const;
    // The step is not whole, for this reason (the first given is kept).
    void damage(size_t index, outcome::Completeness completeness, const std::string &why);
    // How a thread's step that lacks its first lines is damaged: the log
    // starts inside it, or (lines of its thread or a gap before) lines are missing.
    outcome::Completeness startDamage(const Thread &thread) const;
    outcome::StepOutcome &openStep(size_t index) { return mOpen[index - mFirstOpen].step; }
    // The thread's calls add to `index` from now on (nothing: to no step).
    void hold(Thread &thread, std::optional<size_t> index);
    // Hands over the first steps while they are complete; at the end of
    // the log, all.
    void handOver(bool end);
    bool complete(size_t index) const;
    // Decides the level of the first open step's process once the look-ahead
    // has passed without a debug line of it: info from then on.
    void decideLevel(const Open &open);
    // A selection without its end that finished early at info level.
    bool finishedEarly(const Open &open) const;
    // What the rest of the log decides of a step: whether its process wrote
    // debug lines decides what their absence means; without thread ids,
    // which captures' lines may be mixed.
    void resolve(size_t index);
    // A step begun before its process, taken as info-level, wrote a debug
    // line stays info-level (its debugLines cleared then).
    bool debugLevel(const outcome::StepOutcome &step) const
    {
        return step.debugLines && mDebugProcesses.count(step.pid) > 0;
    }
    bool levelKnown(const outcome::StepOutcome &step) const
    {
        return debugLevel(step) || !step.debugLines || mInfoProcesses.count(step.pid) > 0;
    }

    outcome::SessionOutcome mSession; // its steps: those kept, without a hand-over
    HandOver mHandOver;
    std::deque<Open> mOpen;
    size_t mFirstOpen = 0; // the index of mOpen's first step
    // By process and thread; without thread ids in the log, by process and
    // -2 - fwkFrame.
    std::map<std::pair<int, int64_t>, Thread> mThreads;
    // Without thread ids, per process: the answer of isSelectorNeeded waiting
    // for the next selection, and whether another answer came before it.
    struct Waiting {
        std::optional<std::pair<kohost::LogLine, uint64_t>> answer;
        bool ambiguous = false;
    };
    std::map<int, Waiting> mNeededWaiting;
    std::map<int, int64_t> mLastNamed; // per process: the thread key of the fwkFrame named last
    // Steps read without thread ids: their lines.
    struct Lines {
        uint64_t first = 0, last = 0;
        int pid = 0;
        uint32_t fwkFrame = 0;
    };
    std::map<size_t, Lines> mMergedRanges;
    // The lines of a step read without thread ids, from `first` on.
    Lines &mergedLines(size_t index, uint64_t first);
    std::map<int, bool> mPending;           // the pending switch per process, from its configuration line
    std::set<int> mGapProcesses;            // processes logd dropped lines of (kUnknownId: any)
    std::set<int> mDebugProcesses;          // processes with a debug line in the log so far
    std::map<int, uint64_t> mInfoProcesses; // processes taken as info-level, and the line that decided it
    std::map<int, size_t> mSelectionsBegun; // per process
    std::vector<std::string> mWarnings;
    // Warnings of what the whole log decides, listed after those of lines:
    // selections the log ends inside, then captures whose threads mix.
    std::vector<std::string> mEndWarnings, mMixedWarnings;
    std::map<std::string, size_t> mWarningCounts;
    uint64_t mLinesUsed = 0;
};

} // namespace zsl::log
