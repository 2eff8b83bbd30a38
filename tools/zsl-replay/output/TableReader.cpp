// Capture-table rows read back from JSON Lines or CSV.

#include "output/TableReader.h"

#include "outcome/Error.h"
#include "messages/PluginEvent.h"
#include "outcome/PluginLines.h"

#include <cstdlib>
#include <optional>
#include <vector>

namespace zsl::output {

namespace {

using outcome::Error;
using Json = nlohmann::json;

// Earlier versions' rows are the current one's without the columns added since.
constexpr const char kFirstSchema[] = "zsl-capture-table/1";  // without capture_time
constexpr const char kSecondSchema[] = "zsl-capture-table/2"; // without completeness
constexpr const char kThirdSchema[] = "zsl-capture-table/3";  // without line and answer

// One CSV record: fields split at commas, quoted fields may hold commas,
// doubled quotes and line ends. False at the end of input.
bool csvRecord(std::istream &in, std::vector<std::string> &fields, size_t &line)
{
    fields.assign(1, "");
    bool quoted = false, any = false;
    for (int c; (c = in.get()) != EOF;) {
        any = true;
        if (quoted) {
            if (c == '"' && in.peek() == '"')
                fields.back() += static_cast<char>(in.get());
            else if (c == '"')
                quoted = false;
            else
                fields.back() += static_cast<char>(c);
            line += c == '\n';
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',') {
            fields.emplace_back();
        } else if (c == '\n') {
            ++line;
            return true;
        } else if (c != '\r') {
            fields.back() += static_cast<char>(c);
        }
    }
    return any;
}

// A CSV field as the JSON value the writer wrote: its type from the columns of an empty row.
Json csvValue(const std::string &text, const nlohmann::ordered_json &example)
{
    if (example.is_string())
        return text;
    if (text.empty())
        return nullptr;
    if (text == "true" || text == "false")
        return text == "true";
    return Json::parse(text, nullptr, false); // a number; discarded (an error) otherwise
}

template <typename T> std::optional<T> optionalOf(const Json &row, const char *key)
{
    const Json &value = row.at(key);
    return value.is_null() ? std::nullopt : std::optional<T>(value.get<T>());
}

CaptureRow rowOf(const Json &json)
{
    const std::string schema = json.at("schema").get<std::string>();
    const int version = schema == kFirstSchema          ? 1
                        : schema == kSecondSchema       ? 2
                        : schema == kThirdSchema        ? 3
                        : schema == kCaptureTableSchema ? 4
                                                        : 0;
    if (version == 0)
        throw Error("a row of schema \"" + schema + "\", not " + kCaptureTableSchema + ", " + kThirdSchema + ", " +
                    kSecondSchema + " or " + kFirstSchema);
    CaptureRow row;
    row.input = json.at("input").get<std::string>();
    row.device = json.at("device").get<std::string>();
    row.build = json.at("build").get<std::string>();
    row.fingerprint = json.at("fingerprint").get<std::string>();
    row.reportTime = json.at("report_time").get<std::string>();
    row.pid = optionalOf<int>(json, "pid");
    row.tid = optionalOf<int>(json, "tid");
    row.logTime = json.at("log_time").get<std::string>();
    row.fwkFrame = json.at("fwk_frame").get<uint32_t>();
    row.kind = json.at("kind").get<std::string>();
    row.zslNeeded = optionalOf<bool>(json, "zsl_needed");
    row.windowStartMs = optionalOf<double>(json, "window_start_ms");
    row.anchorFrame = optionalOf<uint32_t>(json, "anchor_frame");
    row.anchorLagMs = optionalOf<double>(json, "anchor_lag_ms");
    row.selected = optionalOf<size_t>(json, "selected");
    row.requested = optionalOf<size_t>(json, "requested");
    row.taken = optionalOf<size_t>(json, "taken");
    row.takenFrames = messages::numbersIn(json.at("taken_frames").get<std::string>());
    row.takenLagUnknown = json.at("taken_lag_unknown").get<size_t>();
    row.checks = json.at("checks").get<size_t>();
    row.refusedFrames = json.at("refused").get<size_t>();
    for (const char *kind : outcome::kRefusalClasses)
        if (const size_t count = json.at(std::string("refused_") + kind).get<size_t>())
            row.refused[kind] = count;
    row.verdictUnknown = json.at("verdict_unknown").get<size_t>();
    if (const std::string unknown = json.at("unknown").get<std::string>(); !unknown.empty())
        for (size_t from = 0, to; from <= unknown.size(); from = to + 3) {
            to = unknown.find(" | ", from);
            to = to == std::string::npos ? unknown.size() : to;
            row.unknown.push_back(unknown.substr(from, to - from));
        }
    const std::string lags = json.at("taken_lags_ms").get<std::string>();
    for (const char *at = lags.c_str(); *at;) {
        char *end = nullptr;
        row.takenLagsMs.push_back(std::strtod(at, &end));
        if (end == at)
            throw Error("taken_lags_ms: \"" + lags + "\" is not a list of numbers");
        at = end;
    }
    if (version >= 2)
        row.captureTime = json.at("capture_time").get<std::string>();
    // Tables before version 3 did not say: their captures are taken as the log showed them.
    row.completeness = version >= 3 ? json.at("completeness").get<std::string>() : "whole";
    if (version >= 4) {
        row.line = optionalOf<size_t>(json, "line");
        row.answer = json.at("answer").get<std::string>();
    }
    return row;
}

} // namespace

void readCaptureTable(std::istream &in, const std::string &name, const std::function<void(CaptureRow)> &row)
{
    size_t line = 0;
    auto fail = [&](const std::string &why) { throw Error(name + ": line " + std::to_string(line) + ": " + why); };
    auto read = [&](const Json &json) {
        try {
            row(rowOf(json));
        } catch (const Json::exception &error) {
            fail(std::string("not a row of ") + kCaptureTableSchema + " (" + error.what() + ")");
        } catch (const Error &error) {
            fail(error.what());
        }
    };
    if (in.peek() == '{') {
        for (std::string text; std::getline(in, text);) {
            ++line;
            if (text.empty())
                continue;
            const Json json = Json::parse(text, nullptr, false);
            if (json.is_discarded())
                fail("not a line of JSON");
            read(json);
        }
        return;
    }
    std::vector<std::string> header, fields; // `line`: the line ends read so far
    if (!csvRecord(in, header, line))
        throw Error(name + ": empty: not a capture table (no header, no row)");
    if (header.empty() || header.front() != "schema")
        fail("not a capture table: it starts with neither a JSON row nor the table's CSV header");
    const nlohmann::ordered_json columns = toJson(CaptureRow{});
    for (size_t first = line + 1; csvRecord(in, fields, line); first = line + 1) {
        if (fields.size() == 1 && fields[0].empty())
            continue;
        if (fields.size() != header.size()) {
            line = first;
            fail("a row of " + std::to_string(fields.size()) + " fields under a header of " +
                 std::to_string(header.size()));
        }
        Json json = Json::object();
        for (size_t i = 0; i < header.size(); ++i) {
            json[header[i]] = columns.contains(header[i]) ? csvValue(fields[i], columns[header[i]]) : Json(fields[i]);
            if (json[header[i]].is_discarded()) {
                line = first;
                fail(header[i] + ": \"" + fields[i] + "\" is not a value of that column");
            }
        }
        const size_t at = line;
        line = first;
        read(json);
        line = at;
    }
}

} // namespace zsl::output
