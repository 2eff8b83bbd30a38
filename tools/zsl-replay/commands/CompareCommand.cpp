// Sides read (tables streamed, logs explained), compared, and written.

#include "commands/CompareCommand.h"

#include "commands/Usage.h"
#include "compare/CompareReport.h"
#include "compare/ComparePage.h"
#include "compare/Comparison.h"
#include "compare/FailOn.h"
#include "compare/Side.h"
#include "log/LogBatch.h"
#include "outcome/Error.h"
#include "output/OutputFile.h"
#include "output/Outputs.h"
#include "output/RepeatedCaptures.h"
#include "output/TableReader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>

namespace zsl::commands {

namespace {

using RowTaker = std::function<void(const output::CaptureRow &)>;

// Whether a file is a capture table (its CSV header, or a JSON row of the
// schema) rather than something for explain.
bool isCaptureTable(const std::string &path)
{
    if (path == "-")
        return true;
    std::ifstream file(path, std::ios::binary);
    std::string head(4096, '\0');
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(file.gcount()));
    return head.rfind("schema,", 0) == 0 ||
           (head.rfind('{', 0) == 0 &&
            head.substr(0, head.find('\n')).find("\"zsl-capture-table/") != std::string::npos);
}

// A session's rows, handed on once the session is read whole.
class RowSink : public output::Sink {
public:
    explicit RowSink(const RowTaker &take) : mTake(take) {}
    void add(const outcome::SessionOutcome &, const outcome::StepOutcome &, const output::CaptureForms &forms) override
    {
        mRows.push_back(*forms.row);
    }
    void end(const outcome::SessionOutcome &) override
    {
        for (const output::CaptureRow &row : mRows)
            mTake(row);
        mRows.clear();
    }
    void drop() override { mRows.clear(); }
    bool readsRows() const override { return true; }

private:
    const RowTaker &mTake;
    std::vector<output::CaptureRow> mRows;
};

// Every row of the inputs, tables read as they are, the rest explained.
// Throws outcome::Error at the first input that cannot be read.
void readRows(const std::vector<std::string> &inputs, unsigned jobs, const RowTaker &take)
{
    std::vector<std::string> logs;
    for (const std::string &path : inputs) {
        if (path != "-" && std::filesystem::is_directory(path)) {
            logs.push_back(path);
            continue;
        }
        if (path != "-" && !std::filesystem::exists(path))
            throw outcome::Error("cannot read " + path + ": no such file");
        if (!isCaptureTable(path)) {
            logs.push_back(path);
            continue;
        }
        std::ifstream file;
        if (path != "-" && !(file.open(path, std::ios::binary), file))
            throw outcome::Error("cannot read " + path);
        output::readCaptureTable(path == "-" ? std::cin : file, path, take);
    }
    if (logs.empty())
        return;
    std::vector<std::string> errors;
    const std::vector<log::LogSource> sources = log::expandLogInputs(logs, errors);
    if (!errors.empty())
        throw outcome::Error(errors.front());
    output::Outputs outputs;
    outputs.attach(std::make_unique<RowSink>(take));
    std::optional<outcome::Error> failed;
    log::readLogSources(
        sources, jobs,
        [&](const outcome::SessionOutcome &session, const outcome::StepOutcome &step) { outputs.add(session, step); },
        [&](log::LogRead read) {
            try {
                if (read.error)
                    std::rethrow_exception(read.error);
            } catch (const outcome::Error &error) {
                outputs.drop();
                if (!failed)
                    failed = error;
                return;
            }
            if (read.session)
                outputs.add(*read.session);
            else
                outputs.drop();
        });
    if (failed)
        throw *failed;
}

// A column's value in a row, as --by groups it.
std::string columnValue(const output::CaptureRow &row, const std::string &column)
{
    if (column == "build")
        return row.build;
    if (column == "device")
        return row.device;
    if (column == "input")
        return row.input;
    const nlohmann::ordered_json value = output::toJson(row).at(column);
    return value.is_string() ? value.get<std::string>() : value.dump();
}

void checkNotEmpty(const compare::Side &side, const char *role, const std::vector<std::string> &inputs)
{
    if (side.captures() > 0)
        return;
    std::string named;
    for (const std::string &input : inputs)
        named += (named.empty() ? "" : ", ") + input;
    throw outcome::Error(std::string("the ") + role + " side has no capture to compare (" + named + ")");
}

// Throws the usage problem of the options.
void checkUsage(const CompareOptions &options)
{
    const bool apart = !options.base.empty() || !options.candidate.empty();
    if (apart && (!options.tables.empty() || !options.by.empty()))
        throw UsageError("give the sides either with --base and --candidate, or as TABLE... --by COLUMN, not both");
    if (apart && (options.base.empty() || options.candidate.empty()))
        throw UsageError(std::string("give the ") + (options.base.empty() ? "base" : "candidate") + " side too (--" +
                         (options.base.empty() ? "base" : "candidate") + " TABLE...)");
    if (!apart && options.by.empty())
        throw UsageError("give the sides: --base TABLE... --candidate TABLE..., or TABLE... --by COLUMN");
    if (!apart && options.tables.empty())
        throw UsageError("--by " + options.by + ": give the tables whose " + options.by + " values are the sides");
    if (!options.baseValue.empty() && options.by.empty())
        throw UsageError("--base-value names the base among the values of --by COLUMN: give --by");
    if (!options.by.empty() && !output::toJson(output::CaptureRow{}).contains(options.by))
        throw UsageError("--by " + options.by + ": the capture table has no such column (docs/capture-table.md)");
    std::vector<std::string> all = options.base;
    all.insert(all.end(), options.candidate.begin(), options.candidate.end());
    all.insert(all.end(), options.tables.begin(), options.tables.end());
    if (std::count(all.begin(), all.end(), "-") > 1)
        throw UsageError("standard input can be read once: give - once");
}

} // namespace

