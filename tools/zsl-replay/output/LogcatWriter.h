#pragma once
/*
 * LogcatWriter: the plug-in's Android-log lines written as `adb logcat -v
 * WORDS` shows them, by liblog's own formatter, so that a replay's lines
 * read exactly as a device's and the log reader is tested on the real
 * shapes.
 */

#include <LogRecorder.h>

#include <string>

namespace zsl::output {

// logcat's format words ("threadtime", "long,uid", ...), checked: false and
// the word that is not one in `bad`.
bool isLogcatFormat(const std::string &words, std::string &bad);

// A line as `adb logcat -v words` prints it (a long entry takes three lines
// and ends with a newline; the others end without one), with the time on the
// line's own clock (timeNs, formatted in UTC).
std::string logcatLine(const kohost::LogLine &line, const std::string &words = "threadtime");

// Any tag's entry, formatted the same way ("D", "I"... as level).
std::string logcatEntry(const std::string &tag, const kohost::LogLine &line, const std::string &message,
                        const std::string &words = "threadtime");

} // namespace zsl::output
