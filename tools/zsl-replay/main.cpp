// zsl-replay: replays captures through the real plug-in (replay, the
// default), explains captures from device logs (explain), replays them with
// the selector's properties changed (whatif), summarizes capture tables
// (summarize), compares builds, devices or trials (compare), and lists the
// metadata tags a trace may use (tags). The spelling of the command line is
// in commands/CommandLine; each subcommand runs in a file of its own.

#include "commands/CommandLine.h"
#include "commands/CompareCommand.h"
#include "commands/ExplainCommand.h"
#include "commands/ReplayCommand.h"
#include "commands/SummarizeCommand.h"
#include "commands/TagsCommand.h"
#include "commands/Usage.h"
#include "commands/WhatIfCommand.h"

namespace {

using zsl::commands::CommandLine;

int run(const CommandLine &line)
{
    switch (line.command()) {
    case CommandLine::Command::Explain:
        return zsl::commands::runExplain(line.explain());
    case CommandLine::Command::WhatIf:
        return zsl::commands::runWhatIf(line.whatIf());
    case CommandLine::Command::Summarize:
        return zsl::commands::runSummarize(line.summarize());
    case CommandLine::Command::Compare:
        return zsl::commands::runCompare(line.compare());
    case CommandLine::Command::Tags:
        return zsl::commands::runTags();
    case CommandLine::Command::Replay:
        break;
    }
    return zsl::commands::runReplay(line.replay());
}

} // namespace

int main(int argc, char **argv)
{
    CommandLine line;
    if (const std::optional<int> status = line.parse(argc, argv))
        return *status;
    // The one place a usage problem found by a subcommand is said.
    try {
        return run(line);
    } catch (const zsl::commands::UsageError &error) {
        return zsl::commands::usageError(line.commandName(), error.what());
    }
}
