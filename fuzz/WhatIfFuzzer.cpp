// Fuzzes what-ifs: any text as a device log (or, starting with '{', a
// trace), every capture replayed with the selector's window (and at times
// its pending switch) changed, the value drawn from the input itself so
// that no byte of a seed is spent on it. Nothing may crash; and the side
// before the change is the capture as explain states it: where both state
// a fact, they agree.

#include "log/LineParser.h"
#include "log/LogImporter.h"
#include "outcome/Error.h"
#include "replay/Replayer.h"
#include "replay/TraceReader.h"
#include "whatif/PropertyChange.h"
#include "whatif/Subject.h"
#include "whatif/WhatIfSummary.h"

#include <PluginSession.h>
#include <kodebug/SystemLogSink.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

using namespace zsl::outcome;
using namespace zsl::whatif;

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // As the trace fuzzer: the plug-in stays mapped for its coverage counters.
    dlopen(kohost::defaultPluginPath().c_str(), RTLD_NOW | RTLD_NODELETE);
    kodebug::setSystemLogReceiver([](const kodebug::SystemLogRecord &) {});
    return 0;
}

namespace {

[[noreturn]] void differs(const char *fact, const StepOutcome &step)
{
    std::fprintf(stderr, "whatif's side before the change states %s unlike explain, fwkFrame %u\n", fact, step.fwkFrame);
    std::abort();
}

// The unchanged side agrees with what explain states of the capture.
void expectExplains(const Side &before, const StepOutcome &explained)
{
    const StepOutcome &side = before.step;
    if (before.states(fact::kZsdTs) && explained.zsdTs && side.zsdTs != explained.zsdTs)
        differs("zsdTs", explained);
    if (before.states(fact::kAnchor) && explained.anchorFrame && side.anchorFrame != explained.anchorFrame)
        differs("the anchor", explained);
    if (before.states(fact::kSelected) && explained.selectionUnknown.empty() && explained.selectionCaveat.empty() &&
        explained.csbegin && side.selectedFrames != explained.selectedFrames)
        differs("the frames selected", explained);
    if (before.states(fact::kTaken) && explained.takenUnknown.empty() && explained.requested > 0 &&
        side.taken != explained.taken)
        differs("the frames taken", explained);
    for (const CheckOutcome &check : side.checks)
        for (const CheckOutcome &known : explained.checks)
            if (check.frame == known.frame && check.unknown.empty() && known.unknown.empty() &&
                check.verdict != known.verdict)
                differs("a verdict", explained);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const zsl::replay::Replayer replayer(kohost::defaultPluginPath(), false,
                                                zsl::replay::Replayer::Loading::KeptLoaded);
    const std::string text(reinterpret_cast<const char *>(data), size);
    // The change, from the input: a window of 0 to 400 ms, the pending switch set one time in three.
    const unsigned mix = static_cast<unsigned>(size) * 37u + (size ? data[size / 2] : 0u);
    std::vector<PropertyChange> list{{kWindow, static_cast<int64_t>(mix % 401)}};
    if (mix % 3 == 0)
        list.push_back({kPendingProperty, static_cast<int64_t>((mix / 3) % 2)});
    const Changes changes(list);
    WhatIfSummary summary;
    try {
        if (!text.empty() && text.front() == '{') {
            const zsl::replay::TraceSpec trace = zsl::replay::parseTrace(text, "fuzz.json");
            for (const Comparison &comparison : Subject::ofTrace(replayer, trace).compare(changes))
                summary.add(comparison);
        } else {
            zsl::log::LogImporter importer("fuzz.log");
            std::FILE *stream = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
            if (!stream)
                return 0;
            zsl::log::readDeviceLog(
                stream, [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); },
                [&](const std::string &problem) { importer.problem(problem); });
            std::fclose(stream);
            const SessionOutcome session = importer.finish();
            for (const StepOutcome &step : session.steps) {
                if (!step.selectRan)
                    continue;
                for (const Comparison &comparison : Subject::ofLog(replayer, session, step).compare(changes)) {
                    expectExplains(comparison.before, step);
                    summary.add(comparison);
                }
            }
        }
    } catch (const zsl::replay::TraceError &) {
        return 0;
    } catch (const Error &) { // a capture the replay cannot rebuild is refused in one line
        return 0;
    }
    std::ostringstream out;
    summary.writeText(out, changes.text());
    out << summary.toJson().dump();
    return 0;
}
