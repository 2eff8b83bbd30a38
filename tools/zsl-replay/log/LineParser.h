#pragma once
/*
 * LineParser: the plug-in's lines of a device log, line after line, in any
 * of logcat's formats: each line goes to the format reader its shape calls
 * for (LogcatFormats), and a long entry's header and message, which come
 * on separate lines, are joined. Each plug-in line comes back as a typed
 * record with its time (as printed, and as a key for ordering and
 * spacing), process and thread (kUnknownId where the format shows none).
 * Lines that name the tag in a shape not read are counted, and reported by
 * finish().
 */

#include "log/LineSplitter.h"

#include <LogRecorder.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace zsl::log {

class LineParser {
public:
    std::optional<kohost::LogLine> read(std::string_view text, uint64_t lineNumber);
    // Whether the last line read, though not a plug-in line, was understood
    // (a long entry's header).
    bool understood() const { return mUnderstood; }
    // The year and month a bug report was taken: lines without a year take it.
    void setReportDate(int year, int month) { mReportYear = year, mReportMonth = month; }
    void finish(const std::function<void(const std::string &)> &problem);
    // Inside a long entry, whose message lines name neither tag nor plug-in.
    bool inLongEntry() const { return mLong.has_value(); }
    // The lines read() may take: every other line is neither the plug-in's
    // nor a line naming its tag, nor a long entry's header.
    static const LineFilter &filter();

private:
    std::optional<kohost::LogLine> readLine(std::string_view text);
    // A line that opens with its time, or a raw message: most of a log's.
    std::optional<kohost::LogLine> readStamped(std::string_view text);
    // Whether a line (not empty) opens with a header of logcat's: a long
    // entry's, or a timed line of the plug-in's tag.
    static bool hasHeader(std::string_view text);
    struct Long {
        kohost::LogLine header;
        bool ours;
        bool gap = false; // logd's gap marker ("chatty")
    };
    std::optional<Long> mLong; // inside a long entry
    bool mUnderstood = false;
    int mReportYear = 0, mReportMonth = 0;
    uint64_t mUnread = 0, mFirstUnread = 0;
};

// The `message` of a line that is logd's gap marker, not the plug-in's: its
// pid is the process whose lines were dropped (kUnknownId: any).
constexpr int kGapMarker = -2;

// One line read alone (no long entry).
std::optional<kohost::LogLine> parseLogLine(std::string_view text);

// Reads a whole log from a stream and hands each of the plug-in's lines with
// its line number to `line`, and each problem of the log itself to
// `problem`. Throws outcome::Error when the stream cannot be read.
void readDeviceLog(std::FILE *stream, const std::function<void(kohost::LogLine &&, uint64_t)> &line,
                   const std::function<void(const std::string &)> &problem);

} // namespace zsl::log
