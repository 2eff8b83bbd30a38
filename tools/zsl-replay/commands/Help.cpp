// What zsl-replay and its subcommands say about themselves: the words of
// --help below the options and of the man pages.

#include "commands/Help.h"

#include <algorithm>

namespace zsl::commands {

namespace {

const char kReplayDescription[] =
    R"(Replays ZSL captures through the plug-in as the camera framework calls it: sets a trace's system
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

const char kExplainDescription[] =
    R"(Explains captures from a device's log: adb logcat in any -v format and modifier (threadtime,
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
memory than a short one; a log whose format shows no thread id is decided at its end and held until
then. What is written only once every capture has come (--svg, --perfetto, --write-traces) keeps
each capture's own facts, without its lines, so it grows with the captures; --html keeps each
capture as the page shows it, compressed as it goes (about 0.6 KB a capture). A single input is read
on a second thread while the first rebuilds its captures (-j 2 or more); several inputs are read -j
at a time, each kept whole until its turn (with -j 1 each capture is taken as it completes). A
report longer than a few MiB waits in a temporary file (TMPDIR) until its input has been read whole,
since its head names what only the whole input tells.)";

const char kWhatIfDescription[] =
    R"(Replays captures as they were and as they would have been with the selector's properties changed,
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

const char kSummarizeDescription[] =
    R"(Reads capture tables (explain --table, CSV or JSON Lines, told by their first byte; - reads
standard input) and prints the summary of all their rows: captures per device and build, how many
took every frame they wanted, frames refused per reason class, and the percentiles of how long
before the capture the taken frames were shot. It is made by the code that makes explain's own
summary, so the summary of tables written on many machines equals explain's of the same inputs on
one. A table of another schema, or a damaged row, is named with its line; its rows are not counted.)";

const char kCompareDescription[] =
    R"(Compares the captures of two sides (builds, devices, field trials) measure by measure: how often
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

std::vector<Help> makeSubcommandHelps()
{
    return {
        {"replay",
         "replay traces through the plug-in (the default)",
         kReplayDescription,
         {{"zsl-replay", "replay the built-in captures"},
          {"zsl-replay replay my-trace.json --log", "one trace, with the plug-in's lines"},
          {"zsl-replay --svg out.svg", "the built-in captures as timelines"}},
         {{0, "every trace replayed and met its expectations"},
          {1, "a step's results differ from its expectations"},
          {2, "bad input (a trace, an option, an output file) or a plug-in that cannot be loaded; a bad trace "
              "is named in one line and the others are still replayed"}},
         {{"ANDROID_LOG_TAGS",
           "logcat's filter for the plug-in's Android-log lines (tag \"KoAlgoEngine\"), e.g. "
           "\"KoAlgoEngine:D\" or \"*:I\"; \"s\" silences. The lines go to standard error in logcat's "
           "threadtime format, timed on the replay's boot-time clock. A trace's \"log\" gates decide which "
           "lines the plug-in writes at all."}}},
        {"explain",
         "explain captures from device logs, bug reports and folders of them",
         kExplainDescription,
         {{"zsl-replay explain bugreport.zip", "the report of every capture in a bug report"},
          {"zsl-replay explain bugreport.zip --html captures.html", "the same as one page to open in a browser"},
          {"zsl-replay explain reports/ --table captures.csv --summary-svg fleet.svg",
           "a folder of bug reports: one row per capture, and the summary drawn"},
          {"adb logcat -v threadtime | zsl-replay explain - --follow", "a live device, capture by capture"},
          {"zsl-replay explain device.pftrace --perfetto both.zip --device-trace device.pftrace",
           "the captures of a Perfetto trace beside the trace itself, on one timeline"}},
         {{0, "every input was read"},
          {2, "bad input (an option, an output file, an input that cannot be read, a log without a line of the "
              "plug-in); a bad input is named in one line and the others are still read"}},
         {{"TMPDIR", "where a long report waits until its input has been read whole (default /tmp)"}}},
        {"whatif",
         "replay captures as they would have been with the selector's properties changed",
         kWhatIfDescription,
         {{"zsl-replay whatif --set window=150 bugreport.zip", "every capture with a 150 ms window"},
          {"zsl-replay whatif --set persist.vendor.kohal.selector.pending.mask=1 traces/",
           "traces replayed with the pending switch on"},
          {"zsl-replay whatif --sweep window=0:300:25 --sweep-svg window.svg reports/",
           "thirteen windows over a folder, one row each, drawn"},
          {"zsl-replay whatif --set window=150 --html whatif.html bugreport.zip", "the two sides as one page"}},
         {{0, "every input was compared"},
          {2, "bad input (a property the selector does not read, a value that is not a whole number, a sweep "
              "with a zero or wrong-signed step or more than 1000 values, an input that cannot be read); a bad "
              "input is named in one line and the others are still compared"}},
         {}},
        {"summarize",
         "the fleet summary of capture tables, as explain makes it",
         kSummarizeDescription,
         {{"zsl-replay summarize captures.jsonl", ""},
          {"zsl-replay summarize day-1.csv day-2.csv --summary-svg fleet.svg", "two days' tables, drawn"}},
         {{0, "every table was read"},
          {2, "bad input (an option, a table that cannot be read or is not a capture table); the others are "
              "still counted"}},
         {}},
        {"compare",
         "compare the captures of two builds, devices or trials, with intervals",
         kCompareDescription,
         {{"zsl-replay compare --base old.csv --candidate new.csv", ""},
          {"zsl-replay compare trial.jsonl --by build --base-value AP1A --html compare.html",
           "the builds of one trial, each against AP1A, as a page"},
          {"zsl-replay compare --base reports/old/ --candidate reports/new/ --fail-on lag_p90_ms:+5",
           "a CI gate: exit 3 when the 90th percentile lag grows by more than 5 ms"}},
         {{0, "the sides were compared, and no --fail-on gate tripped"},
          {2, "bad input (an option, a table that cannot be read or is of another schema, a side without a "
              "capture); nothing is compared"},
          {3, "a measure named by --fail-on is worse by more than its limit"}},
         {{"TMPDIR", "where explain's long reports wait, for sides that are logs (default /tmp)"}}},
        {"tags",
         "print every metadata tag a trace may use, with its id and type",
         "Prints every metadata tag a trace may use, with its id and type.",
         {{"zsl-replay tags | grep afMode", ""}},
         {{0, "always"}},
         {}},
    };
}

