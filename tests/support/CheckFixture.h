#pragma once
/*
 * Runs one frame check the way the host does and collects the verdict with
 * the system-log lines it left ("D text"), for tables of check cases.
 */

#include <LogCapture.h>
#include <PluginHarness.h>

#include <string>
#include <utility>
#include <vector>

namespace kotest {

struct CheckOutcome {
    std::pair<bool, bool> result;
    std::vector<std::string> lines;
};

template <typename Call> CheckOutcome runLogged(Call call)
{
    auto gates = LogGates::systemOnly();
    LogCapture log;
    CheckOutcome outcome;
    outcome.result = call();
    outcome.lines = log.systemTexts();
    return outcome;
}

} // namespace kotest
