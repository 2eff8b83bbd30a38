// Reading the containers a device's log arrives in. Each text source (a
// file, a zip entry, a gzip stream) is split into lines once; a bug
// report's sections decide which lines count; each copy of the log is
// compared with the copies before it, so that a line dumpstate wrote twice
// is handed over once.
// Over 400 lines: gzip, the zip walk, spooling standard input and the bug
// report's sections share one Reading; they part into containers and
// sections with the split into one stage per file (the issue on typed facts).

#include "log/LogInput.h"

#include "log/CopyFilter.h"
#include "log/LineParser.h"
#include "log/PerfettoLog.h"
#include "outcome/Error.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <zip.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace zsl::log {

using namespace zsl::outcome;
using perfetto::looksLikeTrace;

namespace {

using Problem = std::function<void(const std::string &)>;

// Compressed data that expands beyond this much, and more than kBombRatio
// times its compressed size, is not a log: logs compress some 5 to 20 times.
constexpr uint64_t kBombBytes = uint64_t(64) << 20;
constexpr uint64_t kBombRatio = 100;
constexpr std::string_view kPersistentLogs = "FS/data/misc/logd/";
// The first bytes that tell a file's content: a container's magic number, a
// Perfetto trace's first packet, or text.
constexpr size_t kHeadBytes = 4096;
// A bug report's header lines are in its first few KiB.
constexpr size_t kOriginBytes = 64 << 10;

// A damaged or overexpanding container ends the whole input with one
// line: an outcome::Error thrown where it is found.

void checkExpansion(uint64_t expanded, uint64_t compressed, const std::string &what)
{
    if (expanded > kBombBytes && expanded / kBombRatio > compressed)
        throw Error(what + " expands to more than " + std::to_string(kBombRatio) + " times its compressed size (past " +
                    std::to_string(kBombBytes >> 20) + " MiB): not a log (a zip bomb?)");
}

// gzip through zlib, over any byte stream; several members in a row too.
class Gunzip {
public:
    Gunzip(ByteReader in, std::string what) : mIn(std::move(in)), mWhat(std::move(what))
    {
        if (inflateInit2(&mZ, 16 + MAX_WBITS) != Z_OK)
            throw Error(mWhat + ": zlib cannot start");
    }
    ~Gunzip() { inflateEnd(&mZ); }
    Gunzip(const Gunzip &) = delete;
    Gunzip &operator=(const Gunzip &) = delete;

    long read(char *out, size_t size)
    {
        mZ.next_out = reinterpret_cast<Bytef *>(out);
        mZ.avail_out = static_cast<uInt>(size);
        while (mZ.avail_out == size && !mDone) {
            if (mZ.avail_in == 0) {
                const long got = mIn(mBuffer, sizeof mBuffer);
                if (got < 0)
                    return -1;
                if (got == 0) {
                    if (!mBetweenMembers)
                        throw Error(mWhat + ": the gzip data is cut short");
                    mDone = true;
                    break;
                }
                mZ.next_in = reinterpret_cast<Bytef *>(mBuffer);
                mZ.avail_in = static_cast<uInt>(got);
                mCompressed += static_cast<uint64_t>(got);
            }
            mBetweenMembers = false;
            const int status = inflate(&mZ, Z_NO_FLUSH);
            if (status == Z_STREAM_END) {
                mBetweenMembers = true;
                inflateReset(&mZ);
            } else if (status != Z_OK && status != Z_BUF_ERROR) {
                throw Error(mWhat + ": damaged gzip data (" + (mZ.msg ? mZ.msg : "zlib error") + ")");
            }
        }
        const long produced = static_cast<long>(size - mZ.avail_out);
        mExpanded += static_cast<uint64_t>(produced);
        checkExpansion(mExpanded, mCompressed, mWhat);
        return produced;
    }

private:
    ByteReader mIn;
    std::string mWhat;
    z_stream mZ{};
    char mBuffer[1 << 16];
    uint64_t mCompressed = 0, mExpanded = 0;
    bool mBetweenMembers = true, mDone = false;
};

bool isGzip(std::string_view head)
{
    return head.size() >= 2 && static_cast<unsigned char>(head[0]) == 0x1f &&
           static_cast<unsigned char>(head[1]) == 0x8b;
}

bool isZip(std::string_view head)
{
    return head.substr(0, 4) == std::string_view("PK\x03\x04", 4) ||
           head.substr(0, 4) == std::string_view("PK\x05\x06", 4);
}

// A binary file's first bytes: a NUL (logcat ends a message at one), or
// many of the other bytes no text holds.
bool isBinary(std::string_view head)
{
    if (head.find('\0') != std::string_view::npos)
        return true;
    return static_cast<size_t>(std::count_if(head.begin(), head.end(), perfetto::binaryByte)) * 10 > head.size();
}

// A zip entry that may be a Perfetto trace, by the names the device and
// its tools give them.
bool traceEntryName(std::string_view name)
{
    auto endsWith = [&](std::string_view end) {
        return name.size() > end.size() && name.substr(name.size() - end.size()) == end;
    };
    return endsWith(".pftrace") || endsWith(".perfetto-trace") || endsWith(".perfetto") ||
           name.find("perfetto-traces/") != std::string_view::npos;
}

// The first `size` bytes of a stream, or all it has: a pipe may hand them
// over one by one.
std::string readHead(const ByteReader &in, size_t size, const std::string &what)
{
    std::string head(size, '\0');
    size_t got = 0;
    while (got < size) {
        const long more = in(head.data() + got, size - got);
        if (more < 0)
            throw Error("cannot read " + what + ": " + std::strerror(errno));
        if (more == 0)
            break;
        got += static_cast<size_t>(more);
    }
    head.resize(got);
    return head;
}

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

// One input's lines, from all its sources, into the importer.
class Reading {
public:
    Reading(const std::function<void(kohost::LogLine, uint64_t)> &line, const Problem &problem, LogOrigin &origin)
        : mLine(line), mProblem(problem), mOrigin(origin)
    {
    }

