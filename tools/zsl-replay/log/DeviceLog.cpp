// Reading and writing the plug-in's lines in a device log's formats. The
// reader scans without regular expressions or backtracking: a line of any
// length costs linear time, and a line that holds neither the tag nor the
// plug-in's file name costs only the search for its end.

#include "DeviceLog.h"

#include "PluginMessages.h"

#include <log/logprint.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <vector>

namespace replay {

namespace {

constexpr std::string_view kTag = "KoAlgoEngine";
constexpr size_t kBlockBytes = 128 << 10;
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
std::optional<int64_t> readStamp(Cursor &at, int reportYear, int reportMonth)
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
    // A line without its year takes the bug report's, or the one before for
    // a month after the report's (the log crossed a new year).
    if (year == 0 && reportYear > 0)
        year = reportYear - (month > reportMonth ? 1 : 0);
    // Years within a century: enough to order one log, and every field is
    // at most two digits, so the sum stays far inside int64.
    const int64_t days = ((year % 100) * 12 + month) * 31 + *day;
    return ((days * 24 + *hour) * 60 + *minute) * 60 * 1000000000 + *second * 1000000000 + *fraction;
}

// epoch and monotonic: "[ ]SSSSS.fff" seconds (since 1970 or since boot).
std::optional<int64_t> readSeconds(Cursor &at)
{
    Cursor c = at;
    c.skipBlanks();
    auto seconds = c.number();
    if (!seconds || *seconds > 9000000000 || !c.take('.')) // past 2255 in epoch seconds; no int64 overflow
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

// A line's time, in whichever of logcat's clocks it is written; the zone
// (-v zone) is passed over: one log is in one zone.
std::optional<int64_t> readTime(Cursor &c, int reportYear = 0, int reportMonth = 0)
{
    std::optional<int64_t> timeNs = readStamp(c, reportYear, reportMonth);
    if (!timeNs)
        return readSeconds(c);
    Cursor zone = c;
    zone.skipBlanks();
    if ((zone.take('+') || zone.take('-')) && zone.number(4))
        c = zone;
    return timeNs;
}

bool isLevel(std::string_view word)
{
    return word.size() == 1 && std::string_view("VDIWEFSA").find(word[0]) != std::string_view::npos;
}

std::optional<int> asId(std::string_view word)
{
    Cursor c{word};
    c.skipBlanks();
    auto value = c.number();
    if (!value || !c.done() || *value > 0x7fffffff)
        return std::nullopt;
    return static_cast<int>(*value);
}

// "( uid: pid: tid)" and its shorter forms: the ids after the uid, which is a
// number or a user name of up to five letters (-v uid on a device).
std::optional<std::vector<int>> readIds(std::string_view inside, size_t wanted)
{
    std::vector<std::string_view> parts;
    for (size_t from = 0;;) {
        const size_t colon = inside.find(':', from);
        parts.push_back(inside.substr(from, colon == std::string_view::npos ? std::string_view::npos : colon - from));
        if (colon == std::string_view::npos)
            break;
        from = colon + 1;
    }
    if (parts.size() != wanted && parts.size() != wanted + 1) // with the uid
        return std::nullopt;
    std::vector<int> ids;
    for (size_t i = parts.size() - wanted; i < parts.size(); ++i) {
        auto id = asId(parts[i]);
        if (!id)
            return std::nullopt;
        ids.push_back(*id);
    }
    return ids;
}

// The plug-in's message, "group file:line function()text", with the
// reader's table to say it is one: for the formats that name no tag.
std::optional<kohost::LogLine> pluginMessage(std::string_view level, std::string_view message)
{
    kohost::LogLine line = kohost::parseAndroidLine(std::string(level), message);
    const PluginMessage *known = line.function.empty() ? nullptr : findPluginMessage(line.text);
    if (!known)
        return std::nullopt;
    if (line.level.empty()) // raw: the message tells its level
        line.level = std::string(1, known->level);
    return line;
}

kohost::LogLine withIds(kohost::LogLine line, int64_t timeNs, int pid, int tid)
{
    line.timeNs = timeNs;
    line.pid = pid;
    line.tid = tid;
    return line;
}

// threadtime: "[UID] PID TID L TAG: message", after the time.
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
    return withIds(kohost::parseAndroidLine(std::string(level), c.text), timeNs, *pid, *tid);
}

// brief, time and tag: "L/TAG( [UID:]PID): message" and "L/TAG: message".
std::optional<kohost::LogLine> readSlashed(Cursor c, int64_t timeNs)
{
    const std::string_view level = c.text.substr(0, 1);
    if (!isLevel(level) || c.text.substr(1, 1) != "/" || c.text.substr(2, kTag.size()) != kTag)
        return std::nullopt;
    c.text.remove_prefix(2 + kTag.size());
    c.skipBlanks();
    int pid = kUnknownId;
    if (c.take('(')) {
        const size_t close = c.text.find(')');
        auto ids = close == std::string_view::npos ? std::nullopt : readIds(c.text.substr(0, close), 1);
        if (!ids)
            return std::nullopt;
        pid = ids->front();
        c.text.remove_prefix(close + 1);
    }
    if (!c.take(':'))
        return std::nullopt;
    c.take(' ');
    return withIds(kohost::parseAndroidLine(std::string(level), c.text), timeNs, pid, kUnknownId);
}

// process and thread: "L( [UID:]PID) message  (TAG)" and "L( [UID:]PID: TID) message".
std::optional<kohost::LogLine> readParenthesised(Cursor c, int64_t timeNs)
{
    const std::string_view level = c.text.substr(0, 1);
    if (!isLevel(level) || c.text.substr(1, 1) != "(")
        return std::nullopt;
    const size_t close = c.text.find(')');
    if (close == std::string_view::npos || c.text.substr(close, 2) != ") ")
        return std::nullopt;
    const std::string_view inside = c.text.substr(2, close - 2);
    std::string_view message = c.text.substr(close + 2);
    constexpr std::string_view kProcessEnd = "  (KoAlgoEngine)";
    if (message.size() >= kProcessEnd.size() && message.substr(message.size() - kProcessEnd.size()) == kProcessEnd) {
        auto ids = readIds(inside, 1);
        if (!ids)
            return std::nullopt;
        message.remove_suffix(kProcessEnd.size());
        return withIds(kohost::parseAndroidLine(std::string(level), message), timeNs, ids->front(), kUnknownId);
    }
    auto ids = readIds(inside, 2);
    auto line = ids ? pluginMessage(level, message) : std::nullopt;
    if (!line)
        return std::nullopt;
    return withIds(std::move(*line), timeNs, (*ids)[0], (*ids)[1]);
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
    kohost::LogLine line = kohost::parseAndroidLine(std::string(level), message);
    line.output = kohost::LogOutput::System;
    return line;
}

// long's header: "[ TIME [ZONE] [UID:] PID: TID L/TAG ]"; the message lines
// follow it up to a blank line. Any tag's header: the tag is checked by the caller.
std::optional<kohost::LogLine> readLongHeader(std::string_view text, std::string_view &tag)
{
    Cursor c{text};
    if (!c.take('[') || !c.take(' ') || text.size() < 4 || text.substr(text.size() - 2) != " ]")
        return std::nullopt;
    c.text.remove_suffix(2);
    auto timeNs = readTime(c);
    std::string_view stamp = text.substr(2, text.size() - 4 - c.text.size());
    const size_t slash = c.text.rfind('/');
    if (!timeNs || slash == std::string_view::npos || slash < 2 || !isLevel(c.text.substr(slash - 1, 1)) ||
        c.text[slash - 2] != ' ')
        return std::nullopt;
    auto ids = readIds(c.text.substr(0, slash - 2), 2);
    if (!ids)
        return std::nullopt;
    tag = c.text.substr(slash + 1);
    while (!tag.empty() && tag.back() == ' ')
        tag.remove_suffix(1);
    kohost::LogLine header;
    header.level = std::string(c.text.substr(slash - 1, 1));
    while (!stamp.empty() && stamp.back() == ' ')
        stamp.remove_suffix(1);
    header.timeText = std::string(stamp);
    return withIds(std::move(header), *timeNs, (*ids)[0], (*ids)[1]);
}

// -v color: escape sequences around the line, or inside it (process).
std::string_view withoutColour(std::string_view text, std::string &buffer)
{
    if (text.find('\x1b') == std::string_view::npos)
        return text;
    buffer.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\x1b' && i + 1 < text.size() && text[i + 1] == '[') {
            const size_t end = text.find_first_of("ABCDEFGHJKSTfmnsu", i + 2);
            if (end != std::string_view::npos) {
                i = end;
                continue;
            }
        }
        buffer += text[i];
    }
    return buffer;
}

