// Captures replayed before and after a change, to the outputs asked for.

#include "commands/WhatIfCommand.h"

#include "commands/SharedOutputs.h"
#include "commands/Usage.h"
#include "log/LogBatch.h"
#include "outcome/Error.h"
#include "output/OutputFile.h"
#include "output/Outputs.h"
#include "replay/BuiltinTraces.h"
#include "replay/Replayer.h"
#include "replay/TraceReader.h"
#include "whatif/PropertyChange.h"
#include "whatif/Subject.h"
#include "whatif/WhatIfPage.h"
#include "whatif/WhatIfReport.h"
#include "whatif/Sweep.h"
#include "whatif/WhatIfSummary.h"

#include <PluginLoader.h>
#include <PluginLoader.h>

#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>

namespace zsl::commands {

namespace {

using whatif::Changes;
using whatif::Comparison;

// A trace's text starts with "{"; anything else is a log.
bool isTrace(std::istream &in)
{
    for (char c; in.get(c);)
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n')
            return c == '{';
    return false;
}

// Where each comparison goes: the report or JSON, and the table.
class WhatIfOutputs {
public:
    WhatIfOutputs(const WhatIfOptions &options, const std::optional<TableTarget> &table, std::string change)
        : mChange(std::move(change)), mJson(options.json), mReport(!table || table->path != "-")
    {
        if (table) {
            mTable = std::make_unique<output::OutputFile>(table->path, options.inputs);
            mFormat = table->format;
        }
        if (!options.htmlPath.empty())
            mHtml = std::make_unique<output::OutputFile>(options.htmlPath, options.inputs);
    }

    void add(const Comparison &comparison)
    {
        mSummary.add(comparison);
        if (mHtml)
            mPage.add(comparison);
        if (mTable) {
            const nlohmann::ordered_json row = whatif::comparisonRow(comparison);
            if (mFormat == output::CaptureTableWriter::Format::Csv && !mHeader++)
                mTable->stream() << output::csvHeader(row) << "\n";
            mTable->stream() << output::tableLine(row, mFormat) << "\n";
        }
        if (!mReport)
            return;
        if (mJson)
            std::cout << (mCount ? ",\n    " : "") << output::jsonText(whatif::comparisonJson(comparison));
        else
            whatif::writeComparisonText(std::cout, comparison);
        ++mCount;
    }

    void head(const std::string &plugin)
    {
        if (!mReport)
            return;
        if (mJson)
            std::cout << "{\n  \"change\": " << output::jsonText(nlohmann::json(mChange))
                      << ",\n  \"plugin\": " << output::jsonText(nlohmann::json(plugin.substr(plugin.rfind('/') + 1)))
                      << ",\n  \"captures\": [\n    ";
        else
            std::cout << "what if " << mChange << "\n";
    }

