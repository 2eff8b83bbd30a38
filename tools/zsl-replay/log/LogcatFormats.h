#pragma once
/*
 * LogcatFormats: one reader per shape of line that logcat -v writes
 * (threadtime, brief/time/tag, process/thread, long's header, raw) and the
 * host's system log, each giving the plug-in's line as a typed record: the
 * time as printed and as a key, process, thread, level, tag's message. They
 * scan without regular expressions or backtracking, so a line of any length
 * costs linear time. Which reader a line goes to is LineParser's choice.
 */

#include "messages/PluginMessages.h"

#include <LogRecorder.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zsl::log {

constexpr std::string_view kTag = messages::kPluginTag;

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

// A line's time, in whichever of logcat's clocks it is written, as a key in
// ns that orders and spaces the lines of one log; the zone (-v zone) is
// passed over. Lines without a year take the bug report's.
std::optional<int64_t> readTime(Cursor &c, int reportYear = 0, int reportMonth = 0);

// After the time: threadtime's "[UID] PID TID L TAG: message".
std::optional<kohost::LogLine> readThreadtime(Cursor c, int64_t timeNs);
// brief, time and tag: "L/TAG( [UID:]PID): message" and "L/TAG: message".
std::optional<kohost::LogLine> readSlashed(Cursor c, int64_t timeNs);
// process and thread: "L( [UID:]PID) message  (TAG)" and "L( [UID:]PID: TID) message".
std::optional<kohost::LogLine> readParenthesised(Cursor c, int64_t timeNs);
// raw, and a long entry's message line: the plug-in's message alone, told
// by the reader's table of messages.
std::optional<kohost::LogLine> pluginMessage(std::string_view level, std::string_view message);
// The host's system log on standard error: "[ZSL] L file:line function() text".
std::optional<kohost::LogLine> readSystemLog(std::string_view text);
// long's header: "[ TIME [ZONE] [UID:] PID: TID L/TAG ]", any tag's (`tag`).
std::optional<kohost::LogLine> readLongHeader(std::string_view text, std::string_view &tag);
// -v color: the line without its escape sequences (kept in `buffer` if any).
std::string_view withoutColour(std::string_view text, std::string &buffer);
// Whether a line may be the plug-in's at all: a look at its first character
// and one or two searches.
bool mayBeThePlugins(std::string_view text);

kohost::LogLine withIds(kohost::LogLine line, int64_t timeNs, int pid, int tid);

} // namespace zsl::log