// Whether a line may be the plug-in's at all: one or two searches, so that
// the other lines of a bug report cost next to nothing.
bool mayBeThePlugins(std::string_view text)
{
    return (!text.empty() && (text.front() == '[' || text.front() == '\x1b')) || text.find(kTag) != std::string_view::npos ||
           text.find("ZSLSelector") != std::string_view::npos;
}

} // namespace

std::optional<kohost::LogLine> DeviceLogReader::read(std::string_view text, uint64_t number)
{
    if (!mLong && !mayBeThePlugins(text)) { // most lines of a log: neither the plug-in's nor naming its tag
        mUnderstood = false;
        return std::nullopt;
    }
    auto line = readLine(text);
    if (!line && !mUnderstood && text.find(kTag) != std::string_view::npos && mUnread++ == 0)
        mFirstUnread = number;
    return line;
}

std::optional<kohost::LogLine> DeviceLogReader::readLine(std::string_view text)
{
    mUnderstood = false;
    if (!text.empty() && text.back() == '\r')
        text.remove_suffix(1);
    if (mLong) { // inside a long entry: its message lines, up to a blank line
        if (text.empty()) {
            mLong.reset();
            return std::nullopt;
        }
        if (!mLong->ours)
            return std::nullopt;
        std::string buffer;
        kohost::LogLine line = kohost::parseAndroidLine(mLong->header.level, withoutColour(text, buffer));
        line.timeText = mLong->header.timeText;
        return withIds(std::move(line), mLong->header.timeNs, mLong->header.pid, mLong->header.tid);
    }
    if (!mayBeThePlugins(text))
        return std::nullopt;
    std::string buffer;
    text = withoutColour(text, buffer);
    if (!text.empty() && text.front() == '[') {
        std::string_view tag;
        if (auto header = readLongHeader(text, tag)) {
            mLong.emplace(Long{std::move(*header), tag == kTag});
            mUnderstood = true;
            return std::nullopt;
        }
        return readSystemLog(text);
    }
    Cursor c{text};
    const std::optional<int64_t> timeNs = readTime(c, mReportYear, mReportMonth);
    std::string_view stamp = text.substr(0, text.size() - c.text.size());
    while (!stamp.empty() && stamp.back() == ' ')
        stamp.remove_suffix(1);
    c.skipBlanks();
    std::optional<kohost::LogLine> line;
    if (timeNs)
        line = readThreadtime(c, *timeNs);
    if (!line)
        line = readSlashed(c, timeNs.value_or(0));
    if (!line)
        line = readParenthesised(c, timeNs.value_or(0));
    if (!line && !timeNs) // raw: the message alone
        if ((line = pluginMessage("", text)))
            line = withIds(std::move(*line), 0, kUnknownId, kUnknownId);
    if (line)
        line->timeText = std::string(stamp);
    return line;
}

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
    const std::string message = line.group + " " + line.fileName + ":" + std::to_string(line.line) + " " +
                                line.function + "()" + line.text;
    const std::string letters = "VDIWEF";
    const size_t level = letters.find(line.level);
    AndroidLogEntry entry{};
    entry.tv_sec = static_cast<time_t>(line.timeNs / 1000000000);
    entry.tv_nsec = static_cast<long>(line.timeNs % 1000000000);
    entry.priority = static_cast<android_LogPriority>(ANDROID_LOG_VERBOSE + (level == std::string::npos ? 0 : level));
    entry.pid = line.pid;
    entry.tid = line.tid;
    entry.tag = kTag.data();
    entry.tagLen = kTag.size();
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

