#include "LogCapture.h"

#include <kodebug/Log.h>

#include <android/log.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <regex>
#include <sstream>
#include <unistd.h>

namespace kotest {

struct LogCapture::Sink {
    std::mutex lock;
    std::vector<kodebug::SystemLogRecord> records;
};

LogCapture::LogCapture() : mSink(std::make_shared<Sink>())
{
    std::shared_ptr<Sink> sink = mSink;
    mPrevious = kodebug::setSystemLogReceiver([sink](const kodebug::SystemLogRecord &record) {
        std::lock_guard<std::mutex> guard(sink->lock);
        sink->records.push_back(record);
    });
    // Debian's liblog drops debug lines by default; the kodebug gates decide.
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    std::fflush(stderr);
    char path[] = "/tmp/kozsl-stderr-XXXXXX";
    mCaptureFd = mkstemp(path);
    if (mCaptureFd >= 0) {
        unlink(path);
        mSavedStderr = dup(STDERR_FILENO);
        dup2(mCaptureFd, STDERR_FILENO);
    }
}

LogCapture::~LogCapture()
{
    kodebug::setSystemLogReceiver(std::move(mPrevious));
    if (mSavedStderr >= 0) {
        std::fflush(stderr);
        dup2(mSavedStderr, STDERR_FILENO);
        close(mSavedStderr);
    }
    if (mCaptureFd >= 0)
        close(mCaptureFd);
}

std::vector<kodebug::SystemLogRecord> LogCapture::systemLog() const
{
    std::lock_guard<std::mutex> guard(mSink->lock);
    return mSink->records;
}

std::vector<std::string> LogCapture::systemTexts() const
{
    std::vector<std::string> texts;
    for (const auto &record : systemLog())
        texts.push_back(record.level + " " + record.text);
    return texts;
}

std::vector<AndroidLogLine> LogCapture::androidLog()
{
    std::fflush(stderr);
    std::string bytes;
    char buffer[4096];
    ssize_t n;
    while ((n = pread(mCaptureFd, buffer, sizeof(buffer), static_cast<off_t>(bytes.size()))) > 0)
        bytes.append(buffer, static_cast<size_t>(n));

    // liblog's host format: "TAG L MM-DD hh:mm:ss  pid  tid message".
    static const std::regex kLine(
        R"(^KoAlgoEngine ([VDIWEF]) \d\d-\d\d \d\d:\d\d:\d\d +\d+ +\d+ (\S+) ([^ :]+):(\d+) (operator\(\)|[^ (]+)\(\)(.*)$)");
    std::vector<AndroidLogLine> lines;
    std::istringstream stream(bytes);
    std::string text;
    std::smatch match;
    while (std::getline(stream, text)) {
        if (!std::regex_match(text, match, kLine))
            continue;
        AndroidLogLine line;
        line.level = match[1];
        line.group = match[2];
        line.fileName = match[3];
        line.line = std::atoi(match[4].str().c_str());
        line.function = match[5];
        line.text = match[6];
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> LogCapture::androidTexts()
{
    std::vector<std::string> texts;
    for (const auto &line : androidLog())
        texts.push_back(line.level + " " + line.text);
    return texts;
}

LogGates::LogGates(uint32_t level, uint32_t group, uint32_t debugMask)
    : mLevel(kodebug::gKoCamLogLevel), mGroup(kodebug::gKoCamLogGroup),
      mDebugMask(kodebug::gKoCamDebugMask)
{
    kodebug::gKoCamLogLevel = level;
    kodebug::gKoCamLogGroup = group;
    kodebug::gKoCamDebugMask = debugMask;
}

LogGates::~LogGates()
{
    kodebug::gKoCamLogLevel = mLevel;
    kodebug::gKoCamLogGroup = mGroup;
    kodebug::gKoCamDebugMask = mDebugMask;
}

} // namespace kotest
