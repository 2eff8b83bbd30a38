#pragma once
/*
 * CommandLine: the spelling of zsl-replay's command line, and nothing else.
 * It declares the subcommands (replay, the default; explain; whatif; summarize;
 * compare; tags), their
 * options with CLI11, one shared group of outputs, and every help text, and
 * fills the plain options each subcommand runs from. An option that belongs
 * to another subcommand is refused by name, in one line.
 */

#include "commands/Options.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace zsl::commands {

class CommandLine {
public:
    enum class Command { Replay, Explain, WhatIf, Summarize, Compare, Tags };

    CommandLine();
    // Reads the arguments. Answers an exit status when that already ended
    // the run (--help, --version, a bad option: then one line on standard
    // error), else nothing and the command to run is known.
    std::optional<int> parse(int argc, char **argv);

    Command command() const;
    // The subcommand's name as it is typed: "explain".
    std::string commandName() const;
    const ReplayOptions &replay() const { return mReplay; }
    const ExplainOptions &explain() const { return mExplain; }
    const WhatIfOptions &whatIf() const { return mWhatIf; }
    const SummarizeOptions &summarize() const { return mSummarize; }
    const CompareOptions &compare() const { return mCompare; }
    // The whole command line, which the man pages are made from.
    CLI::App &app() { return mApp; }

private:
    std::optional<int> refuseUnknownOption(const CLI::App &given, const std::vector<std::string> &args) const;

    CLI::App mApp;
    CLI::App *mReplayApp = nullptr, *mExplainApp = nullptr, *mWhatIfApp = nullptr, *mSummarizeApp = nullptr,
             *mCompareApp = nullptr, *mTagsApp = nullptr;
    ReplayOptions mReplay;
    ExplainOptions mExplain;
    WhatIfOptions mWhatIf;
    SummarizeOptions mSummarize;
    CompareOptions mCompare;
};

} // namespace zsl::commands