    // Any source, told by its first bytes (`head`, already read from `in`):
    // gzip, unpacked and told again; a Perfetto trace; binary data of
    // another kind, refused; or text.
    void content(std::string head, const ByteReader &in, const std::string &what)
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

    // A Perfetto trace: its android.log entries. `head` as for source().
    // False when it holds no log.
    bool trace(std::string head, const ByteReader &in, const std::string &what)
    {
        return readPerfettoLog(withHead(head, in), what, [&](kohost::LogLine line, uint64_t number) {
            ++mHandedOver;
            mLine(std::move(line), number);
        });
    }

    // A zip's entries may hold the same lines (logd's files, the report).
    void severalSources() { mSeveralSources = true; }
    // The report's first lines, read ahead of logs that come before it:
    // each capture is handed over with the device and time it came from.
    void expectOrigin(std::string_view head)
    {
        for (size_t at = 0, end; at < head.size(); at = end + 1) {
            end = std::min(head.find('\n', at), head.size());
            std::string_view text = head.substr(at, end - at);
            if (!text.empty() && text.back() == '\r')
                text.remove_suffix(1);
            originLine(text, mOrigin);
        }
    }
    // Plug-in lines handed over so far.
    uint64_t handedOver() const { return mHandedOver; }
    void problem(const std::string &text) { mProblem(text); }

private:
    // A text source, line by line.
    void text(std::string head, const ByteReader &in, const std::string &what)
    {
        startCopy();
        mReader = LineParser();
        applyReportDate();
        // A bug report's header and section lines start with '=', 'B' and '-'.
        static const std::string kStarts = std::string(LineParser::filter().starts) + "=B-";
        static const LineFilter kFilter{LineParser::filter().marks, kStarts};
        forEachLine(
            withHead(head, in), [&](std::string_view line, uint64_t number) { return this->line(line, number); },
            mProblem, what, &kFilter);
        mReader.finish(mProblem);
        endCopy();
    }

    // The source's bytes, `head` first: it was read to tell what the source is.
    static ByteReader withHead(std::string &head, const ByteReader &in)
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

    // True while the next line is wanted whatever it holds.
    bool line(std::string_view text, uint64_t number)
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

    // A bug report's own lines: its header, and the lines that open and
    // close its sections ("------ NAME (command) ------", "------ 0.1s was
    // the duration of 'NAME' ------"). True when the line is one of them.
    bool section(std::string_view text)
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

    void applyReportDate()
    {
        int year = 0, month = 0;
        if (std::sscanf(mOrigin.reportTime.c_str(), "%4d-%2d", &year, &month) == 2)
            mReader.setReportDate(year, month);
    }

    void startCopy() { mCopies.startCopy(); }
    void endCopy() { mCopies.endCopy(); }
    bool firstCopy(const kohost::LogLine &line)
    {
        return (!mReport && !mSeveralSources) || mCopies.isNew(line); // a plain log is its only copy
    }

