// A bug report's zip, entry by entry.

#include "log/ZipInput.h"

#include "log/ContentKind.h"
#include "log/Gunzip.h"
#include "log/PerfettoLog.h"
#include "outcome/Error.h"

#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace zsl::log {

using outcome::Error;
using perfetto::looksLikeTrace;

namespace {

// A bug report's header lines are in its first few KiB.
constexpr size_t kOriginBytes = 64 << 10;

} // namespace

// Long: the zip's entries found, ordered and read in one pass over its
// directory (libzip's handles held here).
void readZip(const std::string &path, int fd, SourceReader &reading)
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
        if (persistentLogName(name))
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

} // namespace zsl::log
