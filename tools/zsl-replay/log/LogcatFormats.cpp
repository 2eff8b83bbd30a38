// The shapes of logcat's lines, read with a cursor: no regular expression,
// no backtracking.

#include "log/LogcatFormats.h"

#include "messages/PluginEvent.h"
#include "messages/PluginMessages.h"
#include "outcome/Outcome.h"

#include <algorithm>

namespace zsl::log {

using namespace zsl::outcome;
using namespace zsl::messages;

namespace {

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
    } else if (month > 99) { // a year without its day, or no date at all
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

} // namespace

// A line's time, in whichever of logcat's clocks it is written; the zone
// (-v zone) is passed over: one log is in one zone.
std::optional<int64_t> readTime(Cursor &c, int reportYear, int reportMonth)
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

// The plug-in's message, "group file:line function()text", with the
// reader's table to say it is one: for the formats that name no tag.
std::optional<kohost::LogLine> pluginMessage(std::string_view level, std::string_view message)
{
    kohost::LogLine line = kohost::parseAndroidLine(std::string(level), message);
    if (line.function.empty() || !messages::PluginEvent::keep(line))
        return std::nullopt;
    if (line.level.empty()) // raw: the message tells its level
        line.level = std::string(1, messages::pluginMessages()[static_cast<size_t>(line.message)].level);
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
    // Every way out returns `line`, so that it is made where the caller keeps
    // it: most lines of a log take this way.
    std::optional<kohost::LogLine> line;
    std::string_view words[3];
    size_t count = 0;
    std::string_view level;
    for (;;) {
        std::string_view word = c.word();
        if (word.empty())
            return line;
        if (isLevel(word) && count >= 2) {
            level = word;
            break;
        }
        if (count == 3) // at most uid, pid, tid
            return line;
        words[count++] = word;
    }
    auto pid = asId(words[count - 2]);
    auto tid = asId(words[count - 1]);
    c.skipBlanks();
    if (!pid || !tid || c.text.substr(0, kTag.size()) != kTag)
        return line;
    c.text.remove_prefix(kTag.size());
    c.skipBlanks();
    if (!c.take(':'))
        return line;
    c.take(' ');
    kohost::parseAndroidLine(line.emplace(), level, c.text);
    line->timeNs = timeNs;
    line->pid = *pid;
    line->tid = *tid;
    return line;
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
    static const std::string kProcessEnd = "  (" + std::string(kTag) + ")";
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
    return (!text.empty() && (text.front() == '[' || text.front() == '\x1b')) ||
           text.find(kTag) != std::string_view::npos || text.find(kPluginFileMark) != std::string_view::npos ||
           text.find("chatty") != std::string_view::npos;
}

} // namespace zsl::log
