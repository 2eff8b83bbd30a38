#pragma once
/*
 * CaptureTable: one row per capture (a step of a session: a capture, a
 * selection or a frame check alone, or an answer of isSelectorNeeded that no
 * selection followed), the seam to the tools a team already has. A row says
 * where the capture came from (input, device, build, process, thread, log
 * time), what the selector did (ZSL needed, window, anchor and its lag,
 * frames selected, requested, taken, refused per reason class) and what the
 * log could not tell. Written as CSV or JSON Lines, in the versioned schema
 * of docs/capture-table.md; the fleet summary reads the same rows.
 */

#include "outcome/Outcome.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace zsl::output {

// The schema's name and version, in every row: a reader of many files
// knows each row's columns.
constexpr const char kCaptureTableSchema[] = "zsl-capture-table/4";

struct CaptureRow {
    std::string input;         // the file read ("-": standard input), or the trace replayed
    std::string device, build; // from the bug report's build fingerprint ("" without one)
    std::string fingerprint, reportTime;
    std::optional<int> pid, tid; // read from a log, where its format shows them
    std::string logTime;         // the capture's first line, as the log prints it
    std::string captureTime;     // logTime as ISO 8601, where the log and report tell enough ("" otherwise)
    uint32_t fwkFrame = 0;
    std::string kind; // capture, select, check, needed
    std::optional<bool> zslNeeded;
    std::optional<double> windowStartMs; // zsdTs relative to the capture moment
    std::optional<uint32_t> anchorFrame;
    std::optional<double> anchorLagMs; // how long before the capture moment the anchor was shot
    std::optional<size_t> selected, requested, taken;
    std::vector<uint32_t> takenFrames;
    std::vector<double> takenLagsMs; // of the taken frames whose shutter time is known
    size_t takenLagUnknown = 0;      // taken frames whose shutter time is not in the log
    size_t checks = 0;
    std::map<std::string, size_t> refused; // frames refused, by reason class (outcome::kRefusalClasses)
    size_t refusedFrames = 0;
    size_t verdictUnknown = 0;
    std::vector<std::string> unknown;   // what the log could not tell
    std::string completeness = "whole"; // outcome::completenessName: how much of the capture's lines the log holds
    std::optional<size_t> line;         // the capture's first line in its input, read from a log
    std::string answer;                 // output::answerText: the capture in one sentence
};

// The device and build a build fingerprint names
// ("brand/product/device:release/id/incremental:type/tags").
std::string fingerprintDevice(const std::string &fingerprint);
std::string fingerprintBuild(const std::string &fingerprint);

std::vector<CaptureRow> captureRows(const outcome::SessionOutcome &session);
CaptureRow captureRow(const outcome::SessionOutcome &session, const outcome::StepOutcome &step);

// A row as the schema's JSON object; a value not known is null.
nlohmann::ordered_json toJson(const CaptureRow &row);

// Writes rows as CSV (a header line first) or JSON Lines, one line per row.
class CaptureTableWriter {
public:
    enum class Format { Csv, JsonLines };
    CaptureTableWriter(std::ostream &out, Format format) : mOut(out), mFormat(format) {}
    // A CSV table starts with its header line, even without a row.
    void writeHeader();
    void write(const CaptureRow &row);

private:
    std::ostream &mOut;
    Format mFormat;
};

// Any table of rows as objects of the same columns: the CSV header line
// of a row's keys, and one row as a line of CSV or JSON Lines.
std::string csvHeader(const nlohmann::ordered_json &row);
std::string tableLine(const nlohmann::ordered_json &row, CaptureTableWriter::Format format);

} // namespace zsl::output
