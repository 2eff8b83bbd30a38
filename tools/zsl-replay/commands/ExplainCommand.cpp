// Device logs read into capture sessions, and those to the outputs.

#include "commands/ExplainCommand.h"

#include "commands/SharedOutputs.h"
#include "commands/Usage.h"
#include "messages/PluginMessages.h"
#include "log/LiveImporter.h"
#include "log/LogBatch.h"
#include "log/LogInput.h"
#include "outcome/Error.h"
#include "output/FleetSummary.h"
#include "output/Outputs.h"
#include "output/InputGuard.h"
#include "output/OutputFile.h"
#include "output/Sinks.h"

#include <csignal>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>

namespace zsl::commands {

namespace {

volatile std::sig_atomic_t gStop = 0; // set by Ctrl-C in a live log

void stopReading(int)
{
    gStop = 1;
}

// The outputs asked for; throws outcome::Error when one cannot be opened.
void attachOutputs(const ExplainOptions &options, const std::optional<TableTarget> &table,
                   output::FleetSummary &summary, output::Outputs &outputs)
{
    using output::OutputFile;
    const std::vector<std::string> &inputs = options.inputs;
    outputs.attach(std::make_unique<output::SummarySink>(summary));
    if (table)
        outputs.attach(
            std::make_unique<output::TableSink>(std::make_unique<OutputFile>(table->path, inputs), table->format));
    if (!table || table->path != "-") {
        using Form = output::ReportSink::Form;
        const Form form = !options.output.json ? Form::Text : options.follow ? Form::JsonLines : Form::Json;
        outputs.attach(std::make_unique<output::ReportSink>(std::cout, form, false, &summary));
    }
    if (!options.summarySvgPath.empty())
        outputs.attach(std::make_unique<output::SummarySvgSink>(
            std::make_unique<OutputFile>(options.summarySvgPath, inputs), summary));
    attachPictures(options.output, inputs, outputs, &summary);
    if (!options.tracesDir.empty()) {
        output::refuseInputs(options.tracesDir, inputs); // new files there would mix with the inputs
        outputs.attach(std::make_unique<output::TraceFolderSink>(options.tracesDir));
    }
}

// What a run read, by file: the counts a program running explain (zsl-fleet's
// workers) reads from --stats, under stable names, rather than from messages.
struct ReadCounts {
    size_t read = 0, passedOver = 0, failed = 0;
    nlohmann::ordered_json toJson() const
    {
        return {{"schema", "zsl-explain-stats/1"},
                {"files_read", read},
                {"files_passed_over", passedOver},
                {"files_failed", failed}};
    }
};

// Reads the inputs on `jobs` threads into outputs; answers the exit status.
// With `quiet`, how many files were passed over is left to `counts`.
int readLogs(const ExplainOptions &options, output::Outputs &outputs, ReadCounts &counts, bool quiet)
{
    int status = kExitOk;
    std::vector<std::string> errors;
    std::vector<log::LogSource> sources = log::expandLogInputs(options.inputs, errors);
    for (log::LogSource &source : sources) {
        source.inFolder = source.inFolder || options.inFolder;
        if (source.path == "-")
            source.name = options.stdinName;
    }
    for (const std::string &error : errors)
        std::cerr << "zsl-replay: " << error << "\n";
    if (!errors.empty())
        status = kExitFailed;
    counts.failed += errors.size();
    size_t passedOver = 0, explained = 0;
    const log::CaptureDone capture = [&](const outcome::SessionOutcome &session, const outcome::StepOutcome &step) {
        outputs.add(session, step);
    };
    log::readLogSources(sources, options.jobs, capture, [&](log::LogRead read) {
        for (const std::string &message : read.warnings)
            std::cerr << "zsl-replay: " << message << "\n";
        try {
            if (read.error)
                std::rethrow_exception(read.error);
        } catch (const outcome::Error &error) {
            outputs.drop();
            printError(error);
            status = kExitFailed;
            ++counts.failed;
            return;
        }
        ++counts.read;
        passedOver += read.withoutPluginLines;
        if (read.session) {
            ++explained;
            outputs.add(*read.session);
        } else {
            outputs.drop();
        }
    });
    if (passedOver > 0 && explained == 0 && !options.inFolder) {
        std::cerr << "zsl-replay: no line of the plug-in (tag " << messages::kPluginTag << ") in any of the "
                  << passedOver << " files read\n";
        status = kExitFailed;
    } else if (passedOver > 0 && !quiet) {
        std::cerr << "zsl-replay: " << passedOver << (passedOver == 1 ? " file" : " files") << " in the folders given "
                  << (passedOver == 1 ? "holds" : "hold") << " no line of the plug-in (passed over)\n";
    }
    counts.passedOver = passedOver;
    return status;
}

// Reads a log as it is written, explaining each capture once complete.
int followLog(const std::string &input, const std::string &name, output::Outputs &outputs)
{
    struct sigaction stop {};
    stop.sa_handler = stopReading; // no SA_RESTART: a waiting read returns
    sigaction(SIGINT, &stop, nullptr);
    sigaction(SIGTERM, &stop, nullptr);
    signal(SIGPIPE, SIG_IGN); // a reader that went away is seen as a failed write
    log::LiveImporter live(name, [&](outcome::SessionOutcome session, const std::vector<std::string> &warnings) {
        for (const std::string &warning : warnings)
            std::cerr << "zsl-replay: " << name << ": warning: " << warning << "\n";
        outputs.add(session);
        if (!std::cout)
            gStop = 1;
    });
    log::LogOrigin origin;
    const log::LiveReading reading{[&] { live.idle(); }, &gStop};
    try {
        log::readLogInput(
            input, name, [&](kohost::LogLine line, uint64_t number) { live.add(std::move(line), number); },
            [&](const std::string &problem) {
                std::cerr << "zsl-replay: " << name << ": warning: " << problem << "\n";
            },
            origin, &reading);
    } catch (const outcome::Error &error) {
        printError(error);
        return kExitFailed;
    }
    live.finish();
    if (live.linesUsed() == 0 && !gStop) {
        std::cerr << "zsl-replay: " << name << ": no line of the plug-in (tag " << messages::kPluginTag
                  << ") in this log\n";
        return kExitFailed;
    }
    return kExitOk;
}

} // namespace

int runExplain(const ExplainOptions &options)
{
    if (std::count(options.inputs.begin(), options.inputs.end(), "-") > 1)
        throw UsageError("standard input can be read once: give - once");
    if (!options.stdinName.empty() && std::count(options.inputs.begin(), options.inputs.end(), "-") == 0)
        throw UsageError("--stdin-name names standard input: give - among the inputs");
    if (options.follow && (options.inputs.size() != 1 || std::filesystem::is_directory(options.inputs.front())))
        throw UsageError("--follow reads one log as it is written: give one INPUT, not a folder");
    std::optional<TableTarget> table;
    if (!options.table.empty() && !(table = tableTarget(options.table)))
        throw UsageError("--table " + options.table + ": name a .csv or .jsonl file, or write csv:FILE or jsonl:FILE");
    if (table && table->path == "-" && options.output.json)
        throw UsageError("--json and a table on standard output: one of them can have it");
    checkOutputOptions(options.output);

    if (!options.statsPath.empty() && options.follow)
        throw UsageError("--stats counts the files of a run that ends: not with --follow");

    output::FleetSummary summary;
    output::Outputs outputs;
    std::unique_ptr<output::OutputFile> stats; // refused before anything is read when it is an input
    try {
        if (!options.statsPath.empty())
            stats = std::make_unique<output::OutputFile>(options.statsPath, options.inputs);
        attachOutputs(options, table, summary, outputs);
    } catch (const outcome::Error &error) {
        printError(error);
        return kExitFailed;
    }
    const std::string &first = options.inputs.front();
    const std::string &firstName = first == "-" && !options.stdinName.empty() ? options.stdinName : first;
    ReadCounts counts;
    const int status =
        options.follow ? followLog(first, firstName, outputs) : readLogs(options, outputs, counts, stats != nullptr);
    outputs.finish();
    if (stats) {
        try {
            stats->stream() << output::jsonText(counts.toJson()) << "\n";
            stats->close();
        } catch (const outcome::Error &error) {
            printError(error);
            return kExitFailed;
        }
    }
    return std::max(status, outputs.status());
}

} // namespace zsl::commands
