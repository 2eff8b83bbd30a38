#pragma once
/*
 * LogCapture: everything the selector logs while it lives, from both outputs.
 *
 * The system log arrives as records through the host's receiver. The Android
 * log is what Debian's liblog writes to standard error; LogCapture redirects
 * that descriptor and parses each "KoAlgoEngine" line back into its prefix
 * fields and text. LogGates opens or closes the kodebug gates for one scope.
 */

#include <kodebug/SystemLogSink.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kotest {

struct AndroidLogLine {
    std::string level; // "D", "I", ...
    std::string group;
    std::string fileName;
    int line = 0;
    std::string function;
    std::string text;
};

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    std::vector<kodebug::SystemLogRecord> systemLog() const;
    // Reads what reached standard error so far; call once the lines are in.
    std::vector<AndroidLogLine> androidLog();

    // Texts only, "D text" / "I text", in order.
    std::vector<std::string> systemTexts() const;
    std::vector<std::string> androidTexts();

private:
    struct Sink;
    std::shared_ptr<Sink> mSink;
    kodebug::SystemLogReceiver mPrevious;
    int mSavedStderr = -1;
    int mCaptureFd = -1;
};

class LogGates {
public:
    LogGates(uint32_t level, uint32_t group, uint32_t debugMask);
    ~LogGates();

    // Debug and info lines to both outputs.
    static LogGates allOpen() { return LogGates(0, 0x40, 1); }
    // System log only, every level: the usual way to read a scenario's lines.
    static LogGates systemOnly() { return LogGates(7, 0x40, 1); }

private:
    uint32_t mLevel, mGroup, mDebugMask;
};

} // namespace kotest
