#pragma once
/*
 * Replayer: drives the real plug-in through kohal::ZSLSelectorBase as the
 * camera framework does, one trace at a time: sets the trace's properties
 * and log gates, loads the library afresh, builds each step's scene just
 * before its calls, and records every answer with the plug-in's own
 * system-log lines, from which it reads the time stamps and each refusal's
 * reason.
 */

#include "Outcome.h"
#include "Trace.h"

#include <string>

namespace replay {

class Replayer {
public:
    explicit Replayer(std::string pluginPath) : mPluginPath(std::move(pluginPath)) {}

    // Throws kohost::PluginLoadError when the plug-in cannot be loaded or
    // lacks the factory.
    SessionOutcome run(const TraceSpec &trace) const;

private:
    std::string mPluginPath;
};

} // namespace replay