    const std::function<void(kohost::LogLine, uint64_t)> &mLine;
    const Problem &mProblem;
    LogOrigin &mOrigin;
    LineParser mReader;
    bool mReport = false, mInLogSection = true;
    bool mSeveralSources = false; // a zip's entries
    uint64_t mHandedOver = 0;
    CopyFilter mCopies;
};

// `head` and the rest of `in` in a file of their own, gone when closed
// (in TMPDIR, else /tmp): its descriptor, at the start.
int spooled(const std::string &head, const ByteReader &in, const std::string &what)
{
    std::FILE *file = std::tmpfile();
    if (!file)
        throw Error(what + ": cannot keep the zip in a temporary file: " + std::strerror(errno));
    auto fail = [&] {
        const std::string why = std::strerror(errno);
        std::fclose(file);
        throw Error(what + ": cannot keep the zip in a temporary file: " + why);
    };
    if (std::fwrite(head.data(), 1, head.size(), file) != head.size())
        fail();
    std::vector<char> block(1 << 16);
    for (long got; (got = in(block.data(), block.size())) != 0;) {
        if (got < 0 || std::fwrite(block.data(), 1, static_cast<size_t>(got), file) != static_cast<size_t>(got))
            fail();
    }
    if (std::fflush(file) != 0)
        fail();
    const int fd = dup(fileno(file));
    std::fclose(file);
    if (fd < 0 || lseek(fd, 0, SEEK_SET) != 0)
        throw Error(what + ": cannot keep the zip in a temporary file: " + std::strerror(errno));
    return fd;
}

// The zip adb bugreport writes: the main entry (named by main_entry.txt, else
// the bugreport-*.txt entry) and logd's persistent logs, oldest first.
// `fd` >= 0: the zip is that open file (given over to libzip), else the file `path`.
void readZip(const std::string &path, int fd, Reading &reading)
{
    int code = 0;
    std::unique_ptr<zip_t, int (*)(zip_t *)> archive(
        fd >= 0 ? zip_fdopen(fd, ZIP_RDONLY, &code) : zip_open(path.c_str(), ZIP_RDONLY, &code), zip_close);
    if (!archive && fd >= 0)
        close(fd);
    if (!archive) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        const std::string text = path + ": not a readable zip (" + zip_error_strerror(&error) + ")";
        zip_error_fini(&error);
        throw Error(text);
    }
    std::string logTrace; // the trace whose log was read
    // An entry's text, or with `trace` its Perfetto trace.
    auto readEntry = [&](zip_int64_t index, bool trace) {
        const std::string name = zip_get_name(archive.get(), static_cast<zip_uint64_t>(index), 0);
        zip_stat_t stat;
        zip_stat_init(&stat);
        zip_stat_index(archive.get(), static_cast<zip_uint64_t>(index), 0, &stat);
        std::unique_ptr<zip_file_t, int (*)(zip_file_t *)> file(
            zip_fopen_index(archive.get(), static_cast<zip_uint64_t>(index), 0), zip_fclose);
        if (!file)
            throw Error(path + ": cannot open " + name + " (" + zip_strerror(archive.get()) + ")");
        const std::string what = path + " (" + name + ")";
        uint64_t expanded = 0;
        ByteReader in = [&](char *buffer, size_t size) -> long {
            const zip_int64_t got = zip_fread(file.get(), buffer, size);
            if (got < 0)
                throw Error(what + ": damaged (" + zip_file_strerror(file.get()) + ")");
            expanded += static_cast<uint64_t>(got);
            checkExpansion(expanded, (stat.valid & ZIP_STAT_COMP_SIZE) ? stat.comp_size : 0, what);
            return static_cast<long>(got);
        };
        std::string head = readHead(in, kHeadBytes, what);
        if (!trace)
            reading.content(std::move(head), in, what);
        else if (!looksLikeTrace(head))
            reading.problem(what + ": not a Perfetto trace, though named as one (passed over)");
        else if (reading.trace(std::move(head), in, what) && reading.handedOver() > 0)
            logTrace = name; // one trace's log is enough: another holds the same entries
    };

