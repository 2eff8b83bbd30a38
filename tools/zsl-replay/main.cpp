// zsl-replay: replays captures through the real plug-in and explains them.
// The command line; everything it prints for --help is below.

#include "BuiltinTraces.h"
#include "DeviceLog.h"
#include "Expectations.h"
#include "LogInput.h"
#include "LiveImporter.h"
#include "LogBatch.h"
#include "Outputs.h"
#include "Perfetto.h"
#include "Replayer.h"
#include "Report.h"
#include "Timeline.h"
#include "TraceReader.h"
#include "TraceWriter.h"

#include <KoTagTable.h>
#include <PluginSession.h>

#include <android/log.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <thread>

namespace {

const char kHelp[] = R"(usage: zsl-replay [OPTIONS] [TRACE.json ...]
       zsl-replay [OPTIONS] --from-log INPUT [--from-log INPUT ...]
       adb logcat -v threadtime | zsl-replay --from-log - --follow

Replays ZSL captures through the plug-in as the camera framework calls it: sets a trace's system
properties, loads the plug-in with dlopen, and drives isSelectorNeeded, selectZSLFrames and
checkFrame with the queues and metadata the trace describes (docs/trace-format.md). Without a
trace it replays the built-in captures (examples/*.json). TRACE "-" reads standard input.

The plug-in's boot-time clock reads each step's capture moment (100 s after boot), so a replay
gives the same output on every run and every machine. A step's "expect" is compared with what
happened; each difference is one line on standard error.

With --from-log it replays nothing: it reads a device's log (adb logcat in any -v format and
modifier: threadtime, long, thread, time, brief, process, tag, raw; a bug report, as text or as
the zip adb bugreport writes; the host's system-log lines) and rebuilds each capture from the
plug-in's own lines (tag KoAlgoEngine), told apart by process and thread where the format shows
them. The report, --json, --svg and --perfetto then show those captures, marked as read from a
log; what the log cannot tell (a thread, a debug line an info-level log lacks) is said, not
guessed. An INPUT may be a folder: every file under it is read (files without a line of the
plug-in are passed over and counted), on -j threads, and reported in name order. With more than
one capture the report ends with a summary of them all (per device and build, refusals by reason
class, the taken frames' lag); --table writes one row per capture (docs/capture-table.md).

Options:
  --json                 print the results as JSON instead of the text report
  --log                  add the plug-in's own lines to the text report
  --svg FILE             draw each capture as a timeline into FILE
  --perfetto FILE        write a Trace Event Format file (ui.perfetto.dev, chrome://tracing)
  --write-logcat FILE    write the plug-in's Android-log lines as `adb logcat -v threadtime`
                         would show them (the Android log is opened at debug level for this)
  --logcat-format WORDS  logcat's -v words for --write-logcat, comma-separated (default
                         threadtime; e.g. long,uid or brief,year), written by liblog itself
  --from-log INPUT       read captures from a device log, a bug report or a folder of them
                         instead of replaying ("-": stdin)
  -j, --jobs N           read N inputs at a time (default: the machine's cores); the output
                         is the same for any N
  --follow               with one --from-log: explain each capture as soon as it is complete
                         (the next call on its thread has begun, or it has been quiet for a
                         second), for a live `adb logcat`; ends at the end of input or Ctrl-C
  --table FILE           write one row per capture: FILE.csv as CSV, FILE.jsonl as JSON Lines;
                         csv:FILE or jsonl:FILE name the format, csv:- or jsonl:- write it to
                         standard output instead of the report
  --summary-svg FILE     draw the summary of all captures into FILE
  --write-traces DIR     with --from-log: write each capture read as a trace, DIR/fwkFrame-N.json,
                         to replay and change (an existing file is not overwritten)
  --plugin PATH          the plug-in to load (default: the one beside this program, else the
                         installed one)
  --real-clock           let the plug-in read the machine's boot-time clock
  --write-expectations   write each step's results into its trace file as "expect"
                         (the file is rewritten; review the change before keeping it)
  --list-tags            print every metadata tag a trace may use, with its type
  --version              print the version
  -h, --help             print this help

Exit status:
  0  every trace replayed and met its expectations
  1  a step's results differ from its expectations
  2  bad input (a trace, an option, an output file, a log without a line of the plug-in)
     or a plug-in that cannot be loaded; a bad trace or log is named in one line and the
     others are still read

Environment:
  ANDROID_LOG_TAGS   logcat's filter for the plug-in's Android-log lines (tag "KoAlgoEngine"),
                     e.g. "KoAlgoEngine:D" or "*:I"; "s" silences. The lines go to standard
                     error in logcat's threadtime format, timed on the replay's boot-time clock.
                     A trace's "log" gates decide which lines the plug-in writes at all.
)";

int usageError(const std::string &message)
{
    std::cerr << "zsl-replay: " << message << " (see zsl-replay --help)\n";
    return 2;
}

// The lowest priority ANDROID_LOG_TAGS lets through for the plug-in's tag,
// as logcat reads it: "TAG:L" entries win over "*:L"; no entry shows all.
int androidLogPriority()
{
    const char *tags = std::getenv("ANDROID_LOG_TAGS");
    std::istringstream entries(tags ? tags : "");
    const std::string letters = "vdiwefs";
    int forTag = -1, forAll = -1;
    for (std::string entry; entries >> entry;) {
        const auto colon = entry.rfind(':');
        const std::string tag = entry.substr(0, colon);
        const auto level = colon == std::string::npos || colon + 2 != entry.size()
                               ? std::string::npos
                               : letters.find(static_cast<char>(std::tolower(entry[colon + 1])));
        const int priority = level == std::string::npos ? ANDROID_LOG_VERBOSE : ANDROID_LOG_VERBOSE + int(level);
        if (tag == "*")
            forAll = priority;
        else if (tag == "KoAlgoEngine")
            forTag = priority;
    }
    return forTag >= 0 ? forTag : forAll >= 0 ? forAll : ANDROID_LOG_VERBOSE;
}

// The plug-in's Android-log lines at or above a priority, as `adb logcat
// -v FORMAT` shows them.
void writeAndroidLog(std::ostream &out, const replay::SessionOutcome &outcome, int minimumPriority,
                     const std::string &format = "threadtime")
{
    const std::string letters = "VDIWEF";
    for (const kohost::LogLine &line : outcome.androidLog) {
        const auto level = letters.find(line.level);
        if (level != std::string::npos && ANDROID_LOG_VERBOSE + static_cast<int>(level) >= minimumPriority)
            out << replay::logcatLine(line, format) << "\n";
    }
}

// Writes each capture of the sessions as a trace into dir; never over a file.
bool writeTraces(const std::string &dir, const std::vector<replay::SessionOutcome> &sessions)
{
    struct stat info {};
    if (stat(dir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        std::cerr << "zsl-replay: --write-traces " << dir << ": not a directory\n";
        return false;
    }
    bool ok = true;
    std::map<std::string, int> used;
    for (const replay::SessionOutcome &session : sessions)
        for (const replay::StepOutcome &step : session.steps) {
            if (!step.selectRan)
                continue;
            std::string name = dir + "/fwkFrame-" + std::to_string(step.fwkFrame);
            if (const int n = used[name]++; n > 0)
                name += "-" + std::to_string(n + 1);
            name += ".json";
            const int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
            if (fd < 0) {
                std::cerr << "zsl-replay: cannot write " << name << ": " << std::strerror(errno)
                          << (errno == EEXIST ? " (not overwritten)" : "") << "\n";
                ok = false;
                continue;
            }
            const std::string text = replay::jsonText(replay::traceFromLog(session, step), 2) + "\n";
            const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
            if (close(fd) != 0 || !written) {
                std::cerr << "zsl-replay: cannot write " << name << ": " << std::strerror(errno) << "\n";
                ok = false;
            }
        }
    return ok;
}

// Writes text into path; false with one line on standard error when it cannot.
bool writeFile(const std::string &path, const std::string &text)
{
    std::ofstream file(path);
    file << text;
    file.close();
    if (!file)
        std::cerr << "zsl-replay: cannot write " << path << ": " << std::strerror(errno) << "\n";
    return static_cast<bool>(file);
}

void listTags()
{
    static const char *const kTypes[] = {"byte", "int32", "float", "int64", "double", "rational"};
    for (const auto *table : {&KoTagTable::androidTags(), &KoTagTable::vendorTags()})
        for (const KoTagInfo &tag : *table) {
            char id[16];
            std::snprintf(id, sizeof(id), "0x%08x", tag.id);
            std::cout << id << "  " << (tag.type < 6 ? kTypes[tag.type] : "?") << "\t" << tag.name << "\n";
        }
}

volatile std::sig_atomic_t gStop = 0; // set by Ctrl-C in a live log

void stopReading(int)
{
    gStop = 1;
}

// Where --table writes: the format from "csv:"/"jsonl:" or the extension.
struct TableTarget {
    std::string path;
    replay::CaptureTableWriter::Format format = replay::CaptureTableWriter::Format::Csv;
};

std::optional<TableTarget> tableTarget(const std::string &value)
{
    using Format = replay::CaptureTableWriter::Format;
    auto endsWith = [&](const std::string &end) {
        return value.size() > end.size() && value.compare(value.size() - end.size(), end.size(), end) == 0;
    };
    if (value.rfind("csv:", 0) == 0 && value.size() > 4)
        return TableTarget{value.substr(4), Format::Csv};
    if (value.rfind("jsonl:", 0) == 0 && value.size() > 6)
        return TableTarget{value.substr(6), Format::JsonLines};
    if (endsWith(".csv"))
        return TableTarget{value, Format::Csv};
    if (endsWith(".jsonl"))
        return TableTarget{value, Format::JsonLines};
    return std::nullopt;
}

// Reads the inputs on `jobs` threads into outputs; answers the exit status.
int readLogs(const std::vector<std::string> &inputs, unsigned jobs, replay::Outputs &outputs)
{
    int status = 0;
    std::vector<std::string> errors;
    const std::vector<replay::LogSource> sources = replay::expandLogInputs(inputs, errors);
    for (const std::string &error : errors)
        std::cerr << "zsl-replay: " << error << "\n";
    if (!errors.empty())
        status = 2;
    size_t passedOver = 0, explained = 0;
    replay::readLogSources(sources, jobs, [&](replay::LogRead read) {
        for (const std::string &message : read.messages)
            std::cerr << "zsl-replay: " << message << "\n";
        if (read.failed)
            status = 2;
        passedOver += read.withoutPluginLines && !read.failed;
        if (read.session) {
            ++explained;
            outputs.add(std::move(*read.session));
        }
    });
    if (passedOver > 0 && explained == 0) {
        std::cerr << "zsl-replay: no line of the plug-in (tag KoAlgoEngine) in any of the " << passedOver
                  << " files read\n";
        status = 2;
    } else if (passedOver > 0) {
        std::cerr << "zsl-replay: " << passedOver << (passedOver == 1 ? " file" : " files")
                  << " in the folders given " << (passedOver == 1 ? "holds" : "hold")
                  << " no line of the plug-in (passed over)\n";
    }
    return status;
}

// Reads a log as it is written, explaining each capture once complete.
int followLog(const std::string &input, replay::Outputs &outputs)
{
    struct sigaction stop {};
    stop.sa_handler = stopReading; // no SA_RESTART: a waiting read returns
    sigaction(SIGINT, &stop, nullptr);
    sigaction(SIGTERM, &stop, nullptr);
    signal(SIGPIPE, SIG_IGN); // a reader that went away is seen as a failed write
    replay::LiveImporter live(input, [&](replay::SessionOutcome session, const std::vector<std::string> &warnings) {
        for (const std::string &warning : warnings)
            std::cerr << "zsl-replay: " << input << ": warning: " << warning << "\n";
        outputs.add(std::move(session));
        if (!std::cout)
            gStop = 1;
    });
    replay::LogOrigin origin;
    const replay::LiveReading reading{[&] { live.idle(); }, &gStop};
    const std::string error = replay::readLogInput(
        input, [&](kohost::LogLine line, uint64_t number) { live.add(std::move(line), number); },
        [&](const std::string &problem) { std::cerr << "zsl-replay: " << input << ": warning: " << problem << "\n"; },
        origin, &reading);
    if (!error.empty()) {
        std::cerr << "zsl-replay: " << error << "\n";
        return 2;
    }
    live.finish();
    if (live.linesUsed() == 0 && !gStop) {
        std::cerr << "zsl-replay: " << input << ": no line of the plug-in (tag KoAlgoEngine) in this log\n";
        return 2;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    std::string pluginPath = kohost::pluginNearProgram(ZSL_PLUGIN_FROM_BINDIR);
    std::string svgPath, perfettoPath, logcatPath, logcatFormat = "threadtime", tracesDir, tablePath, summarySvgPath,
        jobsText;
    bool json = false, withLog = false, realClock = false, writeExpectations = false, follow = false;
    std::vector<std::string> files, logs;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const std::map<std::string, std::string *> valued = {
            {"--plugin", &pluginPath}, {"--svg", &svgPath}, {"--perfetto", &perfettoPath},
            {"--write-logcat", &logcatPath}, {"--logcat-format", &logcatFormat}, {"--write-traces", &tracesDir},
            {"--table", &tablePath}, {"--summary-svg", &summarySvgPath}, {"-j", &jobsText}, {"--jobs", &jobsText}};
        if (auto option = valued.find(arg); option != valued.end() || arg == "--from-log") {
            if (i + 1 == argc)
                return usageError(arg + " needs a value");
            if (arg == "--from-log")
                logs.push_back(argv[++i]);
            else
                *option->second = argv[++i];
        } else if (arg.rfind("-j", 0) == 0 && arg.size() > 2) {
            jobsText = arg.substr(2);
        } else if (arg == "--json") {
            json = true;
        } else if (arg == "--log") {
            withLog = true;
        } else if (arg == "--real-clock") {
            realClock = true;
        } else if (arg == "--write-expectations") {
            writeExpectations = true;
        } else if (arg == "--follow") {
            follow = true;
        } else if (arg == "--list-tags") {
            listTags();
            return 0;
        } else if (arg == "--version") {
            std::cout << "zsl-replay " << ZSL_VERSION << "\n";
            return 0;
        } else if (arg == "--help" || arg == "-h") {
            std::cout << kHelp;
            return 0;
        } else if (arg.size() > 1 && arg[0] == '-') {
            return usageError("unknown option " + arg);
        } else {
            files.push_back(arg);
        }
    }
    if (writeExpectations && (files.empty() || std::count(files.begin(), files.end(), "-") > 0))
        return usageError("--write-expectations needs the trace files to write");
    if (!logs.empty() && (!files.empty() || writeExpectations || !logcatPath.empty() || realClock))
        return usageError("--from-log reads logs and replays nothing: give it no trace, and no replay option");
    if (std::string bad; !replay::isLogcatFormat(logcatFormat, bad))
        return usageError("--logcat-format: \"" + bad + "\" is not a format of logcat -v");
    if (logs.empty() && (!tracesDir.empty() || follow || !jobsText.empty() || !summarySvgPath.empty()))
        return usageError("--write-traces, --follow, --jobs and --summary-svg work on the logs read with --from-log");
    if (std::count(logs.begin(), logs.end(), "-") > 1)
        return usageError("standard input can be read once: give --from-log - once");
    if (follow && (logs.size() != 1 || std::filesystem::is_directory(logs.front())))
        return usageError("--follow reads one log as it is written: give one --from-log, not a folder");
    unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
    if (!jobsText.empty()) {
        char *end = nullptr;
        const unsigned long value = std::strtoul(jobsText.c_str(), &end, 10);
        if (jobsText[0] == '-' || *end != '\0' || value == 0 || value > 1024)
            return usageError("--jobs takes a number of threads from 1 to 1024, not \"" + jobsText + "\"");
        jobs = static_cast<unsigned>(value);
    }

    std::optional<TableTarget> table;
    if (!tablePath.empty() && !(table = tableTarget(tablePath)))
        return usageError("--table " + tablePath + ": name a .csv or .jsonl file, or write csv:FILE or jsonl:FILE");
    const bool tableOnStdout = table && table->path == "-";
    if (tableOnStdout && json)
        return usageError("--json and a table on standard output: one of them can have it");
    for (const std::string &log : logs) {
        std::error_code error;
        if (table && !tableOnStdout && std::filesystem::equivalent(log, table->path, error))
            return usageError("--table " + table->path + " is an input: it would be overwritten");
    }
    std::ofstream tableFile;
    if (table && !tableOnStdout) {
        tableFile.open(table->path);
        if (!tableFile) {
            std::cerr << "zsl-replay: cannot write " << table->path << ": " << std::strerror(errno) << "\n";
            return 2;
        }
    }

    replay::OutputOptions options;
    options.report = !tableOnStdout;
    options.json = json;
    options.jsonLines = json && follow;
    options.withLog = withLog;
    options.summary = !logs.empty();
    if (logs.empty())
        options.plugin = pluginPath;
    if (table) {
        options.table = tableOnStdout ? static_cast<std::ostream *>(&std::cout) : &tableFile;
        options.tableFormat = table->format;
    }
    options.keepSessions = logs.empty() || !svgPath.empty() || !perfettoPath.empty() || !tracesDir.empty();
    replay::Outputs outputs(std::cout, options);

    int status = 0;
    std::vector<replay::TraceSpec> traces;
    if (!logs.empty()) {
        status = follow ? followLog(logs.front(), outputs) : readLogs(logs, jobs, outputs);
        if (!tracesDir.empty() && !writeTraces(tracesDir, outputs.sessions()))
            status = 2;
    } else {
        // A bad trace is named and left out; the others are replayed.
        if (files.empty())
            for (const replay::BuiltinTrace &builtin : replay::builtinTraces())
                traces.push_back(replay::parseTrace(builtin.text, builtin.name));
        for (const std::string &file : files) {
            try {
                if (file == "-") {
                    std::ostringstream text;
                    text << std::cin.rdbuf();
                    traces.push_back(replay::parseTrace(text.str(), "<stdin>"));
                } else {
                    traces.push_back(replay::readTraceFile(file));
                }
            } catch (const replay::TraceError &error) {
                std::istringstream lines(error.what());
                for (std::string line; std::getline(lines, line);)
                    std::cerr << "zsl-replay: " << line << "\n";
                status = 2;
            }
        }
        for (const replay::TraceSpec &trace : traces)
            for (const std::string &warning : trace.warnings)
                std::cerr << "zsl-replay: warning: " << warning << "\n";

        std::ostringstream logcat;
        try {
            replay::Replayer replayer(pluginPath, realClock);
            for (replay::TraceSpec &trace : traces) {
                if (!logcatPath.empty()) { // the Android log open, at debug level
                    trace.logLevel = std::min<uint32_t>(trace.logLevel, ANDROID_LOG_DEBUG);
                    trace.logGroup |= 0x40;
                }
                replay::SessionOutcome result = replayer.run(trace);
                // Lines the trace's own gates keep closed are echoed only when asked for.
                if (logcatPath.empty() || std::getenv("ANDROID_LOG_TAGS"))
                    writeAndroidLog(std::cerr, result, androidLogPriority());
                writeAndroidLog(logcat, result, ANDROID_LOG_VERBOSE, logcatFormat);
                outputs.add(std::move(result));
            }
        } catch (const kohost::PluginLoadError &error) {
            std::cerr << "zsl-replay: " << error.what() << "\n";
            return 2;
        }
        if (!logcatPath.empty() && !writeFile(logcatPath, logcat.str()))
            status = 2;
    }
    outputs.finish();
    if (tableFile.is_open()) {
        tableFile.close();
        if (!tableFile) {
            std::cerr << "zsl-replay: cannot write " << table->path << ": " << std::strerror(errno) << "\n";
            status = 2;
        }
    }

    const std::vector<replay::SessionOutcome> &results = outputs.sessions();
    for (size_t t = 0; t < traces.size(); ++t) {
        if (writeExpectations) {
            try {
                replay::writeExpectations(traces[t].file, results[t]);
            } catch (const replay::TraceError &error) {
                std::cerr << "zsl-replay: " << error.what() << "\n";
                status = 2;
            }
            continue;
        }
        for (size_t s = 0; s < traces[t].steps.size(); ++s) {
            if (!traces[t].steps[s].expect)
                continue;
            for (const std::string &difference : replay::differences(*traces[t].steps[s].expect, results[t].steps[s])) {
                std::cerr << traces[t].file << ": at /steps/" << s << ": " << difference << "\n";
                status = std::max(status, 1);
            }
        }
    }

    if (!svgPath.empty() && !writeFile(svgPath, replay::drawTimeline(results)))
        return 2;
    if (!perfettoPath.empty() && !writeFile(perfettoPath, replay::jsonText(replay::perfettoTrace(results)) + "\n"))
        return 2;
    if (!summarySvgPath.empty() && !writeFile(summarySvgPath, outputs.summary().svg()))
        return 2;
    return status;
}
