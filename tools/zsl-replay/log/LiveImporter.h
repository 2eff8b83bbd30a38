#pragma once
/*
 * LiveImporter: captures explained while the log is still being written
 * (adb logcat piped in). Each thread's lines are held until its capture is
 * complete: the next call on the same thread has begun (an answer of
 * isSelectorNeeded, or a selection after this one's selection or checks),
 * or the thread has been quiet for a second, by the log's clock or, when
 * nothing arrives at all, by the caller's. A complete capture is rebuilt
 * by a LogImporter of its own, with its process's configuration line and
 * what earlier lines told of its log level, and handed over at once.
 */

#include "log/LogImporter.h"

#include <LogRecorder.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zsl::log {

class LiveImporter {
public:
    // `done` receives each complete capture as a session of its own, with
    // the warnings its lines gave.
    using Done = std::function<void(outcome::SessionOutcome, const std::vector<std::string> &warnings)>;
    LiveImporter(std::string file, Done done) : mFile(std::move(file)), mDone(std::move(done)) {}

    void add(kohost::LogLine line, uint64_t lineNumber);
    // Nothing has arrived for a second: every held capture is complete.
    void idle();
    // The end of the input.
    void finish() { idle(); }
    uint64_t linesUsed() const { return mLinesUsed; }

private:
    static constexpr int64_t kQuietNs = 1000000000;
    struct Held {
        // The process's configuration line when the capture began: a later
        // one (a selector made again) comes after the capture's lines.
        std::optional<std::pair<kohost::LogLine, uint64_t>> config;
        std::vector<std::pair<kohost::LogLine, uint64_t>> lines;
        bool selected = false, checked = false;
        int64_t lastTimeNs = 0;
    };
    void completeWhere(const std::function<bool(const Held &)> &isComplete);
    void complete(Held &held);

    std::string mFile;
    Done mDone;
    std::map<std::pair<int, int>, Held> mHeld;                   // by process and thread
    std::map<int, std::pair<kohost::LogLine, uint64_t>> mConfig; // per process: its last configuration line
    std::set<int> mDebugProcesses;                               // processes that wrote a debug line
    uint64_t mLinesUsed = 0;
};

} // namespace zsl::log
