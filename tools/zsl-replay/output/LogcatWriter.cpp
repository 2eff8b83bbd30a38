// Lines formatted by liblog, as logcat formats them.

#include "output/LogcatWriter.h"

#include "messages/PluginMessages.h"

#include <log/logprint.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string_view>

namespace zsl::output {

namespace {

constexpr std::string_view kTag = messages::kPluginTag;

} // namespace

bool isLogcatFormat(const std::string &words, std::string &bad)
{
    std::istringstream list(words);
    for (std::string word; std::getline(list, word, ',');)
        if (android_log_formatFromString(word.c_str()) == FORMAT_OFF) {
            bad = word;
            return false;
        }
    return !words.empty();
}

std::string logcatLine(const kohost::LogLine &line, const std::string &words)
{
    return logcatEntry(std::string(kTag), line,
                       line.group + " " + line.fileName + ":" + std::to_string(line.line) + " " + line.function + "()" +
                           line.text,
                       words);
}

std::string logcatEntry(const std::string &tag, const kohost::LogLine &line, const std::string &message,
                        const std::string &words)
{
    // liblog writes the wall clock in the local zone: UTC, so that the same
    // line reads the same on every machine.
    static const bool utc = [] {
        setenv("TZ", "UTC", 1);
        tzset();
        return true;
    }();
    (void)utc;
    const std::unique_ptr<AndroidLogFormat, void (*)(AndroidLogFormat *)> format(android_log_format_new(),
                                                                                 android_log_format_free);
    std::istringstream list(words);
    for (std::string word; std::getline(list, word, ',');)
        android_log_setPrintFormat(format.get(), android_log_formatFromString(word.c_str()));
    const std::string letters = "VDIWEF";
    const size_t level = letters.find(line.level);
    AndroidLogEntry entry{};
    entry.tv_sec = static_cast<time_t>(line.timeNs / 1000000000);
    entry.tv_nsec = static_cast<long>(line.timeNs % 1000000000);
    entry.priority = static_cast<android_LogPriority>(ANDROID_LOG_VERBOSE + (level == std::string::npos ? 0 : level));
    entry.pid = line.pid;
    entry.tid = line.tid;
    entry.tag = tag.c_str();
    entry.tagLen = tag.size();
    entry.message = message.c_str();
    entry.messageLen = message.size();
    char buffer[1024];
    size_t length = 0;
    char *text = android_log_formatLogLine(format.get(), buffer, sizeof buffer, &entry, &length);
    if (!text)
        return {};
    std::string out(text, length);
    if (text != buffer)
        std::free(text);
    if (!out.empty() && out.back() == '\n')
        out.pop_back(); // the caller ends the line
    return out;
}

} // namespace zsl::output
