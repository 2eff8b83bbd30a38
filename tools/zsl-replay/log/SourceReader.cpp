// Reading one input's sources: content told by its first bytes, text line
// by line, a bug report's sections and header.

#include "log/SourceReader.h"

#include "log/ContentKind.h"
#include "log/Gunzip.h"
#include "log/PerfettoLog.h"
#include "outcome/Error.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace zsl::log {

using outcome::Error;
using perfetto::looksLikeTrace;

namespace {

// A bug report's header line that tells where and when it was taken
// ("== dumpstate: TIME", "Build fingerprint: 'FINGERPRINT'", the first
// one), read into `origin`; false for any other line.
bool originLine(std::string_view text, LogOrigin &origin)
{
    if (text.rfind("== dumpstate: ", 0) == 0) {
        origin.reportTime = std::string(text.substr(14, 19));
        return true;
    }
    if (!origin.fingerprint.empty() || text.rfind("Build fingerprint: ", 0) != 0)
        return false;
    std::string_view value = text.substr(19);
    if (value.size() >= 2 && value.front() == '\'' && value.back() == '\'')
        value = value.substr(1, value.size() - 2);
    origin.fingerprint = std::string(value);
    return true;
}

} // namespace

SourceReader::SourceReader(const std::function<void(kohost::LogLine &&, uint64_t)> &line, const Problem &problem,
                           LogOrigin &origin)
    : mLine(line), mProblem(problem), mOrigin(origin)
{
}

void SourceReader::content(std::string head, const ByteReader &in, const std::string &what)
{
    if (isGzip(head)) {
        const ByteReader whole = withHead(head, in);
        Gunzip gunzip(whole, what);
        const ByteReader unpacked = [&gunzip](char *b, size_t s) { return gunzip.read(b, s); };
        content(readHead(unpacked, kHeadBytes, what), unpacked, what);
    } else if (looksLikeTrace(head)) {
        if (!trace(std::move(head), in, what))
            throw Error(what + ": a Perfetto trace without android.log packets: it holds no log (record it with "
                               "the android.log data source)");
    } else if (isBinary(head)) {
        throw NotALog(what + ": not a log: binary data that is neither a zip, gzip nor a Perfetto trace");
    } else {
        text(std::move(head), in, what);
    }
}

bool SourceReader::trace(std::string head, const ByteReader &in, const std::string &what)
{
    return readPerfettoLog(withHead(head, in), what, [&](kohost::LogLine line, uint64_t number) {
        ++mHandedOver;
        mLine(std::move(line), number);
    });
}

void SourceReader::expectOrigin(std::string_view head)
{
    for (size_t at = 0, end; at < head.size(); at = end + 1) {
        end = std::min(head.find('\n', at), head.size());
        std::string_view text = head.substr(at, end - at);
        if (!text.empty() && text.back() == '\r')
            text.remove_suffix(1);
        originLine(text, mOrigin);
    }
}

void SourceReader::text(std::string head, const ByteReader &in, const std::string &what)
{
    startCopy();
    mReader = LineParser();
    applyReportDate();
    // A bug report's header and section lines start with '=', 'B' and '-'.
    static const std::string kStarts = std::string(LineParser::filter().starts) + "=B-";
    static const LineFilter kFilter{LineParser::filter().marks, kStarts};
    forEachLine(
        withHead(head, in), [&](std::string_view line, uint64_t number) { return this->line(line, number); }, mProblem,
        what, &kFilter);
    mReader.finish(mProblem);
    endCopy();
}

ByteReader SourceReader::withHead(std::string &head, const ByteReader &in)
{
    return [&head, &in](char *buffer, size_t size) -> long {
        if (head.empty())
            return in(buffer, size);
        const size_t n = std::min(size, head.size());
        std::memcpy(buffer, head.data(), n);
        head.erase(0, n);
        return static_cast<long>(n);
    };
}

bool SourceReader::line(std::string_view text, uint64_t number)
{
    if (section(text))
        return false;
    if (mReport && !mInLogSection)
        return false;
    if (auto ours = mReader.read(text, number))
        if (firstCopy(*ours)) {
            ++mHandedOver;
            mLine(std::move(*ours), number);
        }
    return mReader.inLongEntry();
}

bool SourceReader::section(std::string_view text)
{
    if (text.empty() || (text[0] != '=' && text[0] != 'B' && text[0] != '-')) // most lines, at one compare
        return false;
    if (text.back() == '\r')
        text.remove_suffix(1);
    if (text.rfind("== dumpstate: ", 0) == 0) {
        mReport = true;
        mInLogSection = false;
        originLine(text, mOrigin);
        applyReportDate();
        return true;
    }
    if (mReport && originLine(text, mOrigin))
        return true;
    if (!mReport || text.rfind("------ ", 0) != 0 || text.size() < 14 || text.substr(text.size() - 7) != " ------")
        return false;
    if (text.find(" was the duration of '") != std::string_view::npos) {
        if (mInLogSection)
            endCopy();
        mInLogSection = false;
        return true;
    }
    if (mInLogSection)
        endCopy();
    mInLogSection = text.rfind("------ SYSTEM LOG ", 0) == 0 || text.rfind("------ LAST LOGCAT ", 0) == 0;
    if (mInLogSection) {
        startCopy();
        mReader = LineParser();
        applyReportDate();
    }
    return true;
}

void SourceReader::applyReportDate()
{
    int year = 0, month = 0;
    if (std::sscanf(mOrigin.reportTime.c_str(), "%4d-%2d", &year, &month) == 2)
        mReader.setReportDate(year, month);
}

bool SourceReader::firstCopy(const kohost::LogLine &line)
{
    return (!mReport && !mSeveralSources) || mCopies.isNew(line); // a plain log is its only copy
}

} // namespace zsl::log