// Long: reading both sides (as tables or by a column's values) and writing
// every output are one run's steps; each is a few lines of calls.
int runCompare(const CompareOptions &options)
{
    checkUsage(options);
    std::vector<compare::FailOn> gates;
    for (const std::string &text : options.failOn) {
        auto gate = compare::parseFailOn(text);
        if (auto *why = std::get_if<std::string>(&gate))
            throw UsageError(*why);
        gates.push_back(std::get<compare::FailOn>(gate));
    }
    std::vector<std::string> inputs = options.base;
    inputs.insert(inputs.end(), options.candidate.begin(), options.candidate.end());
    inputs.insert(inputs.end(), options.tables.begin(), options.tables.end());
    const unsigned jobs = std::max(1u, options.jobs);
    try {
        std::unique_ptr<output::OutputFile> page; // refused before anything is read when it is an input
        if (!options.htmlPath.empty())
            page = std::make_unique<output::OutputFile>(options.htmlPath, inputs);
        std::optional<compare::Side> base;
        std::vector<compare::Side> candidates;
        if (options.by.empty()) {
            base.emplace("base", options.pool);
            candidates.emplace_back("candidate", options.pool);
            output::RepeatedCaptures baseSeen, candidateSeen;
            readRows(options.base, jobs, [&](const output::CaptureRow &row) {
                if (!baseSeen.seenBefore(row))
                    base->add(row);
            });
            printRepeats("--base", baseSeen.takeRepeats());
            readRows(options.candidate, jobs, [&](const output::CaptureRow &row) {
                if (!candidateSeen.seenBefore(row))
                    candidates.front().add(row);
            });
            printRepeats("--candidate", candidateSeen.takeRepeats());
            checkNotEmpty(*base, "base", options.base);
            checkNotEmpty(candidates.front(), "candidate", options.candidate);
        } else {
            std::map<std::string, compare::Side> sides;
            output::RepeatedCaptures seen;
            readRows(options.tables, jobs, [&](const output::CaptureRow &row) {
                if (seen.seenBefore(row))
                    return;
                const std::string value = columnValue(row, options.by);
                sides.try_emplace(value, value.empty() ? "(no " + options.by + ")" : value, options.pool)
                    .first->second.add(row);
            });
            printRepeats("the tables", seen.takeRepeats());
            // The first value in sort order; rows without one (a log without a bug report has no build)
            // are a side of their own, but not the base.
            std::string baseValue = options.baseValue;
            for (auto value = sides.begin(); baseValue.empty() && value != sides.end(); ++value)
                baseValue = value->first;
            if (!sides.count(baseValue))
                throw outcome::Error("--base-value " + baseValue + ": no row has " + options.by + " \"" + baseValue +
                                     "\"");
            if (sides.size() < 2)
                throw outcome::Error("every row has the same " + options.by + " (\"" + baseValue +
                                     "\"): no other side to compare with");
            for (auto &[value, side] : sides)
                if (value == baseValue)
                    base.emplace(std::move(side));
                else
                    candidates.push_back(std::move(side));
            for (const compare::Side &candidate : candidates)
                checkNotEmpty(candidate, ("candidate \"" + candidate.name() + "\"").c_str(), options.tables);
            checkNotEmpty(*base, ("base \"" + base->name() + "\"").c_str(), options.tables);
        }
        const compare::CompareResult result = compare::compareSides(*base, candidates);
        if (result.results.empty()) // a gate must not pass on nothing compared
            throw outcome::Error("no device has captures on both sides: nothing is compared (--pool compares across "
                                 "devices)");
        if (page) {
            page->stream() << compare::comparePage(*base, candidates, result);
            page->close();
        }
        if (options.json)
            std::cout << output::jsonText(compare::compareJson(*base, candidates, result), 2) << "\n";
        else
            compare::writeCompareText(std::cout, *base, candidates, result);
        const auto trips = compare::tripped(result, gates);
        for (const compare::MeasureResult *trip : trips)
            std::cerr << "zsl-replay compare: " << trip->measure->name << " is worse by "
                      << compare::sizeText(*trip->measure, trip->difference) << " on " << trip->device << " (\""
                      << trip->side << "\" against \"" << base->name() << "\"): --fail-on tripped\n";
        return trips.empty() ? kExitOk : kExitGateTripped;
    } catch (const outcome::Error &error) {
        printError(error);
        return kExitFailed;
    }
}

} // namespace zsl::commands
