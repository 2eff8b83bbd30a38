// zsl-replay's subcommands and options, and every help text.
// Over 400 lines: most of it is the help texts, which the man page is made
// from; they move to a file of their own with the man page's sections.

#include "commands/CommandLine.h"

#include "commands/Usage.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <thread>

namespace zsl::commands {


namespace {

const char kReplayHelp[] = R"(Replays ZSL captures through the plug-in as the camera framework calls it: sets a trace's system
properties, loads the plug-in with dlopen, and drives isSelectorNeeded, selectZSLFrames and
checkFrame with the queues and metadata the trace describes (docs/trace-format.md). Without a
trace it replays the built-in captures (examples/*.json). TRACE "-" reads standard input.

The plug-in's boot-time clock reads each step's capture moment (100 s after boot), so a replay
gives the same output on every run and every machine. A step's "expect" is compared with what
happened; each difference is one line on standard error. replay is the default subcommand:
`zsl-replay trace.json` is `zsl-replay replay trace.json`.

--write-logcat opens the Android log at debug level and writes the plug-in's lines as
`adb logcat -v WORDS` shows them, through liblog's own formatter (WORDS from --logcat-format).
--write-expectations rewrites each trace file with its results as "expect": review the change
before keeping it.)";

const char kReplayFooter[] = R"(Examples:
  zsl-replay                              replay the built-in captures
  zsl-replay replay my-trace.json --log   one trace, with the plug-in's lines
  zsl-replay --svg out.svg                the built-in captures as timelines

Exit status:
  0  every trace replayed and met its expectations
  1  a step's results differ from its expectations
  2  bad input (a trace, an option, an output file) or a plug-in that cannot be loaded;
     a bad trace is named in one line and the others are still replayed

Environment:
  ANDROID_LOG_TAGS   logcat's filter for the plug-in's Android-log lines (tag "KoAlgoEngine"),
                     e.g. "KoAlgoEngine:D" or "*:I"; "s" silences. The lines go to standard
                     error in logcat's threadtime format, timed on the replay's boot-time clock.
                     A trace's "log" gates decide which lines the plug-in writes at all.)";

const char kExplainHelp[] = R"(Explains captures from a device's log: adb logcat in any -v format and modifier (threadtime,
long, thread, time, brief, process, tag, raw), a bug report as text or as the zip adb bugreport
writes, a Perfetto trace recorded with the android.log data source (told by its content; its
lines numbered as logcat would print its whole log, its times in UTC with the year), the host's
system-log lines, or a folder of them; any other binary file is refused (in a folder, passed
over). Each capture is rebuilt from the plug-in's own lines (tag KoAlgoEngine), told apart by
process and thread where the format shows them; nothing is replayed. What the log cannot tell (a
thread, a debug line an info-level log lacks) is said, not guessed. A folder's files are read on
-j threads and reported in name order; files without a line of the plug-in are passed over and
counted. With more than one capture the report ends with a summary of them all (per device and
build, refusals by reason class, the taken frames' lag); --table writes one row per capture
(docs/capture-table.md): as CSV or JSON Lines by the file's ending or a csv: or jsonl: prefix, and
csv:- or jsonl:- put it on standard output in place of the report.

With --follow, one log is read as it is written (adb logcat through a pipe): a capture is
explained once the next call on its thread has begun, or the thread has been quiet for a second;
the reading ends at the end of input or Ctrl-C. --write-traces writes each capture read as a
trace, DIR/fwkFrame-N.json (-2, -3... for a fwkFrame seen again), never over an existing file.

Memory: the report, --json and --table take each capture as soon as it is complete (its thread's
next call has begun and its process's level is known: debug from its first debug line; info after
two more selections, or 4,096 lines of the plug-in, without one), so a day-long log needs no more
memory than a short one; a log whose format shows no thread id is decided at its end and held
until then. What is written only once every capture has come (--svg, --perfetto,
--write-traces) keeps each capture's own facts, without its lines, so it grows with the captures;
--html keeps each capture as the page shows it, compressed as it goes (about 0.6 KB a capture). A single input is read on a second thread while the first rebuilds its
captures (-j 2 or more); several inputs are read -j at a time, each kept whole until its turn (with
-j 1 each capture is taken as it completes). A report longer than a few MiB waits in a temporary
file (TMPDIR) until its input has been read whole, since its head names what only the whole input
tells.)";

const char kExplainFooter[] = R"(Examples:
  zsl-replay explain bugreport.zip
  zsl-replay explain reports/ --table captures.csv --summary-svg fleet.svg
  zsl-replay explain bugreport.zip --html captures.html
  adb logcat -v threadtime | zsl-replay explain - --follow
  zsl-replay explain device.pftrace --perfetto both.zip --device-trace device.pftrace

Exit status:
  0  every input was read
  2  bad input (an option, an output file, an input that cannot be read, a log without a
     line of the plug-in); a bad input is named in one line and the others are still read

Environment:
  none is read.)";

const char kWhatIfHelp[] = R"(Replays captures as they were and as they would have been with the selector's properties changed,
and shows each side by side: the window, the anchor, the begin, the frames selected, each frame's
verdict, the frames taken and how long before the capture they were shot; then a summary (captures
unchanged, anchors moved earlier or later, captures taken in full before and after). NAME is one of
ro.vendor.camera3.zsl.default, ro.vendor.camera3.zsl.project, vendor.debug.camera3.zsl.timestamp
(their sum is the time window in ms), persist.vendor.kohal.selector.pending.mask (0 or 1), or
window, which sets vendor.debug.camera3.zsl.timestamp so that the window is VALUE ms.

INPUT is a trace (its text starts with "{") or a device log (anything explain reads), or a folder
of them; without one, the built-in captures. On a trace both sides are replays of it, exact. A log's
capture is rebuilt as a trace and replayed, and each side states only what the log grounds: the
shutter times the anchor scan logged, the frames the presence check passed over, the verdicts the
checks logged, how many frames the capture wants where its begin tells. Every other fact is "not
known", with the reason and what is known of it (in --json: null, named under "unknown", bounded
under "bounds"). A log's steps without a selection are passed over: no property reaches them.

--sweep replays every value from FROM to TO by STEP (at most 1000) and prints one row per value over
all captures; --sweep-svg draws the value against the captures taken in full and the lag.)";

const char kWhatIfFooter[] = R"(Examples:
  zsl-replay whatif --set window=150 bugreport.zip
  zsl-replay whatif --set persist.vendor.kohal.selector.pending.mask=1 traces/
  zsl-replay whatif --sweep window=0:300:25 --sweep-svg window.svg reports/
  zsl-replay whatif --set window=150 --html whatif.html bugreport.zip

Exit status:
  0  every input was compared
  2  bad input (a property the selector does not read, a value that is not a whole number, a sweep
     with a zero or wrong-signed step or more than 1000 values, an input that cannot be read);
     a bad input is named in one line and the others are still compared

Environment:
  none is read.)";

const char kSummarizeHelp[] = R"(Reads capture tables (explain --table, CSV or JSON Lines, told by their first byte; - reads
standard input) and prints the summary of all their rows: captures per device and build, how many
took every frame they wanted, frames refused per reason class, and the percentiles of how long
before the capture the taken frames were shot. It is made by the code that makes explain's own
summary, so the summary of tables written on many machines equals explain's of the same inputs on
one. A table of another schema, or a damaged row, is named with its line; its rows are not counted.)";

const char kSummarizeFooter[] = R"(Examples:
  zsl-replay summarize captures.jsonl
  zsl-replay summarize day-1.csv day-2.csv --summary-svg fleet.svg

Exit status:
  0  every table was read
  2  bad input (an option, a table that cannot be read or is not a capture table); the others
     are still counted

Environment:
  none is read.)";

const char kCompareHelp[] = R"(Compares the captures of two sides (builds, devices, field trials) measure by measure: how often
a capture took every frame it wanted (hit_rate) or fewer (missing_rate), how long before the
capture moment the taken frames were shot (lag_p50_ms, lag_p90_ms, lag_p99_ms), how often a frame
check refused a frame for each reason class (refusal_rate_CLASS), and how many captures leave a
measured fact unknown (unknown_rate: a difference there may come from the logs, not the camera).
Each side is capture tables (explain --table, zsl-fleet; CSV or JSON Lines of any schema version
summarize reads) or anything explain reads (logs, bug reports, folders), explained first; or,
with --by COLUMN, the sides are the values of one column of the TABLEs (build, device, input...),
each compared with the base value (--base-value, default the first in sort order).

Sides are compared per device; a device on one side only is named, not compared; --pool compares
all devices together. Each difference (candidate - base) has its 95% interval; the verdicts
(better, worse, no change detected) test every difference of the run together by Holm's method,
so that the chance of any false verdict stays at 5%. docs/compare.md defines each measure and
the method. --fail-on NAME:LIMIT makes a measure found worse by more than LIMIT (in its unit:
ms, or a fraction for rates) end the run with exit status 3, for a CI job.)";

const char kCompareFooter[] = R"(Examples:
  zsl-replay compare --base old.csv --candidate new.csv
  zsl-replay compare trial.jsonl --by build --base-value AP1A --html compare.html
  zsl-replay compare --base reports/old/ --candidate reports/new/ --fail-on lag_p90_ms:+5

Exit status:
  0  the sides were compared, and no --fail-on gate tripped
  2  bad input (an option, a table that cannot be read or is of another schema, a side
     without a capture); nothing is compared
  3  a measure named by --fail-on is worse by more than its limit

Environment:
  none is read.)";

const char kTagsHelp[] = "Prints every metadata tag a trace may use, with its id and type.";

const char kTagsFooter[] = R"(Example:
  zsl-replay tags | grep afMode

Exit status:
  0  always)";

void addOutputOptions(CLI::App &app, OutputOptions &output)
{
    CLI::Option_group *group = app.add_option_group("Outputs", "what replay and explain both write");
    group->add_flag("--json", output.json, "print the results as JSON instead of the text report");
    group->add_option("--svg", output.svgPath, "draw each capture as a timeline into FILE")->type_name("FILE");
    group->add_option("--perfetto", output.perfettoPath,
                      "write the captures for Perfetto: FILE.json in the Trace Event Format (also "
                      "chrome://tracing), FILE.zip as an archive with the --device-trace files on one "
                      "timeline, any other name in Perfetto's protobuf format (boot-time clock)")
        ->type_name("FILE");
    group->add_option("--html", output.htmlPath,
                      "write one self-contained HTML page of every capture into FILE: the summary, a table "
                      "to sort and filter, and each capture's explanation, timeline, checks and lines; it "
                      "opens from a file or an e-mail and fetches nothing")
        ->type_name("FILE");
    group->add_option("--device-trace", output.deviceTraces,
                      "a Perfetto trace recorded on the device, put unchanged into the --perfetto FILE.zip "
                      "archive beside ours (repeat for several)")
        ->type_name("TRACE");
}

const char *const kSubcommands[] = {"replay", "explain", "whatif", "summarize", "compare", "tags"};

bool isSubcommandOrTopLevel(const std::string &arg)
{
    for (const char *word : kSubcommands)
        if (arg == word)
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
    for (const char *command : kSubcommands)
        if (const size_t distance = editDistance(word, command); distance < best) {
            best = distance;
            nearest = command;
        }
    std::cerr << "zsl-replay: " << word << " is neither a subcommand nor a file"
              << (nearest ? std::string(": did you mean `zsl-replay ") + nearest + "`?"
                          : std::string(" (the subcommands: replay, explain, whatif, summarize, compare, tags)"))
              << " (see zsl-replay --help)\n";
    return 2;
}

// The option's name as given: "--jobs=4" is "--jobs", "-j4" is "-j".
std::string optionName(const std::string &arg)
{
    if (arg.rfind("--", 0) == 0)
        return arg.substr(0, arg.find('='));
    return arg.substr(0, 2);
}

} // namespace

CommandLine::CommandLine() : mApp("Replays ZSL captures through the frame-selection plug-in, explains them "
                                  "from a device's log, or replays them with the selector's properties changed.",
                                  "zsl-replay")
{
    mApp.set_version_flag("--version", "zsl-replay " ZSL_VERSION);
    mApp.set_help_all_flag("--help-all", "print the help of every subcommand");
    mApp.require_subcommand(1, 1);
    mApp.footer("Without a subcommand, zsl-replay replays: `zsl-replay trace.json` is `zsl-replay replay "
                "trace.json`.\nEach subcommand's --help gives its options, examples, exit statuses and "
                "environment.");

    mReplayApp = mApp.add_subcommand("replay", "replay traces through the plug-in (the default)");
    mReplayApp->footer(std::string(kReplayHelp) + "\n\n" + kReplayFooter);
    mReplayApp->add_option("TRACE", mReplay.traces, "traces to replay (default: the built-in captures)");
    mReplayApp->add_option("--plugin", mReplay.pluginPath,
                           "the plug-in to load (default: beside this program, else installed)")
        ->type_name("PATH");
    mReplayApp->add_flag("--real-clock", mReplay.realClock, "let the plug-in read the machine's boot-time clock");
    mReplayApp->add_flag("--write-expectations", mReplay.writeExpectations,
                         "write each step's results into its trace as \"expect\" (review the change)");
    mReplayApp->add_option("--write-logcat", mReplay.logcatPath,
                           "write the plug-in's Android-log lines as adb logcat shows them, at debug level")
        ->type_name("FILE");
    mReplayApp
        ->add_option("--logcat-format", mReplay.logcatFormat,
                     "logcat's -v words for --write-logcat, comma-separated: long,uid, brief,year...")
        ->type_name("WORDS")
        ->capture_default_str();
    mReplayApp->add_flag("--log", mReplay.withLog, "add the plug-in's own lines to the text report");
    addOutputOptions(*mReplayApp, mReplay.output);

    mExplainApp = mApp.add_subcommand("explain", "explain captures from device logs, bug reports and folders of them");
    mExplainApp->footer(std::string(kExplainHelp) + "\n\n" + kExplainFooter);
    mExplainApp->add_option("INPUT", mExplain.inputs, "logs, bug reports (text or zip), Perfetto traces, folders of them; - reads standard input")
        ->required();
    mExplain.jobs = std::max(1u, std::thread::hardware_concurrency());
    mExplainApp->add_option("-j,--jobs", mExplain.jobs, "read N inputs at a time (default: the cores); the output is the same for any N")
        ->type_name("N")
        ->check(CLI::Validator(
            [](std::string &value) {
                const bool digits = !value.empty() && value.size() <= 4 &&
                                    value.find_first_not_of("0123456789") == std::string::npos;
                return digits && std::stoul(value) >= 1 && std::stoul(value) <= 1024
                           ? std::string()
                           : "takes a number of threads from 1 to 1024, not \"" + value + "\"";
            },
            "", ""));
    mExplainApp->add_option("--stdin-name", mExplain.stdinName,
                            "call standard input NAME in the report, the table and messages (the object a pipe carries)")
        ->type_name("NAME");
    mExplainApp->add_flag("--in-folder", mExplain.inFolder,
                          "take each INPUT as a file found in a folder: one that holds no line of the plug-in, or no "
                          "log, is passed over, not an error (how zsl-fleet's workers read a folder's files)");
    mExplainApp->add_flag("--follow", mExplain.follow,
                          "explain each capture of one INPUT as soon as it is complete, for a live log");
    mExplainApp->add_option("--write-traces", mExplain.tracesDir,
                            "write each capture as a trace to replay, DIR/fwkFrame-N.json (never over a file)")
        ->type_name("DIR");
    mExplainApp->add_option("--table", mExplain.table,
                            "write one row per capture: FILE.csv, FILE.jsonl, csv:FILE, jsonl:FILE, csv:-, jsonl:-")
        ->type_name("FILE");
    mExplainApp->add_option("--summary-svg", mExplain.summarySvgPath, "draw the summary of all captures into FILE")
        ->type_name("FILE");
    addOutputOptions(*mExplainApp, mExplain.output);

    mWhatIfApp = mApp.add_subcommand("whatif", "replay captures as they would have been with the selector's properties changed");
    mWhatIfApp->footer(std::string(kWhatIfHelp) + "\n\n" + kWhatIfFooter);
    mWhatIfApp->add_option("INPUT", mWhatIf.inputs, "traces, logs, bug reports, folders of them (default: the built-in captures)");
    mWhatIfApp->add_option("--set", mWhatIf.sets, "a property's value after the change, NAME=VALUE (repeat for several)")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    mWhatIfApp->add_option("--sweep", mWhatIf.sweep, "one row per value of NAME from FROM to TO by STEP")
        ->type_name("NAME=FROM:TO:STEP");
    mWhatIfApp->add_option("--sweep-svg", mWhatIf.sweepSvgPath, "draw the sweep into FILE")->type_name("FILE");
    mWhatIfApp->add_option("--plugin", mWhatIf.pluginPath, "the plug-in to load (default: beside this program, else installed)")
        ->type_name("PATH");
    mWhatIfApp->add_flag("--json", mWhatIf.json, "print the results as JSON instead of the text report");
    mWhatIfApp->add_option("--html", mWhatIf.htmlPath,
                           "write one self-contained HTML page: the summary and every capture's two sides")
        ->type_name("FILE");
    mWhatIfApp->add_option("--table", mWhatIf.table,
                           "write one row per capture, both sides: FILE.csv, FILE.jsonl, csv:FILE, jsonl:FILE, csv:-, jsonl:-")
        ->type_name("FILE");

    mSummarizeApp = mApp.add_subcommand("summarize", "the fleet summary of capture tables, as explain makes it");
    mSummarizeApp->footer(std::string(kSummarizeHelp) + "\n\n" + kSummarizeFooter);
    mSummarizeApp->add_option("TABLE", mSummarize.tables, "capture tables, CSV or JSON Lines; - reads standard input")
        ->required();
    mSummarizeApp->add_flag("--json", mSummarize.json, "print the summary as JSON");
    mSummarizeApp->add_option("--summary-svg", mSummarize.summarySvgPath, "draw the summary into FILE")
        ->type_name("FILE");

    mCompareApp = mApp.add_subcommand("compare", "compare the captures of two builds, devices or trials, with intervals");
    mCompareApp->footer(std::string(kCompareHelp) + "\n\n" + kCompareFooter);
    mCompareApp->add_option("TABLE", mCompare.tables, "capture tables (or logs) whose --by COLUMN values are the sides");
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
    mCompareApp->add_option("--fail-on", mCompare.failOn,
                            "exit 3 when NAME is worse by more than LIMIT, e.g. lag_p90_ms:+5 (repeat for several)")
        ->type_name("NAME:LIMIT")
        ->allow_extra_args(false);
    mCompare.jobs = std::max(1u, std::thread::hardware_concurrency());
    mCompareApp->add_option("-j,--jobs", mCompare.jobs, "logs explained at a time (default: the cores)")
        ->type_name("N")
        ->check(CLI::Range(1u, 1024u));

    mTagsApp = mApp.add_subcommand("tags", kTagsHelp);
    mTagsApp->footer(kTagsFooter);
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
        std::cout << (mApp.get_subcommands().empty() ? mApp.help() : mApp.get_subcommands().front()->help("zsl-replay"));
        return 0;
    } catch (const CLI::Success &stop) { // --version, --help-all
        return mApp.exit(stop);
    } catch (const CLI::ParseError &error) {
        const std::string name = mApp.get_subcommands().empty() ? args.front()
                                                                  : mApp.get_subcommands().front()->get_name();
        if (dynamic_cast<const CLI::ExtrasError *>(&error))
            for (const CLI::App *given : {mReplayApp, mExplainApp, mWhatIfApp, mSummarizeApp, mCompareApp, mTagsApp})
                if (given->get_name() == name)
                    if (auto refused = refuseUnknownOption(*given, args))
                        return refused;
        return usageError(name, error.what());
    }
    return std::nullopt;
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
