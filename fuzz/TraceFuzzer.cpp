// Fuzzes zsl-replay's own code: any text as a trace; a trace that reads is
// replayed through the plug-in, compared with its expectations and reported
// as text, JSON and SVG. Reading may only refuse with a TraceError; nothing
// may crash, overflow or hang.

#include <Expectations.h>
#include <Replayer.h>
#include <Report.h>
#include <Timeline.h>
#include <TraceReader.h>

#include <PluginSession.h>
#include <kodebug/SystemLogSink.h>

#include <dlfcn.h>

#include <sstream>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // The replay loads and unloads the plug-in for every trace; libFuzzer
    // reads the plug-in's coverage counters after each run, so the library
    // must stay mapped: a first handle that is never closed.
    dlopen(kohost::defaultPluginPath().c_str(), RTLD_NOW | RTLD_NODELETE);
    kodebug::setSystemLogReceiver([](const kodebug::SystemLogRecord &) {}); // recorded, not printed
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    replay::TraceSpec trace;
    try {
        trace = replay::parseTrace(std::string(reinterpret_cast<const char *>(data), size), "fuzz.json");
    } catch (const replay::TraceError &) {
        return 0;
    }
    static const replay::Replayer replayer(kohost::defaultPluginPath());
    const replay::SessionOutcome outcome = replayer.run(trace);
    for (size_t s = 0; s < trace.steps.size(); ++s)
        if (trace.steps[s].expect)
            replay::differences(*trace.steps[s].expect, outcome.steps[s]);
    std::ostringstream text;
    replay::writeText(text, outcome, true);
    text << replay::toJson(outcome).dump() << replay::drawTimeline({outcome});
    return 0;
}
