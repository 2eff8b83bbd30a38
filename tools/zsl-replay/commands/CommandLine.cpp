// zsl-replay's subcommands and options; their help texts are in
// commands/Help.

#include "commands/CommandLine.h"

#include "commands/Help.h"
#include "commands/Usage.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iostream>
#include <thread>

namespace zsl::commands {

namespace {

// "replay ... changed" as the sentence CLI11 prints first.
std::string sentence(std::string summary)
{
    summary[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(summary[0])));
    return summary + ".";
}

CLI::App *addSubcommand(CLI::App &app, const std::string &name)
{
    const Help &help = helpOf(name);
    CLI::App *subcommand = app.add_subcommand(name, help.summary);
    subcommand->footer(helpFooter(help));
    return subcommand;
}

void addOutputOptions(CLI::App &app, OutputOptions &output)
{
    CLI::Option_group *group = app.add_option_group("Outputs", "what replay and explain both write");
    group->add_flag("--json", output.json, "print the results as JSON instead of the text report");
    group->add_option("--svg", output.svgPath, "draw each capture as a timeline into FILE")->type_name("FILE");
    group
        ->add_option("--perfetto", output.perfettoPath,
                     "write the captures for Perfetto: FILE.json in the Trace Event Format (also "
                     "chrome://tracing), FILE.zip as an archive with the --device-trace files on one "
                     "timeline, any other name in Perfetto's protobuf format (boot-time clock)")
        ->type_name("FILE");
    group
        ->add_option("--html", output.htmlPath,
                     "write one self-contained HTML page of every capture into FILE: the summary, a table "
                     "to sort and filter, and each capture's explanation, timeline, checks and lines; it "
                     "opens from a file or an e-mail and fetches nothing")
        ->type_name("FILE");
    group
        ->add_option("--device-trace", output.deviceTraces,
                     "a Perfetto trace recorded on the device, put unchanged into the --perfetto FILE.zip "
                     "archive beside ours (repeat for several)")
        ->type_name("TRACE");
}

bool isSubcommandOrTopLevel(const std::string &arg)
{
    for (const Help &help : subcommandHelps())
        if (arg == help.name)
            return true;
    for (const char *word : {"-h", "--help", "--help-all", "--version"})
        if (arg == word)
            return true;
    return false;
}

// Letters to change, add or drop to make one word the other.
size_t editDistance(const std::string &a, const std::string &b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[b.size()];
}

// A first word that is neither a subcommand nor a file (no path, no
// extension): a mistyped subcommand, said as such, with the nearest one.
std::optional<int> refuseUnknownWord(const std::string &word)
{
    if (word.empty() || word[0] == '-' || word.find_first_of("/.") != std::string::npos ||
        std::filesystem::exists(word))
        return std::nullopt;
    const char *nearest = nullptr;
    size_t best = 3; // at most two letters off
    for (const Help &help : subcommandHelps())
        if (const size_t distance = editDistance(word, help.name); distance < best) {
            best = distance;
            nearest = help.name.c_str();
        }
    std::cerr << "zsl-replay: " << word << " is neither a subcommand nor a file"
              << (nearest ? std::string(": did you mean `zsl-replay ") + nearest + "`?"
                          : std::string(" (the subcommands: replay, explain, whatif, summarize, compare, tags)"))
              << " (see zsl-replay --help)\n";
    return kExitFailed;
}

// The option's name as given: "--jobs=4" is "--jobs", "-j4" is "-j".
std::string optionName(const std::string &arg)
{
    if (arg.rfind("--", 0) == 0)
        return arg.substr(0, arg.find('='));
    return arg.substr(0, 2);
}

} // namespace

