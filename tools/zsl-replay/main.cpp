// zsl-replay: replays captures through the real plug-in and explains them.
// The command line; everything it prints for --help is below.

#include "BuiltinTraces.h"
#include "Expectations.h"
#include "Replayer.h"
#include "Report.h"
#include "Timeline.h"
#include "TraceReader.h"

#include <KoTagTable.h>
#include <PluginSession.h>

#include <android/log.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <sstream>

namespace {

const char kHelp[] = R"(usage: zsl-replay [OPTIONS] [TRACE.json ...]

Replays ZSL captures through the plug-in as the camera framework calls it: sets a trace's system
properties, loads the plug-in with dlopen, and drives isSelectorNeeded, selectZSLFrames and
checkFrame with the queues and metadata the trace describes (docs/trace-format.md). Without a
trace it replays the built-in captures (examples/*.json). TRACE "-" reads standard input.

The plug-in's boot-time clock reads each step's capture moment (100 s after boot), so a replay
gives the same output on every run and every machine. A step's "expect" is compared with what
happened; each difference is one line on standard error.

Options:
  --json                 print the results as JSON instead of the text report
  --log                  add the plug-in's own lines to the text report
  --svg FILE             draw each capture as a timeline into FILE
  --plugin PATH          the plug-in to load (default: the one this build made)
  --real-clock           let the plug-in read the machine's boot-time clock
  --write-expectations   write each step's results into its trace file as "expect"
                         (the file is rewritten; review the change before keeping it)
  --list-tags            print every metadata tag a trace may use, with its type
  --version              print the version
  -h, --help             print this help

Exit status:
  0  every trace replayed and met its expectations
  1  a step's results differ from its expectations
  2  bad input (a trace, an option, an output file) or a plug-in that cannot be loaded;
     a bad trace is named in one line and the others are still replayed

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

// The plug-in's Android-log lines as `adb logcat -v threadtime` shows them:
// "MM-DD HH:MM:SS.mmm  PID  TID L TAG: message".
void writeAndroidLog(const replay::SessionOutcome &outcome, int minimumPriority)
{
    const std::string letters = "VDIWEF";
    for (const kohost::LogLine &line : outcome.androidLog) {
        const auto level = letters.find(line.level);
        if (level == std::string::npos || ANDROID_LOG_VERBOSE + static_cast<int>(level) < minimumPriority)
            continue;
        const std::time_t seconds = static_cast<std::time_t>(line.timeNs / 1000000000);
        std::tm when{};
        gmtime_r(&seconds, &when);
        char stamp[64];
        std::strftime(stamp, sizeof(stamp), "%m-%d %H:%M:%S", &when);
        char head[128];
        std::snprintf(head, sizeof(head), "%s.%03d %5d %5d %s KoAlgoEngine: ", stamp,
                      static_cast<int>(line.timeNs / 1000000 % 1000), line.pid, line.tid, line.level.c_str());
        std::cerr << head << line.group << " " << line.fileName << ":" << line.line << " " << line.function << "()"
                  << line.text << "\n";
    }
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
    std::string pluginPath = kohost::defaultPluginPath();
    std::string svgPath;
    bool json = false, withLog = false, realClock = false, writeExpectations = false;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--plugin" || arg == "--svg") {
            if (i + 1 == argc)
                return usageError(arg + " needs a value");
            (arg == "--plugin" ? pluginPath : svgPath) = argv[++i];
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

    // A bad trace is named and left out; the others are replayed.
    int status = 0;
    std::vector<replay::TraceSpec> traces;
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

    std::vector<replay::SessionOutcome> results;
    try {
        replay::Replayer replayer(pluginPath, realClock);
        for (const replay::TraceSpec &trace : traces) {
            results.push_back(replayer.run(trace));
            writeAndroidLog(results.back(), androidLogPriority());
        }
    } catch (const kohost::PluginLoadError &error) {
        std::cerr << "zsl-replay: " << error.what() << "\n";
        return 2;
    }

    if (json) {
        // The plug-in by file name: the build's path would differ from machine to machine.
        const std::string plugin = pluginPath.substr(pluginPath.rfind('/') + 1);
        nlohmann::json out = {{"plugin", plugin}, {"traces", nlohmann::json::array()}};
        for (const replay::SessionOutcome &result : results)
            out["traces"].push_back(replay::toJson(result));
        std::cout << out.dump(2) << "\n";
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

    if (!svgPath.empty()) {
        std::ofstream svg(svgPath);
        svg << replay::drawTimeline(results);
        if (!svg) {
            std::cerr << "zsl-replay: cannot write " << svgPath << ": " << std::strerror(errno) << "\n";
            return 2;
        }
    }
    return status;
}
