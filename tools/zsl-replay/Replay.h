#pragma once
/*
 * Replay: drives the real plug-in through kohal::ZSLSelectorBase as the
 * camera framework does, one trace at a time: sets the trace's properties,
 * loads the library afresh with dlopen, builds the queues and metadata just
 * before each call (relative times rebased on the boot-time clock then), and
 * keeps every answer with the plug-in's own system-log lines, from which it
 * reads the selection's time stamps and each refusal's reason.
 */

#include "Trace.h"

#include <ZSLSelectorBase.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace replay {

class PluginError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct LogLine {
    std::string level;
    std::string fileName;
    std::string function;
    int line = 0;
    std::string text;
};

struct CheckResult {
    uint32_t frame = 0;
    std::pair<bool, bool> verdict;
    std::string reason; // for a refusal, from the plug-in's lines
    std::vector<LogLine> log;
};

struct StepResult {
    const StepSpec *input = nullptr;
    int64_t captureNs = 0; // the clock just before the queues were built
    std::optional<bool> needed;
    bool selectRan = false;
    kohal::ZSLSelection selection;
    std::vector<uint32_t> selectedFrames; // the list the host checks
    std::optional<int64_t> zsdTs;
    std::optional<int64_t> curTime;
    std::optional<uint32_t> anchorFrame; // first frame shot after zsdTs
    std::optional<int32_t> anchorOffset;
    std::optional<int32_t> csbegin;
    std::vector<uint32_t> consumer;
    std::vector<uint32_t> producer;
    std::map<uint32_t, int64_t> shutterNs; // the metadata queue's records, rebased
    std::vector<CheckResult> checks;
    std::vector<uint32_t> taken; // the frames the host would take
    std::vector<LogLine> log;
};

struct TraceResult {
    const TraceSpec *input = nullptr;
    std::vector<LogLine> setupLog; // the selector's configuration line
    std::vector<StepResult> steps;
};

class Replayer {
public:
    explicit Replayer(std::string pluginPath) : mPluginPath(std::move(pluginPath)) {}

    // Throws PluginError when the plug-in cannot be loaded or lacks the
    // factory.
    TraceResult run(const TraceSpec &trace) const;

private:
    std::string mPluginPath;
};

} // namespace replay
