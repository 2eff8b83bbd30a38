// Fuzzes zsl-replay's own code: any text as a trace; a trace that reads is
// replayed through the plug-in, compared with its expectations and reported
// as text, JSON and SVG. Reading may only refuse with a TraceError; nothing
// may crash, overflow or hang.

#include "replay/Expectations.h"
#include "replay/Replayer.h"
#include "output/Report.h"
#include "output/Timeline.h"
#include "replay/TraceReader.h"

#include <PluginSession.h>
#include <kodebug/SystemLogSink.h>

#include <dlfcn.h>

#include <sstream>

using namespace zsl::outcome;
using namespace zsl::replay;
using namespace zsl::output;

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
    TraceSpec trace;
    try {
        trace = parseTrace(std::string(reinterpret_cast<const char *>(data), size), "fuzz.json");
    } catch (const TraceError &) {
        return 0;
    }
    static const Replayer replayer(kohost::defaultPluginPath());
    const SessionOutcome outcome = replayer.run(trace);
    for (size_t s = 0; s < trace.steps.size(); ++s)
        if (trace.steps[s].expect)
            differences(*trace.steps[s].expect, outcome.steps[s]);
    std::ostringstream text;
    writeText(text, outcome, true);
    text << toJson(outcome).dump() << drawTimeline({outcome});
    return 0;
}
