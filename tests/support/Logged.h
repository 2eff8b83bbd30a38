#pragma once
/*
 * Reading a selector's lines in tests: texts() gives "D text" for each line;
 * LoggedPlugin is the plug-in loaded with the system log open at every level
 * and recorded from then on; runLogged() runs one call that way and answers
 * its result with the lines it left. Where the log reader is built, each
 * line recorded must be a message the reader knows, at its level: so every
 * path the tests drive the plug-in through is one a device's log can explain.
 */

#include <LogRecorder.h>
#include <PluginSession.h>

#ifdef ZSL_CHECK_MESSAGES_KNOWN
#include "messages/MessageLookup.h"
#include <gtest/gtest.h>
#endif

#include <string>
#include <utility>
#include <vector>

namespace kotest {

inline std::vector<std::string> texts(const std::vector<kohost::LogLine> &lines)
{
    std::vector<std::string> out;
    for (const kohost::LogLine &line : lines) {
#ifdef ZSL_CHECK_MESSAGES_KNOWN
        const zsl::messages::PluginMessage *known = zsl::messages::findPluginMessage(line.text);
        EXPECT_TRUE(known && std::string(1, known->level) == line.level)
            << "the log reader does not know this line: " << line.level << " " << line.text;
#endif
        out.push_back(line.level + " " + line.text);
    }
    return out;
}

struct LoggedPlugin {
    kohost::PluginSession plugin;
    kohost::LogGates gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;

    explicit LoggedPlugin(const kohost::PropertyList &properties = {}) : plugin(properties) {}
    LoggedPlugin(std::initializer_list<kohost::PropertyList::value_type> properties)
        : plugin(kohost::PropertyList(properties))
    {
    }
    kohal::ZSLSelectorBase &selector() { return plugin.selector(); }
    std::vector<std::string> texts() const { return kotest::texts(log.system()); }
};

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
