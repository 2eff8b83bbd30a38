// zsl-replay: replays captures through the real plug-in and explains them.
//
//   zsl-replay [--plugin PATH] [--json] [--svg FILE] [--log] [--real-clock]
//              [--write-expectations] [TRACE.json ...]
//
// With no trace it replays the built-in captures (also under examples/). The
// plug-in's boot-time clock is pinned at each step's capture moment, so the
// output is the same on every run; --real-clock lets it read the machine's.
// A step's "expect" is compared with what happened: each difference is one
// line on standard error and the exit status is 1. --write-expectations
// writes the results into the given trace files as their expectations.
// Bad input or a plug-in that cannot be loaded: one line on standard error
// and exit status 2.

#include "BuiltinTraces.h"
#include "Expectations.h"
#include "Replayer.h"
#include "Report.h"
#include "Timeline.h"
#include "TraceReader.h"

#include <PluginSession.h>

#include <android/log.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

namespace {

// Debian's host liblog ignores ANDROID_LOG_TAGS; honour its "*:<level>"
// entry here, and otherwise let the trace's kodebug gates alone decide.
int androidLogPriority()
{
    int priority = ANDROID_LOG_VERBOSE;
    if (const char *tags = std::getenv("ANDROID_LOG_TAGS")) {
        const std::string text = tags;
        const std::string letters = "vdiwefs";
        auto at = text.find("*:");
        if (at != std::string::npos && at + 2 < text.size()) {
            auto level = letters.find(static_cast<char>(std::tolower(text[at + 2])));
            if (level != std::string::npos)
                priority = ANDROID_LOG_VERBOSE + static_cast<int>(level);
        }
    }
    return priority;
}

// The plug-in's Android-log lines of a replay, on standard error as a
// device's log shows them, from the given priority on.
void writeAndroidLog(const replay::SessionOutcome &outcome, int minimumPriority)
{
    const std::string letters = "VDIWEF";
    for (const kohost::LogLine &line : outcome.androidLog) {
        const auto level = letters.find(line.level);
        if (level == std::string::npos || ANDROID_LOG_VERBOSE + static_cast<int>(level) < minimumPriority)
            continue;
        std::cerr << line.level << " KoAlgoEngine: " << line.group << " " << line.fileName << ":" << line.line << " "
                  << line.function << "()" << line.text << "\n";
    }
}

int usage(const char *message)
{
    std::cerr << "zsl-replay: " << message << "\n"
              << "usage: zsl-replay [--plugin PATH] [--json] [--svg FILE] [--log] [--real-clock]\n"
              << "                  [--write-expectations] [TRACE.json ...]\n";
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    std::string pluginPath = kohost::defaultPluginPath();
    std::string svgPath;
    bool json = false;
    bool withLog = false;
    bool realClock = false;
    bool writeExpectations = false;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--plugin" || arg == "--svg") {
            if (i + 1 == argc)
                return usage((arg + " needs a value").c_str());
            (arg == "--plugin" ? pluginPath : svgPath) = argv[++i];
        } else if (arg == "--json") {
            json = true;
        } else if (arg == "--log") {
            withLog = true;
        } else if (arg == "--real-clock") {
            realClock = true;
        } else if (arg == "--write-expectations") {
            writeExpectations = true;
        } else if (arg == "--help" || arg == "-h") {
            usage("replays ZSL captures through the plug-in");
            return 0;
        } else if (!arg.empty() && arg[0] == '-') {
            return usage(("unknown option " + arg).c_str());
        } else {
            files.push_back(arg);
        }
    }

    if (writeExpectations && files.empty())
        return usage("--write-expectations needs the trace files to write");

    std::vector<replay::TraceSpec> traces;
    try {
        if (files.empty())
            for (const replay::BuiltinTrace &builtin : replay::builtinTraces())
                traces.push_back(replay::parseTrace(builtin.text, builtin.name));
        for (const std::string &file : files)
            traces.push_back(replay::readTraceFile(file));
    } catch (const replay::TraceError &error) {
        std::cerr << "zsl-replay: " << error.what() << "\n";
        return 2;
    }

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
        nlohmann::json out = {{"plugin", pluginPath}, {"traces", nlohmann::json::array()}};
        for (const replay::SessionOutcome &result : results)
            out["traces"].push_back(replay::toJson(result));
        std::cout << out.dump(2) << "\n";
    } else {
        for (const replay::SessionOutcome &result : results) {
            replay::writeText(std::cout, result, withLog);
            std::cout << "\n";
        }
    }
    int status = 0;
    for (size_t t = 0; t < traces.size(); ++t) {
        if (writeExpectations) {
            try {
                replay::writeExpectations(traces[t].file, results[t]);
            } catch (const replay::TraceError &error) {
                std::cerr << "zsl-replay: " << error.what() << "\n";
                return 2;
            }
            continue;
        }
        for (size_t s = 0; s < traces[t].steps.size(); ++s) {
            if (!traces[t].steps[s].expect)
                continue;
            for (const std::string &difference : replay::differences(*traces[t].steps[s].expect, results[t].steps[s])) {
                std::cerr << traces[t].file << ": at /steps/" << s << ": " << difference << "\n";
                status = 1;
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