// Long: every subcommand and option declared in one place, a few lines
// each, so that the command line reads as its help does.
CommandLine::CommandLine() : mApp(sentence(toolHelp().summary), "zsl-replay")
{
    mApp.set_version_flag("--version", "zsl-replay " ZSL_VERSION);
    mApp.set_help_all_flag("--help-all", "print the help of every subcommand");
    mApp.require_subcommand(1, 1);
    mApp.footer(helpFooter(toolHelp()));

    mReplayApp = addSubcommand(mApp, "replay");
    mReplayApp->add_option("TRACE", mReplay.traces, "traces to replay (default: the built-in captures)");
    mReplayApp
        ->add_option("--plugin", mReplay.pluginPath,
                     "the plug-in to load (default: beside this program, else installed)")
        ->type_name("PATH");
    mReplayApp->add_flag("--real-clock", mReplay.realClock, "let the plug-in read the machine's boot-time clock");
    mReplayApp->add_flag("--write-expectations", mReplay.writeExpectations,
                         "write each step's results into its trace as \"expect\" (review the change)");
    mReplayApp
        ->add_option("--write-logcat", mReplay.logcatPath,
                     "write the plug-in's Android-log lines as adb logcat shows them, at debug level")
        ->type_name("FILE");
    mReplayApp
        ->add_option("--logcat-format", mReplay.logcatFormat,
                     "logcat's -v words for --write-logcat, comma-separated: long,uid, brief,year...")
        ->type_name("WORDS")
        ->capture_default_str();
    mReplayApp->add_flag("--log", mReplay.withLog, "add the plug-in's own lines to the text report");
    addOutputOptions(*mReplayApp, mReplay.output);

    mExplainApp = addSubcommand(mApp, "explain");
    mExplainApp
        ->add_option("INPUT", mExplain.inputs,
                     "logs, bug reports (text or zip), Perfetto traces, folders of them; - reads standard input")
        ->required();
    mExplain.jobs = std::max(1u, std::thread::hardware_concurrency());
    mExplainApp
        ->add_option("-j,--jobs", mExplain.jobs,
                     "read N inputs at a time (default: the cores); the output is the same for any N")
        ->type_name("N")
        ->check(CLI::Validator(
            [](std::string &value) {
                const bool digits =
                    !value.empty() && value.size() <= 4 && value.find_first_not_of("0123456789") == std::string::npos;
                return digits && std::stoul(value) >= 1 && std::stoul(value) <= 1024
                           ? std::string()
                           : "takes a number of threads from 1 to 1024, not \"" + value + "\"";
            },
            "", ""));
    mExplainApp
        ->add_option("--stdin-name", mExplain.stdinName,
                     "call standard input NAME in the report, the table and messages (the object a pipe carries)")
        ->type_name("NAME");
    mExplainApp->add_flag("--in-folder", mExplain.inFolder,
                          "take each INPUT as a file found in a folder: one that holds no line of the plug-in, or no "
                          "log, is passed over, not an error (how zsl-fleet's workers read a folder's files)");
    mExplainApp->add_flag("--follow", mExplain.follow,
                          "explain each capture of one INPUT as soon as it is complete, for a live log");
    mExplainApp
        ->add_option("--write-traces", mExplain.tracesDir,
                     "write each capture as a trace to replay, DIR/fwkFrame-N.json (never over a file)")
        ->type_name("DIR");
    mExplainApp
        ->add_option("--table", mExplain.table,
                     "write one row per capture: FILE.csv, FILE.jsonl, csv:FILE, jsonl:FILE, csv:-, jsonl:-")
        ->type_name("FILE");
    mExplainApp->add_option("--summary-svg", mExplain.summarySvgPath, "draw the summary of all captures into FILE")
        ->type_name("FILE");
    mExplainApp
        ->add_option("--stats", mExplain.statsPath,
                     "write the run's counts into FILE as JSON (files read, passed over, failed; "
                     "schema zsl-explain-stats/1), for a program that runs explain")
        ->type_name("FILE");
    addOutputOptions(*mExplainApp, mExplain.output);

    mWhatIfApp = addSubcommand(mApp, "whatif");
    mWhatIfApp->add_option("INPUT", mWhatIf.inputs,
                           "traces, logs, bug reports, folders of them (default: the built-in captures)");
    mWhatIfApp
        ->add_option("--set", mWhatIf.sets, "a property's value after the change, NAME=VALUE (repeat for several)")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    mWhatIfApp->add_option("--sweep", mWhatIf.sweep, "one row per value of NAME from FROM to TO by STEP")
        ->type_name("NAME=FROM:TO:STEP");
    mWhatIfApp->add_option("--sweep-svg", mWhatIf.sweepSvgPath, "draw the sweep into FILE")->type_name("FILE");
    mWhatIfApp
        ->add_option("--plugin", mWhatIf.pluginPath,
                     "the plug-in to load (default: beside this program, else installed)")
        ->type_name("PATH");
    mWhatIfApp->add_flag("--json", mWhatIf.json, "print the results as JSON instead of the text report");
    mWhatIfApp
        ->add_option("--html", mWhatIf.htmlPath,
                     "write one self-contained HTML page: the summary and every capture's two sides")
        ->type_name("FILE");
    mWhatIfApp
        ->add_option(
            "--table", mWhatIf.table,
            "write one row per capture, both sides: FILE.csv, FILE.jsonl, csv:FILE, jsonl:FILE, csv:-, jsonl:-")
        ->type_name("FILE");

    mSummarizeApp = addSubcommand(mApp, "summarize");
    mSummarizeApp->add_option("TABLE", mSummarize.tables, "capture tables, CSV or JSON Lines; - reads standard input")
        ->required();
    mSummarizeApp->add_flag("--json", mSummarize.json, "print the summary as JSON");
    mSummarizeApp->add_option("--summary-svg", mSummarize.summarySvgPath, "draw the summary into FILE")
        ->type_name("FILE");

    mCompareApp = addSubcommand(mApp, "compare");
    mCompareApp->add_option("TABLE", mCompare.tables,
                            "capture tables (or logs) whose --by COLUMN values are the sides");
    mCompareApp->add_option("--base", mCompare.base, "the base side: capture tables, or logs, bug reports, folders")
        ->type_name("INPUT");
    mCompareApp->add_option("--candidate", mCompare.candidate, "the candidate side, as --base")->type_name("INPUT");
    mCompareApp->add_option("--by", mCompare.by, "the sides are the values of this column of the TABLEs")
        ->type_name("COLUMN");
    mCompareApp->add_option("--base-value", mCompare.baseValue, "the --by value that is the base (default: the first)")
        ->type_name("VALUE");
    mCompareApp->add_flag("--pool", mCompare.pool, "compare all devices together, not device by device");
    mCompareApp->add_flag("--json", mCompare.json, "print the comparison as JSON (schema zsl-compare/1)");
    mCompareApp->add_option("--html", mCompare.htmlPath, "write the comparison as one self-contained HTML page")
        ->type_name("FILE");
    mCompareApp
        ->add_option("--fail-on", mCompare.failOn,
                     "exit 3 when NAME is worse by more than LIMIT, e.g. lag_p90_ms:+5 (repeat for several)")
        ->type_name("NAME:LIMIT")
        ->allow_extra_args(false);
    mCompare.jobs = std::max(1u, std::thread::hardware_concurrency());
    mCompareApp->add_option("-j,--jobs", mCompare.jobs, "logs explained at a time (default: the cores)")
        ->type_name("N")
        ->check(CLI::Range(1u, 1024u));

    mTagsApp = addSubcommand(mApp, "tags");
}