std::optional<kohost::LogLine> readDeviceLogLine(std::string_view text)
{
    return DeviceLogReader().read(text, 1);
}

bool forEachLine(const ByteReader &read, const std::function<bool(std::string_view, uint64_t)> &line,
                 const std::function<void(const std::string &)> &problem, const LineFilter *filter)
{
    // Page-aligned, and small enough to stay in the cache between the
    // kernel's copy and the line search; not cleared: the reader fills it.
    const std::unique_ptr<char, void (*)(void *)> block(static_cast<char *>(std::aligned_alloc(4096, kBlockBytes)),
                                                        std::free);
    std::string carried; // the start of a line that crosses a block's end
    bool skipping = false; // inside a line too long to keep
    bool wantNext = false;
    uint64_t number = 0;
    std::vector<const char *> nextMark(filter ? filter->marks.size() : 0); // in the block, at or after a line's start
    std::array<bool, 256> startsWanted{}; // a look-up, not a search, on every line
    for (char c : filter ? filter->starts : std::string_view())
        startsWanted[static_cast<unsigned char>(c)] = true;
    auto wanted = [&](std::string_view text, const char *start, const char *end) {
        if (!filter || wantNext || (!text.empty() && startsWanted[static_cast<unsigned char>(text.front())]))
            return true;
        for (size_t i = 0; i < nextMark.size(); ++i) {
            if (!start) { // a line carried across blocks: searched whole
                if (text.find(filter->marks[i]) != std::string_view::npos)
                    return true;
                continue;
            }
            if (nextMark[i] < start) {
                const auto at = std::string_view(start, static_cast<size_t>(end - start)).find(filter->marks[i]);
                nextMark[i] = at == std::string_view::npos ? end : start + at;
            }
            if (nextMark[i] < start + text.size())
                return true;
        }
        return false;
    };
    long got;
    while ((got = read(block.get(), kBlockBytes)) > 0) {
        const char *at = block.get();
        const char *end = at + got;
        std::fill(nextMark.begin(), nextMark.end(), nullptr);
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
            ++number;
            if (skipping) {
                problem("line " + std::to_string(number) + " is longer than " + std::to_string(kMaxLineBytes) +
                        " bytes and was passed over");
                wantNext = line({}, number);
                skipping = false;
            } else if (!carried.empty()) {
                carried.append(at, newline);
                if (wanted(carried, nullptr, end))
                    wantNext = line(carried, number);
                carried.clear();
            } else if (const std::string_view text(at, static_cast<size_t>(newline - at)); wanted(text, at, end)) {
                wantNext = line(text, number);
            }
            at = newline + 1;
        }
    }
    if (got < 0)
        return false;
    // A line cut by the end may have lost any part of its text: not guessed at.
    if (skipping || !carried.empty())
        problem("the log ends in the middle of line " + std::to_string(number + 1) + ", which is left out");
    return true;
}