    const zip_int64_t entries = zip_get_num_entries(archive.get(), 0);
    std::string mainName;
    if (zip_int64_t index = zip_name_locate(archive.get(), "main_entry.txt", 0); index >= 0) {
        std::unique_ptr<zip_file_t, int (*)(zip_file_t *)> file(
            zip_fopen_index(archive.get(), static_cast<zip_uint64_t>(index), 0), zip_fclose);
        char name[512];
        const zip_int64_t got = file ? zip_fread(file.get(), name, sizeof name) : -1;
        if (got > 0)
            mainName.assign(name, static_cast<size_t>(got));
        while (!mainName.empty() && (mainName.back() == '\n' || mainName.back() == '\r'))
            mainName.pop_back();
    }
    zip_int64_t mainEntry = mainName.empty() ? -1 : zip_name_locate(archive.get(), mainName.c_str(), 0);
    std::vector<std::pair<int, zip_int64_t>> persistent; // (age, index): logcat.NNN is older for a larger NNN
    std::vector<zip_int64_t> traces;
    for (zip_int64_t index = 0; index < entries; ++index) {
        const std::string_view name = zip_get_name(archive.get(), static_cast<zip_uint64_t>(index), 0);
        const std::string_view base = name.substr(name.rfind('/') + 1);
        if (mainEntry < 0 && name.find('/') == std::string_view::npos && base.rfind("bugreport-", 0) == 0 &&
            base.size() > 4 && base.substr(base.size() - 4) == ".txt")
            mainEntry = index;
        if (name.rfind(kPersistentLogs, 0) == 0 && base.rfind("logcat", 0) == 0)
            persistent.emplace_back(base.size() > 7 && base[6] == '.' ? std::atoi(base.data() + 7) : 0, index);
        else if (traceEntryName(name))
            traces.push_back(index);
    }
    if (mainEntry < 0 && persistent.empty() && traces.empty())
        throw Error(path + ": a zip without a bug report or a Perfetto trace (no main_entry.txt, bugreport-*.txt, " +
                    std::string(kPersistentLogs) + " or *.pftrace)");
    std::sort(persistent.rbegin(), persistent.rend());
    if (mainEntry >= 0 && !persistent.empty())
        if (std::unique_ptr<zip_file_t, int (*)(zip_file_t *)> file(
                zip_fopen_index(archive.get(), static_cast<zip_uint64_t>(mainEntry), 0), zip_fclose);
            file) {
            std::string head(kOriginBytes, '\0');
            const zip_int64_t got = zip_fread(file.get(), head.data(), head.size());
            head.resize(got > 0 ? static_cast<size_t>(got) : 0);
            reading.expectOrigin(head);
        }
    for (const auto &[age, index] : persistent)
        readEntry(index, false);
    if (mainEntry >= 0)
        readEntry(mainEntry, false);
    // A trace holds lines the logs (or another trace) may hold too, on
    // another clock, so that no copy can be told: a trace is read only while
    // nothing has given the plug-in's lines. One without a log is passed over.
    for (zip_int64_t index : traces) {
        if (reading.handedOver() == 0) {
            readEntry(index, true);
            continue;
        }
        const std::string name = zip_get_name(archive.get(), static_cast<zip_uint64_t>(index), 0);
        reading.problem(path + " (" + name + "): a Perfetto trace, not read for the plug-in's lines: " +
                        (logTrace.empty() ? "the report's logs hold them" : "they were read from " + logTrace));
    }
}

} // namespace

void readLogInput(const std::string &path, const std::string &name,
                  const std::function<void(kohost::LogLine, uint64_t)> &line,
                  const std::function<void(const std::string &)> &problem, LogOrigin &origin, const LiveReading *live)
{
    const int fd = path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        throw Error("cannot read " + name + ": " + std::strerror(errno));
    const std::unique_ptr<const int, void (*)(const int *)> owned(fd == STDIN_FILENO ? nullptr : &fd,
                                                                  [](const int *open) { close(*open); });
    Reading reading(line, problem, origin);
    {
        // Whatever has arrived: a pipe's lines are read as they are written.
        ByteReader in = [fd, live](char *buffer, size_t size) -> long {
            for (;;) {
                if (live && live->stop && *live->stop)
                    return 0;
                if (live && live->idle) {
                    pollfd ready{fd, POLLIN, 0};
                    const int polled = poll(&ready, 1, 1000);
                    if (polled == 0)
                        live->idle();
                    if (polled <= 0)
                        continue; // quiet, or a signal: look at stop again
                }
                const ssize_t got = read(fd, buffer, size);
                if (got >= 0 || errno != EINTR)
                    return static_cast<long>(got);
            }
        };
        // The first bytes tell the content. A live log is told by its first
        // four: waiting for more would hold its first lines back.
        std::string head = readHead(in, live ? 4 : kHeadBytes, name);
        if (isZip(head)) {
            reading.severalSources();
            // A zip is read by its directory at the end: standard input is kept in a file first.
            readZip(name, fd == STDIN_FILENO ? spooled(head, in, name) : -1, reading);
        } else {
            reading.content(std::move(head), in, name);
        }
    }
}

} // namespace zsl::log
