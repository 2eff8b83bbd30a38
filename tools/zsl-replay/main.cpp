// zsl-replay: replays captures through the real plug-in and explains them.
// The command line; everything it prints for --help is below.

#include "BuiltinTraces.h"
#include "DeviceLog.h"
#include "Expectations.h"
#include "LogImporter.h"
#include "LogInput.h"
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

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>

namespace {

const char kHelp[] = R"(usage: zsl-replay [OPTIONS] [TRACE.json ...]
       zsl-replay [OPTIONS] --from-log LOG [--from-log LOG ...]

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
guessed.

Options:
  --json                 print the results as JSON instead of the text report
  --log                  add the plug-in's own lines to the text report
  --svg FILE             draw each capture as a timeline into FILE
  --perfetto FILE        write a Trace Event Format file (ui.perfetto.dev, chrome://tracing)
  --write-logcat FILE    write the plug-in's Android-log lines as `adb logcat -v threadtime`
                         would show them (the Android log is opened at debug level for this)
  --logcat-format WORDS  logcat's -v words for --write-logcat, comma-separated (default
                         threadtime; e.g. long,uid or brief,year), written by liblog itself
  --from-log LOG         read captures from a device log instead of replaying ("-": stdin)
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
     or a plug-in that cannot be loaded; a bad trace is named in one line and the others
     are still replayed

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
// -v threadtime` shows them.
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

// Reads one device log (any container) into a session; problems go to standard error.
std::optional<replay::SessionOutcome> importLog(const std::string &file)
{
    struct stat info {};
    if (file != "-" && stat(file.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        std::cerr << "zsl-replay: " << file << ": is a directory, not a log\n";
        return std::nullopt;
    }
    replay::LogImporter importer(file);
    replay::LogOrigin origin;
    const std::string error = replay::readLogInput(
        file, [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); },
        [&](const std::string &problem) { importer.problem(problem); }, origin);
    if (!error.empty()) {
        std::cerr << "zsl-replay: " << error << "\n";
        return std::nullopt;
    }
    replay::SessionOutcome session = importer.finish();
    session.device = origin.device;
    session.reportTime = origin.reportTime;
    for (const std::string &warning : importer.warnings())
        std::cerr << "zsl-replay: " << file << ": warning: " << warning << "\n";
    if (importer.linesUsed() == 0) {
        std::cerr << "zsl-replay: " << file << ": no line of the plug-in (tag KoAlgoEngine) in this log\n";
        return std::nullopt;
    }
    return session;
}

// JSON text of anything read: a device log's bytes need not be UTF-8, and a
// byte that is not becomes U+FFFD instead of an error.
template <typename Json> std::string jsonText(const Json &value, int indent = -1)
{
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
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
            const std::string text = jsonText(replay::traceFromLog(session, step), 2) + "\n";
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

} // namespace

int main(int argc, char **argv)
{
    std::string pluginPath = kohost::pluginNearProgram(ZSL_PLUGIN_FROM_BINDIR);
    std::string svgPath, perfettoPath, logcatPath, logcatFormat = "threadtime", tracesDir;
    bool json = false, withLog = false, realClock = false, writeExpectations = false;
    std::vector<std::string> files, logs;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const std::map<std::string, std::string *> valued = {
            {"--plugin", &pluginPath}, {"--svg", &svgPath}, {"--perfetto", &perfettoPath},
            {"--write-logcat", &logcatPath}, {"--logcat-format", &logcatFormat}, {"--write-traces", &tracesDir}};
        if (auto option = valued.find(arg); option != valued.end() || arg == "--from-log") {
            if (i + 1 == argc)
                return usageError(arg + " needs a value");
            if (arg == "--from-log")
                logs.push_back(argv[++i]);
            else
                *option->second = argv[++i];
        } else if (arg == "--json") {
            json = true;
        } else if (arg == "--log") {
            withLog = true;
        } else if (arg == "--real-clock") {
            realClock = true;
        } else if (arg == "--write-expectations") {
            writeExpectations = true;
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
    if (logs.empty() && !tracesDir.empty())
        return usageError("--write-traces writes the captures read with --from-log");

    int status = 0;
    std::vector<replay::SessionOutcome> results;
    std::vector<replay::TraceSpec> traces;
    if (!logs.empty()) {
        for (const std::string &log : logs) {
            if (auto session = importLog(log))
                results.push_back(std::move(*session));
            else
                status = 2;
        }
        if (!tracesDir.empty() && !writeTraces(tracesDir, results))
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
                results.push_back(replayer.run(trace));
                // Lines the trace's own gates keep closed are echoed only when asked for.
                if (logcatPath.empty() || std::getenv("ANDROID_LOG_TAGS"))
                    writeAndroidLog(std::cerr, results.back(), androidLogPriority());
                writeAndroidLog(logcat, results.back(), ANDROID_LOG_VERBOSE, logcatFormat);
            }
        } catch (const kohost::PluginLoadError &error) {
            std::cerr << "zsl-replay: " << error.what() << "\n";
            return 2;
        }
        if (!logcatPath.empty() && !writeFile(logcatPath, logcat.str()))
            status = 2;
    }

    if (json) {
        nlohmann::json out = {{"traces", nlohmann::json::array()}};
        // The plug-in by file name: the build's path would differ from machine to machine.
        if (logs.empty())
            out["plugin"] = pluginPath.substr(pluginPath.rfind('/') + 1);
        for (const replay::SessionOutcome &result : results)
            out["traces"].push_back(replay::toJson(result));
        std::cout << jsonText(out, 2) << "\n";
    } else {
        for (const replay::SessionOutcome &result : results) {
            replay::writeText(std::cout, result, withLog);
            std::cout << "\n";
        }
    }

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
    if (!perfettoPath.empty() && !writeFile(perfettoPath, jsonText(replay::perfettoTrace(results)) + "\n"))
        return 2;
    return status;
}
