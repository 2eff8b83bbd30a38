// Fuzzes the device-log reader: any bytes as a phone's log, a bug report,
// its zip or a gzip file (the seeds hold each), read whole and as a live
// log. Each capture rebuilt from it is reported as text, JSON, SVG,
// Perfetto, capture-table rows (every JSON line must parse back, and CSV
// has one line per row) and the fleet summary, and written as a trace,
// which must read back as a valid trace: what the reader makes of a log is
// never a trace zsl-replay itself would refuse. On a sample of the text
// inputs, the log cut at its middle line is read too: what its first half
// and its second half state of a capture agrees with the whole log.

#include "output/CaptureTable.h"
#include "output/FleetSummary.h"
#include "log/LineParser.h"
#include "log/LiveImporter.h"
#include "log/LogImporter.h"
#include "log/LogInput.h"
#include "outcome/Error.h"
#include "output/Perfetto.h"
#include "output/Report.h"
#include "output/Timeline.h"
#include "replay/TraceReader.h"
#include "output/TraceWriter.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <tuple>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

using namespace zsl::outcome;
using namespace zsl::replay;
using namespace zsl::log;
using namespace zsl::output;

namespace {

// What a capture states, by process, thread and fwkFrame (captures of one
// key seen twice are left out: they cannot be told apart across cuts).
struct Stated {
    std::optional<uint32_t> anchor;
    std::optional<std::vector<uint32_t>> selected, taken;
    std::map<uint32_t, bool> verdicts;
};
using Key = std::tuple<int, int, uint32_t>;

std::map<Key, Stated> statedOf(const std::string &text)
{
    LogImporter importer("part.log");
    std::FILE *stream = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    if (!stream)
        std::abort();
    readDeviceLog(stream, [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); },
                  [](const std::string &) {});
    std::fclose(stream);
    std::map<Key, Stated> stated;
    std::map<Key, int> seen;
    for (const StepOutcome &step : importer.finish().steps) {
        const Key key{step.pid, step.tid, step.fwkFrame};
        if (++seen[key] > 1 || step.mixedThreads) {
            stated.erase(key);
            continue;
        }
        Stated &facts = stated[key];
        facts.anchor = step.anchorFrame;
        if (step.selectRan && step.selectionUnknown.empty() && step.csbegin && step.selectionCaveat.empty())
            facts.selected = step.selectedFrames;
        if (step.requested > 0 && step.takenUnknown.empty() && step.kind == StepKind::Capture)
            facts.taken = step.taken;
        for (const CheckOutcome &check : step.checks)
            if (check.unknown.empty())
                facts.verdicts[check.frame] = check.verdict.first;
    }
    for (const auto &[key, count] : seen)
        if (count > 1)
            stated.erase(key);
    return stated;
}

// No fact a part states is stated otherwise by the whole. Where the whole
// says "not known" a part may state it: an input here is any bytes, and
// the whole may hold later lines that break a call's order (a line
// repeated, garbled into another), which a part cut before them cannot
// see. The tests' damaged logs, cut from whole ones, hold the stricter
// rule: the whole states all that a part states.
void expectNoContradiction(const std::map<Key, Stated> &whole, const std::map<Key, Stated> &part, const char *which)
{
    for (const auto &entry : part) {
        const Stated &facts = entry.second;
        const auto truth = whole.find(entry.first);
        if (truth == whole.end())
            continue; // a capture the whole log leaves out (seen twice, or mixed)
        const uint32_t fwkFrame = std::get<2>(entry.first);
        auto wrong = [which, fwkFrame](const char *fact) {
            std::fprintf(stderr, "the log's %s states %s of fwkFrame %u unlike the whole log\n", which, fact, fwkFrame);
            std::abort();
        };
        if (facts.anchor && truth->second.anchor && truth->second.anchor != facts.anchor)
            wrong("the anchor");
        if (facts.selected && truth->second.selected && truth->second.selected != facts.selected)
            wrong("the frames selected");
        if (facts.taken && truth->second.taken && truth->second.taken != facts.taken)
            wrong("the frames taken");
        for (const auto &[frame, accepted] : facts.verdicts)
            if (truth->second.verdicts.count(frame) && truth->second.verdicts.at(frame) != accepted)
                wrong("a verdict");
    }
}