std::optional<int> CommandLine::parse(int argc, char **argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && !isSubcommandOrTopLevel(args.front()))
        if (auto refused = refuseUnknownWord(args.front()))
            return refused;
    if (args.empty() || !isSubcommandOrTopLevel(args.front()))
        args.insert(args.begin(), "replay");
    std::vector<const char *> words{argv[0]};
    for (const std::string &arg : args)
        words.push_back(arg.c_str());
    try {
        mApp.parse(static_cast<int>(words.size()), words.data());
    } catch (const CLI::CallForHelp &) {
        std::cout << (mApp.get_subcommands().empty() ? mApp.help()
                                                     : mApp.get_subcommands().front()->help("zsl-replay"));
        return kExitOk;
    } catch (const CLI::Success &stop) { // --version, --help-all
        return mApp.exit(stop);
    } catch (const CLI::ParseError &error) {
        const std::string name =
            mApp.get_subcommands().empty() ? args.front() : mApp.get_subcommands().front()->get_name();
        if (dynamic_cast<const CLI::ExtrasError *>(&error))
            for (const CLI::App *given : {mReplayApp, mExplainApp, mWhatIfApp, mSummarizeApp, mCompareApp, mTagsApp})
                if (given->get_name() == name)
                    if (auto refused = refuseUnknownOption(*given, args))
                        return refused;
        return usageError(name, error.what());
    }
    return std::nullopt;
}

std::string CommandLine::commandName() const
{
    switch (command()) {
    case Command::Explain:
        return "explain";
    case Command::WhatIf:
        return "whatif";
    case Command::Summarize:
        return "summarize";
    case Command::Compare:
        return "compare";
    case Command::Tags:
        return "tags";
    case Command::Replay:
        break;
    }
    return "replay";
}

CommandLine::Command CommandLine::command() const
{
    if (mExplainApp->parsed())
        return Command::Explain;
    if (mWhatIfApp->parsed())
        return Command::WhatIf;
    if (mSummarizeApp->parsed())
        return Command::Summarize;
    if (mCompareApp->parsed())
        return Command::Compare;
    return mTagsApp->parsed() ? Command::Tags : Command::Replay;
}

// The first option the given subcommand does not know, by name; when
// another subcommand has it, the user asked the wrong one, which is said.
std::optional<int> CommandLine::refuseUnknownOption(const CLI::App &given, const std::vector<std::string> &args) const
{
    for (const std::string &arg : args) {
        if (arg == "--")
            break;
        if (arg.size() < 2 || arg[0] != '-' || given.get_option_no_throw(optionName(arg)))
            continue;
        const std::string name = optionName(arg);
        for (const CLI::App *other : {mReplayApp, mExplainApp, mWhatIfApp, mSummarizeApp, mCompareApp})
            if (other != &given && other->get_option_no_throw(name))
                return usageError(given.get_name(), name + " is an option of zsl-replay " + other->get_name() +
                                                        ", not of " + given.get_name());
        return usageError(given.get_name(), "unknown option " + name);
    }
    return std::nullopt;
}

} // namespace zsl::commands
