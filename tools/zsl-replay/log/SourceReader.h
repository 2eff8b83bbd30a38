#pragma once
/*
 * SourceReader: one input's lines, from all its sources (a file, a zip's
 * entries, a gzip stream), into the importer. A source is told by its first
 * bytes (gzip, unpacked and told again; a Perfetto trace; other binary data,
 * refused; text). In a bug report's text only the log sections count
 * (SYSTEM LOG, both of dumpstate's copies, LAST LOGCAT), and its header says
 * where and when it was taken; a plug-in line that several copies hold is
 * handed over once (CopyFilter).
 */

#include "log/CopyFilter.h"
#include "log/LineParser.h"
#include "log/LineSplitter.h"
#include "log/LogInput.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace zsl::log {

class SourceReader {
public:
    using Problem = std::function<void(const std::string &)>;

    SourceReader(const std::function<void(kohost::LogLine &&, uint64_t)> &line, const Problem &problem,
                 LogOrigin &origin);

    // Any source, told by its first bytes (`head`, already read from `in`):
    // gzip, unpacked and told again; a Perfetto trace; binary data of
    // another kind, refused; or text.
    void content(std::string head, const ByteReader &in, const std::string &what);

    // A Perfetto trace: its android.log entries. `head` as for content().
    // False when it holds no log.
    bool trace(std::string head, const ByteReader &in, const std::string &what);

    // A zip's entries may hold the same lines (logd's files, the report).
    void severalSources() { mSeveralSources = true; }
    // The report's first lines, read ahead of logs that come before it:
    // each capture is handed over with the device and time it came from.
    void expectOrigin(std::string_view head);
    // Plug-in lines handed over so far.
    uint64_t handedOver() const { return mHandedOver; }
    void problem(const std::string &text) { mProblem(text); }

private:
    // A text source, line by line.
    void text(std::string head, const ByteReader &in, const std::string &what);

    // The source's bytes, `head` first: it was read to tell what the source is.
    static ByteReader withHead(std::string &head, const ByteReader &in);

    // True while the next line is wanted whatever it holds.
    bool line(std::string_view text, uint64_t number);

    // A bug report's own lines: its header, and the lines that open and
    // close its sections ("------ NAME (command) ------", "------ 0.1s was
    // the duration of 'NAME' ------"). True when the line is one of them.
    bool section(std::string_view text);

    void applyReportDate();

    void startCopy() { mCopies.startCopy(); }
    void endCopy() { mCopies.endCopy(); }
    bool firstCopy(const kohost::LogLine &line);

    const std::function<void(kohost::LogLine &&, uint64_t)> &mLine;
    const Problem &mProblem;
    LogOrigin &mOrigin;
    LineParser mReader;
    bool mReport = false, mInLogSection = true;
    bool mSeveralSources = false; // a zip's entries
    uint64_t mHandedOver = 0;
    CopyFilter mCopies;
};

} // namespace zsl::log
