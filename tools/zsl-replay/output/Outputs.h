#pragma once
/*
 * Outputs: everything the command line asks to be written from sessions,
 * fed one session at a time as they are replayed or read: the text report
 * (written at once, and flushed, so that a live log shows each capture as
 * it completes), the JSON report, the capture table's rows, and the fleet
 * summary at the end. Sessions are kept only when an output drawn from all
 * of them at the end (SVG, Perfetto, traces, expectations) needs them.
 */

#include "CaptureTable.h"
#include "FleetSummary.h"
#include "Outcome.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace replay {

struct OutputOptions {
    bool report = true;        // the text or JSON report on `out`
    bool json = false;         // JSON instead of text
    bool jsonLines = false;    // ... one session per line, as it comes (a live log)
    bool withLog = false;      // the plug-in's lines in the text report
    bool summary = false;      // the fleet summary, with more than one capture (and --summary-svg)
    std::string plugin;        // the plug-in replayed, for the JSON report
    std::ostream *table = nullptr;
    CaptureTableWriter::Format tableFormat = CaptureTableWriter::Format::Csv;
    bool keepSessions = false;
};

class Outputs {
public:
    Outputs(std::ostream &out, OutputOptions options);
    void add(SessionOutcome session);
    // Writes what waits for every session: the JSON document, the summary.
    void finish();

    const std::vector<SessionOutcome> &sessions() const { return mSessions; }
    const FleetSummary &summary() const { return mSummary; }

private:
    std::ostream &mOut;
    OutputOptions mOptions;
    std::optional<CaptureTableWriter> mTable;
    nlohmann::json mTraces = nlohmann::json::array();
    FleetSummary mSummary;
    std::vector<SessionOutcome> mSessions;
};

// JSON text of anything read: a device log's bytes need not be UTF-8, and a
// byte that is not becomes U+FFFD instead of an error.
template <typename Json> std::string jsonText(const Json &value, int indent = -1)
{
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

} // namespace replay