// The property on a text log cut at its middle line; a sample of inputs,
// as reading the log three more times costs.
void checkCuts(const uint8_t *data, size_t size)
{
    if (size < 2 || (data[0] * 31u + size) % 4 != 0 || std::memchr(data, 0, std::min<size_t>(size, 4096)) ||
        (data[0] == 0x1f && data[1] == 0x8b) || (data[0] == 'P' && data[1] == 'K'))
        return;
    const std::string text(reinterpret_cast<const char *>(data), size);
    size_t lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    if (lines < 2)
        return;
    size_t at = 0;
    for (size_t line = 0; line < lines / 2; ++line)
        at = text.find('\n', at) + 1;
    const std::map<Key, Stated> whole = statedOf(text);
    expectNoContradiction(whole, statedOf(text.substr(0, at)), "first half");
    expectNoContradiction(whole, statedOf(text.substr(at)), "second half");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    checkCuts(data, size);
    // In memory, under a path: libzip opens a zip by its name.
    const int fd = memfd_create("fuzz-log", 0);
    if (fd < 0 || write(fd, data, size) != static_cast<ssize_t>(size))
        std::abort();
    LogImporter importer("fuzz.log");
    // The same lines with each capture handed over once complete: the same captures.
    std::vector<StepOutcome> handed;
    LogImporter streaming("fuzz.log", [&](SessionOutcome &, StepOutcome &step) { handed.push_back(step); });
    std::ostringstream out;
    LiveImporter live("fuzz.log", [&](SessionOutcome capture, const std::vector<std::string> &) {
        writeText(out, capture, true);
    });
    LogOrigin origin;
    try {
        readLogInput(
            "/proc/self/fd/" + std::to_string(fd), "the input",
            [&](kohost::LogLine line, uint64_t number) {
                live.add(line, number);
                streaming.add(kohost::LogLine(line), number);
                importer.add(std::move(line), number);
            },
            [&](const std::string &problem) {
                importer.problem(problem);
                streaming.problem(problem);
            },
            origin);
    } catch (const Error &) { // a damaged container: what was read before still counts
    }
    close(fd);
    live.finish();
    const SessionOutcome session = importer.finish();
    writeText(out, session, true);
    SessionOutcome streamed = streaming.finish();
    handed.insert(handed.end(), streamed.steps.begin(), streamed.steps.end());
    streamed.steps = std::move(handed);
    if (toJson(streamed) != toJson(session) || streaming.warnings() != importer.warnings()) {
        std::fprintf(stderr, "captures handed over differ from those kept to the end\n");
        std::abort();
    }

    std::ostringstream csv, jsonLines;
    CaptureTableWriter csvTable(csv, CaptureTableWriter::Format::Csv);
    CaptureTableWriter jsonTable(jsonLines, CaptureTableWriter::Format::JsonLines);
    csvTable.writeHeader();
    FleetSummary summary;
    const std::vector<CaptureRow> rows = captureRows(session);
    for (const CaptureRow &row : rows) {
        csvTable.write(row);
        jsonTable.write(row);
        summary.add(row);
    }
    size_t rowsRead = 0;
    std::istringstream jsonRows(jsonLines.str());
    for (std::string line; std::getline(jsonRows, line); ++rowsRead)
        if (!nlohmann::json::accept(line)) {
            std::fprintf(stderr, "a capture-table row is not JSON: %s\n", line.c_str());
            std::abort();
        }
    // Fields with a line end are quoted, so a CSV line may hold part of a row only: at least one per row.
    const std::string csvText = csv.str();
    const size_t csvLines = static_cast<size_t>(std::count(csvText.begin(), csvText.end(), '\n'));
    if (rowsRead != rows.size() || csvLines < rows.size() + 1)
        std::abort();
    summary.writeText(out);
    out << summary.svg() << summary.toJson().dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    // As zsl-replay writes JSON: a log's bytes that are not UTF-8 become U+FFFD.
    constexpr auto replace = nlohmann::json::error_handler_t::replace;
    out << toJson(session).dump(-1, ' ', false, replace) << drawTimeline({session})
        << perfettoTrace({session}).dump(-1, ' ', false, replace);
    for (const StepOutcome &step : session.steps) {
        if (!step.selectRan)
            continue;
        const std::string trace = traceFromLog(session, step).dump(-1, ' ', false, replace);
        try {
            parseTrace(trace, "from-log.json");
        } catch (const TraceError &error) {
            std::fprintf(stderr, "a trace written from a log does not read back: %s\n%s\n", error.what(), trace.c_str());
            std::abort();
        }
    }
    return 0;
}
