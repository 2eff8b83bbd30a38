#pragma once
/*
 * DeviceLog: the plug-in's lines as a device's log shows them, both ways.
 * Writing: a line as `adb logcat -v ...` prints it, through liblog's own
 * formatter. Reading: a log in every format logcat writes (threadtime,
 * long, thread, time, brief, process, tag, raw, with any of its modifiers:
 * color, usec, nsec, printable, year, zone, epoch, monotonic, uid,
 * descriptive), the host's system-log lines on standard error, read as a
 * stream in large blocks. A line is the plug-in's by its tag, or, where the
 * format names none (thread, raw), by its message being one the plug-in
 * writes; a line naming the tag in any other shape is counted as a problem.
 * Every other line is passed over; with the reader's LineFilter, at the
 * cost of finding its end.
 */

#include <LogRecorder.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace replay {

// A process or thread id the line's format does not show (brief, time and
// process show no thread; tag and raw no process either).
constexpr int kUnknownId = -1;

// logcat's format words ("threadtime", "long,uid", ...), checked: false and
// the word that is not one in `bad`.
bool isLogcatFormat(const std::string &words, std::string &bad);

// A line as `adb logcat -v words` prints it (a long entry takes three lines
// and ends with a newline; the others end without one), with the time on the
// line's own clock (timeNs, formatted in UTC).
std::string logcatLine(const kohost::LogLine &line, const std::string &words = "threadtime");

// Reads a byte stream: the bytes read into buffer (at most size), 0 at its
// end, -1 on an error.
using ByteReader = std::function<long(char *buffer, size_t size)>;

// A stdio stream's bytes.
ByteReader streamReader(std::FILE *stream);

// Which lines a reader wants handed over: those holding one of `marks`,
// those starting with one of `starts`, and each line after one for which it
// answered true. The marks are searched block by block, so that the lines
// passed over cost little more than finding their ends.
struct LineFilter {
    std::vector<std::string_view> marks;
    std::string_view starts;
};

// Splits a byte stream into lines, block by block: memory stays one block
// and one line, whatever the stream's size. Each line comes with its number;
// without a filter, every line. A line longer than any log line is reported
// to `problem` and handed over empty; a line cut by the end is reported and
// left out. False when the stream reports an error.
bool forEachLine(const ByteReader &read, const std::function<bool(std::string_view, uint64_t)> &line,
                 const std::function<void(const std::string &)> &problem, const LineFilter *filter = nullptr);

// Reads a log line after line: a long entry's header and message come on
// separate lines. Each plug-in line comes back with its time (nanoseconds,
// only for ordering and spacing), process and thread (kUnknownId where the
// format shows none). Lines that name the tag in a shape not read are
// counted, and reported by finish().
class DeviceLogReader {
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
    struct Long {
        kohost::LogLine header;
        bool ours;
    };
    std::optional<Long> mLong; // inside a long entry
    bool mUnderstood = false;
    int mReportYear = 0, mReportMonth = 0;
    uint64_t mUnread = 0, mFirstUnread = 0;
};

// One line read alone (no long entry).
std::optional<kohost::LogLine> readDeviceLogLine(std::string_view text);

// Reads a whole log from a stream and hands each of the plug-in's lines with
// its line number to `line`, and each problem of the log itself to
// `problem`. False when the stream cannot be read.
bool readDeviceLog(std::FILE *stream, const std::function<void(kohost::LogLine, uint64_t)> &line,
                   const std::function<void(const std::string &)> &problem);

} // namespace replay
