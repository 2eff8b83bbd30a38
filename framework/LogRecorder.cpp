// Recording both log outputs: liblog's logger hook for the Android log, the
// host's receiver for the system log, and the log gates for one scope.

#include "LogRecorder.h"

#include <kodebug/Log.h>

#include <android/log.h>
#include <utils/Timers.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <iterator>
#include <cstring>
#include <utility>

namespace kohost {

namespace {

std::mutex gCurrentLock;
LogRecorder *gCurrent = nullptr;

std::string priorityLetter(int priority)
{
    static const char kLetters[] = "??VDIWEFS";
    return std::string(1, priority >= 0 && priority < 9 ? kLetters[priority] : '?');
}

} // namespace

LogLine parseAndroidLine(std::string level, std::string_view text)
{
    LogLine line;
    parseAndroidLine(line, {}, text);
    line.level = std::move(level);
    return line;
}

void parseAndroidLine(LogLine &line, std::string_view level, std::string_view text)
{
    // Read in place: each field is copied once, into the line (a device
    // log's reader calls this for every line of the plug-in).
    line.output = LogOutput::Android;
    line.level = level;
    const size_t space = text.find(' ');
    const size_t colon = text.find(':', space == std::string_view::npos ? 0 : space);
    const size_t nextSpace = text.find(' ', colon == std::string_view::npos ? 0 : colon);
    if (space == std::string_view::npos || colon == std::string_view::npos || nextSpace == std::string_view::npos) {
        line.text = text;
        return;
    }
    // "operator()()" is a lambda's line; every other name has no parentheses.
    const size_t nameStart = nextSpace + 1;
    const bool lambda = text.compare(nameStart, 12, "operator()()") == 0;
    const size_t parens = lambda ? nameStart + 10 : text.find("()", nameStart);
    if (parens == std::string_view::npos) {
        line.text = text;
        return;
    }
    line.group = text.substr(0, space);
    line.fileName = text.substr(space + 1, colon - space - 1);
    // atoi of what follows the colon, read in place: blanks, a sign, digits,
    // and where they overflow a long, strtol's clamp before atoi narrows it.
    size_t at = colon + 1;
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])))
        ++at;
    const bool negative = at < text.size() && text[at] == '-';
    at += at < text.size() && (text[at] == '+' || text[at] == '-');
    unsigned long magnitude = 0;
    const unsigned long limit = negative ? 0UL - static_cast<unsigned long>(LONG_MIN) : LONG_MAX;
    for (; at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])); ++at) {
        const auto digit = static_cast<unsigned long>(text[at] - '0');
        magnitude = magnitude > (limit - digit) / 10 ? limit : magnitude * 10 + digit;
    }
    line.line = static_cast<int>(negative ? static_cast<long>(0UL - magnitude) : static_cast<long>(magnitude));
    line.function = text.substr(nameStart, parens - nameStart);
    line.text = text.substr(parens + 2);
}

namespace {

void androidLogger(const __android_logger_data *data, const char *message)
{
    LogLine line = parseAndroidLine(priorityLetter(data ? data->priority : 0), message ? message : "");
    line.timeNs = systemTime(SYSTEM_TIME_BOOTTIME);
    line.pid = getpid();
    line.tid = static_cast<int>(syscall(SYS_gettid));
    std::lock_guard<std::mutex> guard(gCurrentLock);
    if (gCurrent)
        gCurrent->add(std::move(line));
}

} // namespace

LogRecorder::LogRecorder() : mPreviousPriority(__android_log_get_minimum_priority())
{
    {
        std::lock_guard<std::mutex> guard(gCurrentLock);
        gCurrent = this;
    }
    __android_log_set_logger(androidLogger);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    mPreviousReceiver = kodebug::setSystemLogReceiver([this](const kodebug::SystemLogRecord &record) {
        add({LogOutput::System, record.level, kodebug::Log::koaGroupToString(record.group), record.fileName,
             record.line, record.function, record.text, 0, 0, 0, ""});
    });
}

LogRecorder::~LogRecorder()
{
    kodebug::setSystemLogReceiver(std::move(mPreviousReceiver));
    __android_log_set_minimum_priority(mPreviousPriority);
    __android_log_set_logger(__android_log_stderr_logger);
    std::lock_guard<std::mutex> guard(gCurrentLock);
    gCurrent = nullptr;
}

void LogRecorder::add(LogLine line)
{
    std::lock_guard<std::mutex> guard(mLock);
    mLines.push_back(std::move(line));
}

size_t LogRecorder::mark() const
{
    std::lock_guard<std::mutex> guard(mLock);
    return mLines.size();
}

std::vector<LogLine> LogRecorder::since(size_t mark, LogOutput output) const
{
    std::lock_guard<std::mutex> guard(mLock);
    const auto first = mLines.begin() + static_cast<std::ptrdiff_t>(std::min(mark, mLines.size()));
    auto ofOutput = [output](const LogLine &line) { return line.output == output; };
    std::vector<LogLine> lines;
    lines.reserve(static_cast<size_t>(std::count_if(first, mLines.end(), ofOutput))); // a selection may log thousands
    std::copy_if(first, mLines.end(), std::back_inserter(lines), ofOutput);
    return lines;
}

void setLogGates(uint32_t level, uint32_t group, uint32_t debugMask)
{
    __atomic_store_n(&kodebug::gKoCamLogLevel, level, __ATOMIC_RELAXED);
    __atomic_store_n(&kodebug::gKoCamLogGroup, group, __ATOMIC_RELAXED);
    __atomic_store_n(&kodebug::gKoCamDebugMask, debugMask, __ATOMIC_RELAXED);
}

LogGates::LogGates(uint32_t level, uint32_t group, uint32_t debugMask)
    : mLevel(__atomic_load_n(&kodebug::gKoCamLogLevel, __ATOMIC_RELAXED)),
      mGroup(__atomic_load_n(&kodebug::gKoCamLogGroup, __ATOMIC_RELAXED)),
      mDebugMask(__atomic_load_n(&kodebug::gKoCamDebugMask, __ATOMIC_RELAXED))
{
    setLogGates(level, group, debugMask);
}

LogGates::~LogGates()
{
    setLogGates(mLevel, mGroup, mDebugMask);
}

} // namespace kohost
