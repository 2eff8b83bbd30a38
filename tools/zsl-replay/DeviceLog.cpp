// Reading and writing the plug-in's lines in a device log's formats. The
// reader scans without regular expressions or backtracking: a line of any
// length costs linear time, and a line that is not the plug-in's costs one
// search for its tag.

#include "DeviceLog.h"

#include <cstring>
#include <ctime>
#include <memory>
#include <vector>

namespace replay {

namespace {

constexpr std::string_view kTag = "KoAlgoEngine";
constexpr size_t kBlockBytes = 1 << 20;
// Longer than any line logcat writes (its limit is some 4 KiB); such a line
// is not a log line and is passed over.
constexpr size_t kMaxLineBytes = 1 << 20;

// A cursor over one line, for the fixed shapes of the log formats.
struct Cursor {
    std::string_view text;

    bool done() const { return text.empty(); }
    void skipBlanks()
    {
        while (!text.empty() && text.front() == ' ')
            text.remove_prefix(1);
    }
    bool take(char c)
    {
        if (text.empty() || text.front() != c)
            return false;
        text.remove_prefix(1);
        return true;
    }
    // Exactly `digits` decimal digits (any number from 1 when 0).
    std::optional<int64_t> number(size_t digits = 0)
    {
        size_t n = 0;
        int64_t value = 0;
        while (n < text.size() && (digits == 0 || n < digits) && text[n] >= '0' && text[n] <= '9' && n < 18)
            value = value * 10 + (text[n++] - '0');
        if (n == 0 || (digits != 0 && n != digits))
            return std::nullopt;
        text.remove_prefix(n);
        return value;
    }
    std::string_view word()
    {
        skipBlanks();
        const size_t end = std::min(text.find(' '), text.size());
        std::string_view word = text.substr(0, end);
        text.remove_prefix(end);
        return word;
    }
};

// "[YYYY-]MM-DD HH:MM:SS.fff": a time key in ns that orders and spaces the
// lines of one log (days counted as if every month had 31).
std::optional<int64_t> readStamp(Cursor &at)
{
    Cursor c = at;
    auto first = c.number();
    if (!first || *first > 9999 || !c.take('-'))
        return std::nullopt;
    int64_t year = 0, month = *first;
    auto day = c.number(2);
    if (!day)
        return std::nullopt;
    if (c.take('-')) { // the year came first
        year = *first;
        month = *day;
        day = c.number(2);
        if (!day)
            return std::nullopt;
    }
    if (!c.take(' '))
        return std::nullopt;
    auto hour = c.number(2);
    auto minute = c.take(':') ? c.number(2) : std::nullopt;
    auto second = c.take(':') ? c.number(2) : std::nullopt;
    if (!hour || !minute || !second || !c.take('.'))
        return std::nullopt;
    const size_t before = c.text.size();
    auto fraction = c.number();
    const size_t digits = before - c.text.size();
    if (!fraction || digits > 9)
        return std::nullopt;
    for (size_t i = digits; i < 9; ++i)
        *fraction *= 10;
    at = c;
    // Years within a century: enough to order one log, and every field is
    // at most two digits, so the sum stays far inside int64.
    const int64_t days = ((year % 100) * 12 + month) * 31 + *day;
    return ((days * 24 + *hour) * 60 + *minute) * 60 * 1000000000 + *second * 1000000000 + *fraction;
}

// monotonic: "[ ]SSSSS.mmm" seconds since boot, the boot-time clock itself.
std::optional<int64_t> readMonotonic(Cursor &at)
{
    Cursor c = at;
    c.skipBlanks();
    auto seconds = c.number();
    if (!seconds || *seconds > 999999999 || !c.take('.')) // 31 years of uptime; no int64 overflow
        return std::nullopt;
    const size_t before = c.text.size();
    auto fraction = c.number();
    const size_t digits = before - c.text.size();
    if (!fraction || digits > 9 || !c.take(' '))
        return std::nullopt;
    for (size_t i = digits; i < 9; ++i)
        *fraction *= 10;
    at = c;
    return *seconds * 1000000000 + *fraction;
}

bool isLevel(std::string_view word)
{
    return word.size() == 1 && std::string_view("VDIWEFSA").find(word[0]) != std::string_view::npos;
}

std::optional<int> asId(std::string_view word)
{
    Cursor c{word};
    auto value = c.number();
    if (!value || !c.done() || *value > 0x7fffffff)
        return std::nullopt;
    return static_cast<int>(*value);
}

kohost::LogLine fromMessage(std::string_view level, std::string_view message)
{
    return kohost::parseAndroidLine(std::string(level), message);
}

// threadtime: "[YYYY-]MM-DD HH:MM:SS.mmm [UID] PID TID L TAG: message".
std::optional<kohost::LogLine> readThreadtime(Cursor c, int64_t timeNs)
{
    std::string_view words[3];
    size_t count = 0;
    std::string_view level;
    for (;;) {
        std::string_view word = c.word();
        if (word.empty())
            return std::nullopt;
        if (isLevel(word) && count >= 2) {
            level = word;
            break;
        }
        if (count == 3) // at most uid, pid, tid
            return std::nullopt;
        words[count++] = word;
    }
    auto pid = asId(words[count - 2]);
    auto tid = asId(words[count - 1]);
    c.skipBlanks();
    if (!pid || !tid || c.text.substr(0, kTag.size()) != kTag)
        return std::nullopt;
    c.text.remove_prefix(kTag.size());
    c.skipBlanks();
    if (!c.take(':'))
        return std::nullopt;
    c.take(' ');
    kohost::LogLine line = fromMessage(level, c.text);
    line.timeNs = timeNs;
    line.pid = *pid;
    line.tid = *tid;
    return line;
}

// brief and time: "[MM-DD HH:MM:SS.mmm ]L/TAG( PID): message"; the thread
// is not shown, so the process stands for it.
std::optional<kohost::LogLine> readBrief(std::string_view text, int64_t timeNs)
{
    const size_t at = text.find("/KoAlgoEngine(");
    if (at == std::string_view::npos || at == 0 || !isLevel(text.substr(at - 1, 1)))
        return std::nullopt;
    Cursor c{text.substr(at + kTag.size() + 2)};
    c.skipBlanks();
    auto pid = c.number();
    if (!pid || !c.take(')') || !c.take(':'))
        return std::nullopt;
    c.take(' ');
    kohost::LogLine line = fromMessage(text.substr(at - 1, 1), c.text);
    line.timeNs = timeNs;
    line.pid = line.tid = static_cast<int>(*pid);
    return line;
}

// The host's system log on standard error: "[ZSL] L file:line function() text".
std::optional<kohost::LogLine> readSystemLog(std::string_view text)
{
    Cursor c{text};
    if (!c.take('[') || c.text.substr(0, 5) != "ZSL] ")
        return std::nullopt;
    c.text.remove_prefix(5);
    std::string_view level = c.word();
    if (!isLevel(level) || !c.take(' '))
        return std::nullopt;
    const size_t call = c.text.find("() ");
    if (call == std::string_view::npos)
        return std::nullopt;
    // Back into the Android prefix's shape, "group file:line function()text".
    std::string message = "ZSL ";
    message.append(c.text.substr(0, call + 2)).append(c.text.substr(call + 3));
    kohost::LogLine line = fromMessage(level, message);
    line.output = kohost::LogOutput::System;
    return line;
}

} // namespace

std::string threadtimeLine(const kohost::LogLine &line)
{
    const std::time_t seconds = static_cast<std::time_t>(line.timeNs / 1000000000);
    std::tm when{};
    gmtime_r(&seconds, &when);
    char stamp[32];
    std::strftime(stamp, sizeof(stamp), "%m-%d %H:%M:%S", &when);
    char head[128];
    std::snprintf(head, sizeof(head), "%s.%03d %5d %5d %s KoAlgoEngine: ", stamp,
                  static_cast<int>(line.timeNs / 1000000 % 1000), line.pid, line.tid, line.level.c_str());
    return head + line.group + " " + line.fileName + ":" + std::to_string(line.line) + " " + line.function + "()" +
           line.text;
}

std::optional<kohost::LogLine> readDeviceLogLine(std::string_view text)
{
    if (!text.empty() && text.back() == '\r')
        text.remove_suffix(1);
    if (!text.empty() && text.front() == '[')
        return readSystemLog(text);
    if (text.find(kTag) == std::string_view::npos)
        return std::nullopt;
    Cursor c{text};
    std::optional<int64_t> timeNs = readStamp(c);
    if (!timeNs)
        timeNs = readMonotonic(c);
    if (timeNs)
        if (auto line = readThreadtime(c, *timeNs))
            return line;
    return readBrief(text, timeNs.value_or(0));
}

bool readDeviceLog(std::FILE *stream, const std::function<void(kohost::LogLine, uint64_t)> &line,
                   const std::function<void(const std::string &)> &problem)
{
    const std::unique_ptr<char[]> block(new char[kBlockBytes]); // not cleared: fread fills what is read
    std::string carried; // the start of a line that crosses a block's end
    bool skipping = false; // inside a line too long to keep
    uint64_t number = 0;
    uint64_t unread = 0, firstUnread = 0; // lines naming the tag in a shape not read
    auto handle = [&](std::string_view text) {
        ++number;
        if (auto ours = readDeviceLogLine(text))
            line(std::move(*ours), number);
        else if (text.find(kTag) != std::string_view::npos && unread++ == 0)
            firstUnread = number;
    };
    for (size_t got; (got = std::fread(block.get(), 1, kBlockBytes, stream)) > 0;) {
        const char *at = block.get();
        const char *end = at + got;
        while (at < end) {
            const char *newline = static_cast<const char *>(std::memchr(at, '\n', static_cast<size_t>(end - at)));
            if (!newline) {
                if (!skipping)
                    carried.append(at, end);
                if (carried.size() > kMaxLineBytes) {
                    carried.clear();
                    skipping = true;
                }
                break;
            }
            if (skipping) {
                ++number;
                problem("line " + std::to_string(number) + " is longer than " + std::to_string(kMaxLineBytes) +
                        " bytes and was passed over");
                skipping = false;
            } else if (!carried.empty()) {
                carried.append(at, newline);
                handle(carried);
                carried.clear();
            } else {
                handle(std::string_view(at, static_cast<size_t>(newline - at)));
            }
            at = newline + 1;
        }
    }
    if (std::ferror(stream))
        return false;
    if (unread)
        problem(std::to_string(unread) + (unread == 1 ? " line names" : " lines name") + " the tag " + std::string(kTag) +
                " in a format this reader does not know (the first is line " + std::to_string(firstUnread) +
                "); threadtime, time, brief and monotonic are read");
    // A line cut by the end may have lost any part of its text: not guessed at.
    if (skipping || !carried.empty())
        problem("the log ends in the middle of line " + std::to_string(number + 1) + ", which is left out");
    return true;
}

} // namespace replay