const LineFilter &DeviceLogReader::filter()
{
    static const LineFilter kFilter{{kTag, "ZSLSelector"}, "[\x1b"};
    return kFilter;
}

void DeviceLogReader::finish(const std::function<void(const std::string &)> &problem)
{
    if (mUnread)
        problem(std::to_string(mUnread) + (mUnread == 1 ? " line names" : " lines name") + " the tag " +
                std::string(kTag) + " in a format this reader does not know (the first is line " +
                std::to_string(mFirstUnread) + "); every format of logcat -v is read");
    mUnread = 0;
}

ByteReader streamReader(std::FILE *stream)
{
    return [stream](char *buffer, size_t size) -> long {
        const size_t got = std::fread(buffer, 1, size, stream);
        return got == 0 && std::ferror(stream) ? -1 : static_cast<long>(got);
    };
}

bool readDeviceLog(std::FILE *stream, const std::function<void(kohost::LogLine, uint64_t)> &line,
                   const std::function<void(const std::string &)> &problem)
{
    DeviceLogReader reader;
    const bool read = forEachLine(
        streamReader(stream),
        [&](std::string_view text, uint64_t number) {
            if (auto ours = reader.read(text, number))
                line(std::move(*ours), number);
            return reader.inLongEntry();
        },
        problem, &DeviceLogReader::filter());
    reader.finish(problem);
    return read;
}

} // namespace replay
