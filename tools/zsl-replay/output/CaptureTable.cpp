// One row per capture, and its CSV and JSON Lines.

#include "output/CaptureTable.h"

#include "output/Answer.h"
#include "output/CaptureTime.h"

#include "outcome/FrameText.h"
#include "outcome/PluginLines.h"

#include <algorithm>
#include <cmath>

namespace zsl::output {

using namespace zsl::outcome;

namespace {

// Milliseconds between two boot-time stamps, to the microsecond; in double,
// as the difference of two times near the int64 limits overflows.
double msBetween(int64_t earlierNs, int64_t laterNs)
{
    return std::round((static_cast<double>(laterNs) - static_cast<double>(earlierNs)) / 1e3) / 1e3;
}

template <typename T> nlohmann::ordered_json orNull(const std::optional<T> &value)
{
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
}

std::string csvField(const nlohmann::ordered_json &value)
{
    if (value.is_null())
        return "";
    if (!value.is_string())
        return value.dump();
    const std::string text = value.get<std::string>();
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (char c : text)
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

} // namespace

std::string fingerprintDevice(const std::string &fingerprint)
{
    const std::string product = fingerprint.substr(0, fingerprint.find(':'));
    const auto slash = product.rfind('/');
    return slash == std::string::npos ? product : product.substr(slash + 1);
}

std::string fingerprintBuild(const std::string &fingerprint)
{
    const auto colon = fingerprint.find(':');
    return colon == std::string::npos ? "" : fingerprint.substr(colon + 1);
}

std::vector<CaptureRow> captureRows(const SessionOutcome &session)
{
    std::vector<CaptureRow> rows;
    for (const StepOutcome &step : session.steps)
        rows.push_back(captureRow(session, step));
    return rows;
}

CaptureRow captureRow(const SessionOutcome &session, const StepOutcome &step)
{
    CaptureRow row;
    row.input = session.file;
    row.fingerprint = session.fingerprint;
    row.device = fingerprintDevice(session.fingerprint);
    row.build = fingerprintBuild(session.fingerprint);
    row.reportTime = session.reportTime;
    if (session.fromLog) {
        if (step.pid != kUnknownId)
            row.pid = step.pid;
        if (step.tid != kUnknownId)
            row.tid = step.tid;
        row.logTime = step.logTime;
        row.line = step.firstLine;
        row.captureTime = isoCaptureTime(step.logTime, session.reportTime);
    }
    row.fwkFrame = step.fwkFrame;
    row.kind = stepKindName(step.kind);
    row.answer = answerText(step, session.fromLog);
    row.zslNeeded = step.needed;
    row.unknown = step.notes;

    // A log without curTime leaves the capture moment, and every lag, unknown.
    const bool momentKnown = step.momentKnown && (!session.fromLog || step.curTime);
    row.completeness = completenessName(step.completeness);
    if (step.completeness != Completeness::Whole)
        row.unknown.push_back(completenessText(step.completeness, step.completenessWhy));
    auto lagMs = [&](uint32_t frame) -> std::optional<double> {
        const auto shutter = step.shutterNs.find(frame);
        if (!momentKnown || shutter == step.shutterNs.end())
            return std::nullopt;
        return msBetween(shutter->second, step.captureNs);
    };
    if (step.zsdTs && momentKnown)
        row.windowStartMs = msBetween(step.captureNs, *step.zsdTs);
    row.anchorFrame = step.anchorFrame;
    if (step.anchorFrame)
        row.anchorLagMs = lagMs(*step.anchorFrame);
    if (step.selectRan && !step.selectionUnknown.empty()) {
        row.unknown.push_back("selected: " + step.selectionUnknown);
    } else if (step.selectRan) {
        row.selected = step.selectedFrames.size();
        if (!step.selectionCaveat.empty())
            row.unknown.push_back("selected: " + step.selectionCaveat);
    }
    if (step.requested > 0)
        row.requested = step.requested;
    if (step.requested > 0 && step.takenUnknown.empty()) {
        row.taken = step.taken.size();
        row.takenFrames = step.taken;
        for (uint32_t frame : step.taken)
            if (const auto lag = lagMs(frame))
                row.takenLagsMs.push_back(*lag);
            else
                ++row.takenLagUnknown;
    } else if (!step.takenUnknown.empty()) {
        row.unknown.push_back("taken: " + step.takenUnknown);
    }
    row.checks = step.checks.size();
    for (const CheckOutcome &check : step.checks) {
        if (!check.unknown.empty()) {
            ++row.verdictUnknown;
        } else if (!check.verdict.first) {
            ++row.refusedFrames;
            for (const std::string &kind : refusalClassNames(check.refusalClasses))
                ++row.refused[kind];
        }
    }
    return row;
}

nlohmann::ordered_json toJson(const CaptureRow &row)
{
    nlohmann::ordered_json out;
    out["schema"] = kCaptureTableSchema;
    out["input"] = row.input;
    out["device"] = row.device;
    out["build"] = row.build;
    out["fingerprint"] = row.fingerprint;
    out["report_time"] = row.reportTime;
    out["pid"] = orNull(row.pid);
    out["tid"] = orNull(row.tid);
    out["log_time"] = row.logTime;
    out["fwk_frame"] = row.fwkFrame;
    out["kind"] = row.kind;
    out["zsl_needed"] = orNull(row.zslNeeded);
    out["window_start_ms"] = orNull(row.windowStartMs);
    out["anchor_frame"] = orNull(row.anchorFrame);
    out["anchor_lag_ms"] = orNull(row.anchorLagMs);
    out["selected"] = orNull(row.selected);
    out["requested"] = orNull(row.requested);
    out["taken"] = orNull(row.taken);
    out["taken_frames"] = frameText(row.takenFrames, "");
    const auto [least, most] = std::minmax_element(row.takenLagsMs.begin(), row.takenLagsMs.end());
    out["taken_lag_min_ms"] =
        least == row.takenLagsMs.end() ? nlohmann::ordered_json() : nlohmann::ordered_json(*least);
    out["taken_lag_max_ms"] = most == row.takenLagsMs.end() ? nlohmann::ordered_json() : nlohmann::ordered_json(*most);
    out["taken_lag_unknown"] = row.takenLagUnknown;
    out["checks"] = row.checks;
    out["refused"] = row.refusedFrames;
    for (const char *kind : kRefusalClasses)
        out[std::string("refused_") + kind] = row.refused.count(kind) ? row.refused.at(kind) : 0;
    out["verdict_unknown"] = row.verdictUnknown;
    std::string unknown;
    for (const std::string &note : row.unknown)
        unknown += (unknown.empty() ? "" : " | ") + note;
    out["unknown"] = unknown;
    // Every known lag, so that a summary made from the rows is the report's own.
    std::string lags;
    for (double lag : row.takenLagsMs)
        lags += (lags.empty() ? "" : " ") + nlohmann::json(lag).dump();
    out["taken_lags_ms"] = lags;
    out["capture_time"] = row.captureTime;  // added in version 2
    out["completeness"] = row.completeness; // added in version 3
    out["line"] = orNull(row.line);         // added in version 4
    out["answer"] = row.answer;             // added in version 4
    return out;
}

std::string csvHeader(const nlohmann::ordered_json &row)
{
    std::string header;
    for (const auto &item : row.items())
        header += (header.empty() ? "" : ",") + item.key();
    return header;
}

std::string tableLine(const nlohmann::ordered_json &row, CaptureTableWriter::Format format)
{
    if (format == CaptureTableWriter::Format::JsonLines)
        return row.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    std::string line;
    bool first = true;
    for (const auto &item : row.items()) {
        line += (first ? "" : ",") + csvField(item.value());
        first = false;
    }
    return line;
}

void CaptureTableWriter::writeHeader()
{
    if (mFormat == Format::Csv)
        mOut << csvHeader(toJson(CaptureRow{})) << "\n";
}

void CaptureTableWriter::write(const CaptureRow &row)
{
    mOut << tableLine(toJson(row), mFormat) << "\n";
}

} // namespace zsl::output
