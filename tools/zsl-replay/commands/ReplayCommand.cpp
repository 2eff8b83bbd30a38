// Traces replayed through the plug-in, their outcomes to the outputs.

#include "commands/ReplayCommand.h"

#include "commands/SharedOutputs.h"
#include "commands/Usage.h"
#include "messages/PluginMessages.h"
#include "outcome/Error.h"
#include "perfetto/TraceFile.h"
#include "output/LogcatWriter.h"
#include "output/Outputs.h"
#include "output/Sinks.h"
#include "replay/BuiltinTraces.h"
#include "replay/Expectations.h"
#include "replay/Replayer.h"
#include "replay/TraceReader.h"

#include <PluginLoader.h>
#include <PluginLoader.h>

#include <android/log.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

namespace zsl::commands {

namespace {

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
        else if (tag == messages::kPluginTag)
            forTag = priority;
    }
    return forTag >= 0 ? forTag : forAll >= 0 ? forAll : ANDROID_LOG_VERBOSE;
}

// What another subcommand reads, told by a file's first bytes: a device
// log, a bug report or a Perfetto trace given to replay is said in one line
// that names the subcommand, not reported as bad JSON. "" for a trace.
std::string readByAnotherCommand(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::string head(64 * 1024, '\0');
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(in.gcount()));
    const size_t first = head.find_first_not_of(" \t\r\n");
    if (first == std::string::npos || head[first] == '{' || head[first] == '[')
        return ""; // JSON, or empty: the trace reader says what is wrong with it
    const std::string explain =
        ": zsl-replay explain " + path + " reads it (replay reads traces, docs/trace-format.md)";
    if (head.rfind("PK\x03\x04", 0) == 0)
        return path + " is a zip, as adb bugreport writes" + explain;
    if (head.rfind("\x1f\x8b", 0) == 0)
        return path + " is gzip-compressed, as logd's persistent logs are" + explain;
    if (perfetto::looksLikeTrace(head))
        return path + " is a Perfetto trace" + explain;
    if (head.find("== dumpstate") != std::string::npos)
        return path + " is a bug report" + explain;
    if (head.find(messages::kPluginTag) != std::string::npos ||
        head.find("--------- beginning of") != std::string::npos)
        return path + " is a device log" + explain;
    return "";
}

// The traces to replay; a bad one is named and left out (status 2).
std::vector<replay::TraceSpec> readTraces(const std::vector<std::string> &files, int &status)
{
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
            } else if (const std::string other = readByAnotherCommand(file); !other.empty()) {
                throw outcome::Error(other);
            } else {
                traces.push_back(replay::readTraceFile(file));
            }
        } catch (const outcome::Error &error) {
            printError(error);
            status = kExitFailed;
        }
    }
    for (const replay::TraceSpec &trace : traces)
        for (const std::string &warning : trace.warnings)
            std::cerr << "zsl-replay: warning: " << warning << "\n";
    return traces;
}

// The outputs asked for; throws outcome::Error when a file cannot be opened.
void attachOutputs(const ReplayOptions &options, const std::string &plugin, output::Outputs &outputs)
{
    using output::OutputFile;
    const std::vector<std::string> &inputs = options.traces;
    // Lines the trace's own gates keep closed are echoed only when asked for.
    if (options.logcatPath.empty() || std::getenv("ANDROID_LOG_TAGS"))
        outputs.attach(std::make_unique<output::AndroidLogSink>(std::cerr, androidLogPriority(), "threadtime"));
    if (!options.logcatPath.empty())
        outputs.attach(std::make_unique<output::AndroidLogSink>(
            std::make_unique<OutputFile>(options.logcatPath, inputs), ANDROID_LOG_VERBOSE, options.logcatFormat));
    const auto form = options.output.json ? output::ReportSink::Form::Json : output::ReportSink::Form::Text;
    outputs.attach(std::make_unique<output::ReportSink>(std::cout, form, options.withLog, nullptr, plugin));
    attachPictures(options.output, inputs, outputs);
}

} // namespace

int runReplay(const ReplayOptions &options)
{
    const bool fromStdin = std::count(options.traces.begin(), options.traces.end(), "-") > 0;
    if (options.writeExpectations && (options.traces.empty() || fromStdin))
        throw UsageError("--write-expectations needs the trace files to write");
    if (std::count(options.traces.begin(), options.traces.end(), "-") > 1)
        throw UsageError("standard input can be read once: give - once");
    if (std::string bad; !output::isLogcatFormat(options.logcatFormat, bad))
        throw UsageError("--logcat-format: \"" + bad + "\" is not a format of logcat -v");
    checkOutputOptions(options.output);
    const std::string plugin =
        options.pluginPath.empty() ? kohost::pluginNearProgram(ZSL_PLUGIN_FROM_BINDIR) : options.pluginPath;
    output::Outputs outputs;
    try {
        attachOutputs(options, plugin, outputs);
    } catch (const outcome::Error &error) {
        printError(error);
        return kExitFailed;
    }

    int status = kExitOk;
    std::vector<replay::TraceSpec> traces = readTraces(options.traces, status);
    std::vector<std::string> differences; // said after every trace has run, in the traces' order
    try {
        const replay::Replayer replayer(plugin, options.realClock);
        for (replay::TraceSpec &trace : traces) {
            if (!options.logcatPath.empty()) { // the Android log open, at debug level
                trace.logLevel = std::min<uint32_t>(trace.logLevel, ANDROID_LOG_DEBUG);
                trace.logGroup |= 0x40;
            }
            const outcome::SessionOutcome result = replayer.run(trace);
            outputs.add(result);
            if (options.writeExpectations) {
                try {
                    replay::writeExpectations(trace.file, result);
                } catch (const outcome::Error &error) {
                    printError(error);
                    status = kExitFailed;
                }
                continue;
            }
            for (size_t s = 0; s < trace.steps.size(); ++s)
                if (trace.steps[s].expect)
                    for (const std::string &difference : replay::differences(*trace.steps[s].expect, result.steps[s]))
                        differences.push_back(trace.file + ": at /steps/" + std::to_string(s) + ": " + difference);
        }
    } catch (const outcome::Error &error) { // the plug-in cannot be loaded: no trace can run
        printError(error);
        return kExitFailed;
    }
    outputs.finish();
    for (const std::string &difference : differences)
        std::cerr << difference << "\n";
    if (!differences.empty())
        status = std::max<int>(status, kExitDiffers);
    return std::max(status, outputs.status());
}

} // namespace zsl::commands
