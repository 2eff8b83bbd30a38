#pragma once
/*
 * LogRecorder: both of a selector's log outputs, kept line by line while the
 * recorder lives. The host's system log arrives through its receiver; the
 * Android log through liblog's logger hook, so every line is kept as the
 * plug-in formatted it and none is lost to standard error. The Android
 * prefix "group file:line function()" is split back into fields. One
 * recorder at a time; it lowers liblog's minimum priority to verbose so that
 * only the host's log gates decide what is written.
 */

#include <kodebug/SystemLogSink.h>

#include <cstddef>
#include <array>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace kohost {

enum class LogOutput { Android, System };

struct LogLine {
    LogOutput output = LogOutput::System;
    std::string level; // "D", "I", ...
    std::string group; // the log group's name, "ZSL"
    std::string fileName;
    int line = 0;
    std::string function;
    std::string text; // the message after the prefix
    // Android lines only: when (boot-time clock) and who wrote them.
    int64_t timeNs = 0;
    int pid = 0;
    int tid = 0;
    // Read from a device log: the time as the log prints it ("" if none),
    // and the line's number in the log (0: not read from one).
    std::string timeText;
    uint64_t logLine = 0;
    // Read from a device log: which of the reader's messages the text is
    // (-1: not told yet), so that it is matched once; and where in the text
    // its arguments stand (offset and length each; argCount -1: not kept),
    // so that each reader of the line finds them without matching again.
    int message = -1;
    int argCount = -1;
    std::array<uint16_t, 16> argSpans{};
};

// Splits an Android-log message of the selector, "group file:line
// function()text", into its fields; a message of another shape is kept
// whole as the text. Also for lines read back from a device's log.
LogLine parseAndroidLine(std::string level, std::string_view text);
// The same into `line`, a line made empty where it is kept: a log reader
// builds each line once, where it will stay, rather than moving it there.
void parseAndroidLine(LogLine &line, std::string_view level, std::string_view text);

class LogRecorder {
public:
    LogRecorder();
    ~LogRecorder();
    LogRecorder(const LogRecorder &) = delete;
    LogRecorder &operator=(const LogRecorder &) = delete;

    // A mark for since(): the number of lines recorded so far.
    size_t mark() const;
    // The lines of one output recorded after mark, in order.
    std::vector<LogLine> since(size_t mark, LogOutput output) const;
    std::vector<LogLine> android() const { return since(0, LogOutput::Android); }
    std::vector<LogLine> system() const { return since(0, LogOutput::System); }

    void add(LogLine line);

private:
    mutable std::mutex mLock;
    std::vector<LogLine> mLines;
    kodebug::SystemLogReceiver mPreviousReceiver;
    int mPreviousPriority;
};

// Sets the host's three log gates as the host does, from any thread: with
// relaxed atomic stores, as the selector reads them.
void setLogGates(uint32_t level, uint32_t group, uint32_t debugMask);

// Sets the host's three log gates for one scope and restores them after.
class LogGates {
public:
    LogGates(uint32_t level, uint32_t group, uint32_t debugMask);
    ~LogGates();
    LogGates(const LogGates &) = delete;
    LogGates &operator=(const LogGates &) = delete;

    // Debug and info lines to both outputs.
    static LogGates allOpen() { return LogGates(0, 0x40, 1); }
    // System log only, every level.
    static LogGates systemOnly() { return LogGates(7, 0x40, 1); }

private:
    uint32_t mLevel, mGroup, mDebugMask;
};

} // namespace kohost
