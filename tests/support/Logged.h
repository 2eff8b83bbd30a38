#pragma once
/*
 * Reading a selector's lines in tests: texts() gives "D text" for each line,
 * and runLogged() runs one call with the system log open at every level and
 * answers its result with the lines it left.
 */

#include <LogRecorder.h>

#include <string>
#include <utility>
#include <vector>

namespace kotest {

inline std::vector<std::string> texts(const std::vector<kohost::LogLine> &lines)
{
    std::vector<std::string> out;
    for (const kohost::LogLine &line : lines)
        out.push_back(line.level + " " + line.text);
    return out;
}

struct CheckOutcome {
    std::pair<bool, bool> result;
    std::vector<std::string> lines;
};

template <typename Call> CheckOutcome runLogged(Call call)
{
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    CheckOutcome outcome;
    outcome.result = call();
    outcome.lines = texts(log.system());
    return outcome;
}

} // namespace kotest