Help makeToolHelp()
{
    return {"zsl-replay",
            "replay ZSL captures through the frame-selection plug-in, explain them from a device's log, or "
            "replay them with the selector's properties changed",
            "zsl-replay answers, for a zero-shutter-lag capture, which buffered frames became the photo, how "
            "long before the shutter press they were shot, and why the others were refused: from a device's log "
            "or bug report (explain), by replaying a trace through the plug-in (replay), with the selector's "
            "properties changed (whatif), and over a fleet's capture tables (summarize, compare).\n\n"
            "Without a subcommand, zsl-replay replays: `zsl-replay trace.json` is `zsl-replay replay "
            "trace.json`. Each subcommand's --help gives its options, examples, exit statuses and "
            "environment.",
            {{"zsl-replay explain bugreport.zip --html captures.html", "a bug report's captures as one page"},
             {"zsl-replay explain --help", "a subcommand's options"}},
            {{0, "success"},
             {1, "replay: a step's results differ from its expectations"},
             {2, "bad input, named in one line"},
             {3, "compare: a --fail-on gate tripped"}},
            {}};
}

// `first` then the words of `text`, filled to `width` columns; every line
// after the first starts with `indent`.
std::string fill(const std::string &first, const std::string &text, size_t width, const std::string &indent)
{
    std::string out, line = first;
    bool lineHasWord = false;
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = std::min(text.find_first_of(" \n", start), text.size());
        const std::string word = text.substr(start, end - start);
        start = end + 1;
        if (word.empty())
            continue;
        if (lineHasWord && line.size() + 1 + word.size() > width) {
            out += line + "\n";
            line = indent;
            lineHasWord = false;
        }
        line += (lineHasWord ? " " : "") + word;
        lineHasWord = true;
    }
    return out + line;
}

} // namespace

const Help &toolHelp()
{
    static const Help help = makeToolHelp();
    return help;
}

const std::vector<Help> &subcommandHelps()
{
    static const std::vector<Help> helps = makeSubcommandHelps();
    return helps;
}

const Help &helpOf(const std::string &subcommand)
{
    const std::vector<Help> &helps = subcommandHelps();
    const auto found = std::find_if(helps.begin(), helps.end(), [&](const Help &h) { return h.name == subcommand; });
    return found != helps.end() ? *found : toolHelp();
}

std::string helpFooter(const Help &help)
{
    constexpr size_t kWidth = 100;
    std::string out;
    for (size_t start = 0; start < help.description.size();) {
        const size_t end = std::min(help.description.find("\n\n", start), help.description.size());
        out += (out.empty() ? "" : "\n\n") + fill("", help.description.substr(start, end - start), kWidth, "");
        start = end + 2;
    }
    if (!help.examples.empty()) {
        size_t widest = 0;
        for (const Help::Example &example : help.examples)
            widest = std::max(widest, example.command.size());
        out += help.examples.size() == 1 ? "\n\nExample:\n" : "\n\nExamples:\n";
        for (const Help::Example &example : help.examples) {
            out += "  " + example.command;
            if (!example.what.empty())
                out += widest + 4 + example.what.size() <= kWidth
                           ? std::string(widest - example.command.size() + 2, ' ') + example.what
                           : "\n" + fill("      ", example.what, kWidth, "      ");
            out += "\n";
        }
        out.pop_back();
    }
    if (!help.exitStatuses.empty()) {
        out += "\n\nExit status:";
        for (const Help::ExitStatus &exit : help.exitStatuses)
            out += "\n" + fill("  " + std::to_string(exit.status) + "  ", exit.meaning, kWidth, "     ");
    }
    out += "\n\nEnvironment:";
    if (help.environment.empty())
        out += "\n  none is read.";
    for (const Help::Variable &variable : help.environment)
        out += "\n  " + variable.name + "\n" + fill("      ", variable.meaning, kWidth, "      ");
    return out;
}

} // namespace zsl::commands