    // Throws outcome::Error when the table did not all reach its file.
    void finish()
    {
        if (mReport) {
            if (mJson)
                std::cout << "\n  ],\n  \"summary\": " << output::jsonText(mSummary.toJson()) << "\n}\n";
            else
                mSummary.writeText(std::cout, mChange);
        }
        if (mHtml) {
            mHtml->stream() << mPage.html(mChange, mSummary);
            mHtml->close();
        }
        if (mTable) {
            if (mFormat == output::CaptureTableWriter::Format::Csv && !mHeader)
                mTable->stream() << output::csvHeader(whatif::comparisonRow(Comparison{})) << "\n";
            mTable->close();
        }
    }

private:
    std::string mChange;
    bool mJson, mReport;
    std::unique_ptr<output::OutputFile> mTable;
    output::CaptureTableWriter::Format mFormat = output::CaptureTableWriter::Format::Csv;
    int mHeader = 0;
    size_t mCount = 0;
    whatif::WhatIfSummary mSummary;
    std::unique_ptr<output::OutputFile> mHtml;
    whatif::WhatIfPage mPage; // every capture's view, kept for the page
};

// Every subject of the inputs to `each`, in the inputs' order; a bad input
// is named and the others are still read. Answers 2 after a bad input.
int forEachSubject(const std::vector<std::string> &inputs, const replay::Replayer &replayer,
                   const std::function<void(const whatif::Subject &)> &each)
{
    int status = kExitOk;
    auto guarded = [&](const std::string &where, const std::function<void()> &work) {
        try {
            work();
        } catch (const outcome::Error &error) {
            if (error.reach() == outcome::Error::Reach::Run)
                throw;
            printError(where.empty() ? error : outcome::Error(where + ": " + error.what()));
            status = kExitFailed;
        }
    };
    if (inputs.empty())
        for (const replay::BuiltinTrace &builtin : replay::builtinTraces())
            each(whatif::Subject::ofTrace(replayer, replay::parseTrace(builtin.text, builtin.name)));
    std::vector<std::string> errors;
    const std::vector<log::LogSource> sources = log::expandLogInputs(inputs, errors);
    for (const std::string &error : errors)
        std::cerr << "zsl-replay: " << error << "\n";
    status = errors.empty() ? kExitOk : kExitFailed;
    for (const log::LogSource &source : sources) {
        if (source.path == "-") {
            guarded("", [&] {
                std::ostringstream read;
                read << std::cin.rdbuf();
                const std::string text = read.str();
                if (std::istringstream start(text); !isTrace(start))
                    throw outcome::Error("standard input: whatif reads a trace there; give a log as a file");
                each(whatif::Subject::ofTrace(replayer, replay::parseTrace(text, "<stdin>")));
            });
            continue;
        }
        if (std::ifstream start(source.path, std::ios::binary); isTrace(start)) {
            guarded("", [&] { each(whatif::Subject::ofTrace(replayer, replay::readTraceFile(source.path))); });
            continue;
        }
        size_t selections = 0;
        const log::LogRead read =
            log::readLogSource(source, [&](const outcome::SessionOutcome &session, const outcome::StepOutcome &step) {
                if (!step.selectRan)
                    return;
                ++selections;
                guarded(source.path + ": fwkFrame " + std::to_string(step.fwkFrame),
                        [&] { each(whatif::Subject::ofLog(replayer, session, step)); });
            });
        for (const std::string &warning : read.warnings)
            std::cerr << "zsl-replay: " << warning << "\n";
        guarded("", [&] {
            if (read.error)
                std::rethrow_exception(read.error);
        });
        if (!read.error && selections == 0 && !source.inFolder) {
            std::cerr << "zsl-replay: " << source.path << ": no selection of the plug-in in this log\n";
            status = kExitFailed;
        }
    }
    return status;
}

} // namespace

int runWhatIf(const WhatIfOptions &options)
{
    std::vector<whatif::PropertyChange> sets, sweep;
    try {
        for (const std::string &text : options.sets)
            sets.push_back(Changes::parse(text));
        if (!options.sweep.empty())
            sweep = Changes::sweep(options.sweep);
        std::vector<whatif::PropertyChange> all = sets;
        if (!sweep.empty())
            all.push_back(sweep.front());
        Changes checked(all); // names given twice, or clashing
    } catch (const outcome::Error &error) {
        throw UsageError(error.what());
    }
    if (sets.empty() && sweep.empty())
        throw UsageError("give the change: --set NAME=VALUE, or --sweep NAME=FROM:TO:STEP");
    if (!options.sweepSvgPath.empty() && sweep.empty())
        throw UsageError("--sweep-svg draws a sweep: give --sweep NAME=FROM:TO:STEP");
    std::optional<TableTarget> table;
    if (!options.table.empty() && !(table = tableTarget(options.table)))
        throw UsageError("--table " + options.table + ": name a .csv or .jsonl file, or write csv:FILE or jsonl:FILE");
    if ((table || !options.htmlPath.empty()) && !sweep.empty())
        throw UsageError(std::string(table ? "--table" : "--html") +
                         " shows each capture's two sides; a sweep writes one row per value");
    if (table && table->path == "-" && options.json)
        throw UsageError("--json and a table on standard output: one of them can have it");
    const std::string plugin =
        options.pluginPath.empty() ? kohost::pluginNearProgram(ZSL_PLUGIN_FROM_BINDIR) : options.pluginPath;

    try {
        // One library for every capture and setting, loaded again only when
        // a change to the pending switch needs it.
        const replay::Replayer replayer(plugin, false, replay::Replayer::Loading::KeptLoaded);
        if (sweep.empty()) {
            const Changes changes(sets);
            WhatIfOutputs outputs(options, table, changes.text());
            outputs.head(plugin);
            const int status = forEachSubject(options.inputs, replayer, [&](const whatif::Subject &subject) {
                for (const Comparison &comparison : subject.compare(changes))
                    outputs.add(comparison);
            });
            outputs.finish();
            return status;
        }
        std::unique_ptr<output::OutputFile> svg;
        if (!options.sweepSvgPath.empty())
            svg = std::make_unique<output::OutputFile>(options.sweepSvgPath, options.inputs);
        std::vector<whatif::SweepRow> rows;
        std::vector<Changes> values;
        for (const whatif::PropertyChange &value : sweep) {
            std::vector<whatif::PropertyChange> changes = sets;
            changes.push_back(value);
            values.emplace_back(changes);
            rows.push_back({value.value, {}});
        }
        const int status = forEachSubject(options.inputs, replayer, [&](const whatif::Subject &subject) {
            for (size_t v = 0; v < values.size(); ++v)
                for (const Comparison &comparison : subject.compare(values[v]))
                    rows[v].summary.add(comparison);
        });
        const std::string name = sweep.front().name + (sets.empty() ? "" : " (with " + Changes(sets).text() + ")");
        if (options.json)
            std::cout << output::jsonText(whatif::sweepJson(name, rows), 2) << "\n";
        else
            whatif::writeSweepText(std::cout, name, rows);
        if (svg) {
            svg->stream() << whatif::sweepSvg(name, rows);
            svg->close();
        }
        return status;
    } catch (const outcome::Error &error) {
        printError(error);
        return kExitFailed;
    }
}

} // namespace zsl::commands
