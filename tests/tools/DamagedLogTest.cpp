// Damaged logs tell no wrong fact: every log the tests own (the sample, and
// the replays of every trace rendered by liblog's formatter at debug and at
// info level, with and without thread ids) is cut at every line from the
// start and from the end, cut at both ends, has each plug-in line dropped,
// and each run of 2 to 8 lines replaced by logd's gap marker of the same
// process. Every fact a capture of the damaged log states equals the whole
// log's; a capture whose lines are all there, with no gap among them,
// keeps every fact it had. The gap marker's and the check grammar's own
// tables are in LogGrammarTest.

#include "log/CheckGrammar.h"
#include "log/GapMarker.h"
#include "log/LineParser.h"
#include "log/LogImporter.h"
#include "messages/MessageLookup.h"
#include "output/CaptureTable.h"
#include "output/LogcatWriter.h"
#include "replay/BuiltinTraces.h"
#include "replay/Replayer.h"
#include "replay/TraceReader.h"

#include <PluginLoader.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;
using zsl::output::CaptureRow;

// A capture's facts, each where its log states it.
struct Facts {
    std::optional<bool> needed;
    std::optional<double> windowMs, anchorLagMs;
    std::optional<uint32_t> anchor;
    std::optional<std::vector<uint32_t>> selected, taken;
    std::optional<size_t> requested;
    std::vector<double> takenLags;
    std::map<uint32_t, bool> verdicts; // known verdicts, by frame
    std::set<uint64_t> lines;          // the log's lines it was made of
    bool mixed = false;                // read without thread ids, its lines interleave with another's
    bool noneRefused = false;          // its answer says no frame was refused
};

// Facts stated by both agree.
size_t mixedSame(const Facts &damaged, const Facts &whole)
{
    size_t compared = 0;
    auto both = [&](const char *what, const auto &a, const auto &b) {
        if (a && b) {
            EXPECT_EQ(*a, *b) << what;
            ++compared;
        }
    };
    both("window", damaged.windowMs, whole.windowMs);
    both("anchor", damaged.anchor, whole.anchor);
    both("selected", damaged.selected, whole.selected);
    both("requested", damaged.requested, whole.requested);
    both("taken", damaged.taken, whole.taken);
    for (const auto &[frame, accepted] : damaged.verdicts)
        if (whole.verdicts.count(frame)) {
            EXPECT_EQ(accepted, whole.verdicts.at(frame)) << "frame " << frame;
            ++compared;
        }
    return compared;
}

using Key = std::tuple<int, int, uint32_t>; // pid, tid, fwkFrame

struct Read {
    std::map<Key, Facts> captures; // keys seen once
    std::set<Key> repeated;
};

Read readLog(const std::vector<std::string> &lines, const std::vector<uint64_t> &numbers)
{
    std::string text;
    for (const std::string &line : lines)
        text += line + "\n";
    zsl::log::LogImporter importer("damaged.log");
    std::FILE *stream = fmemopen(text.data(), text.size(), "r");
    std::map<int, std::set<uint64_t>> configs; // the selector's configuration lines, by process
    zsl::log::readDeviceLog(
        stream,
        [&](kohost::LogLine line, uint64_t number) {
            const zsl::messages::PluginMessage *message = zsl::messages::findPluginMessage(line.text);
            if (message && message->kind == zsl::messages::MessageKind::Config)
                configs[line.pid].insert(numbers[number - 1]);
            importer.add(std::move(line), numbers[number - 1]);
        },
        [](const std::string &) {});
    std::fclose(stream);
    const SessionOutcome session = importer.finish();
    Read read;
    for (const StepOutcome &step : session.steps) {
        if (step.kind == StepKind::Needed)
            continue;
        const CaptureRow row = zsl::output::captureRow(session, step);
        Facts facts;
        facts.needed = row.zslNeeded;
        facts.windowMs = row.windowStartMs;
        facts.anchorLagMs = row.anchorLagMs;
        facts.anchor = row.anchorFrame;
        if (row.selected)
            facts.selected = step.selectedFrames;
        if (row.taken)
            facts.taken = step.taken;
        facts.requested = row.requested;
        facts.takenLags = row.takenLagsMs;
        for (const CheckOutcome &check : step.checks)
            if (check.unknown.empty())
                facts.verdicts[check.frame] = check.verdict.first;
        for (const kohost::LogLine &line : step.log)
            facts.lines.insert(line.logLine);
        facts.mixed = step.mixedThreads;
        facts.noneRefused = row.answer.find("none refused") != std::string::npos;
        // Its process's configuration before it tells what its lines mean.
        if (!facts.lines.empty())
            if (const auto &lines = configs[step.pid]; lines.lower_bound(*facts.lines.begin()) != lines.begin())
                facts.lines.insert(*std::prev(lines.lower_bound(*facts.lines.begin())));
        const Key key{step.pid, step.tid, step.fwkFrame};
        if (read.captures.count(key) || read.repeated.count(key)) {
            read.captures.erase(key);
            read.repeated.insert(key);
        } else {
            read.captures[key] = facts;
        }
    }
    return read;
}

std::string name(const Key &key)
{
    return "pid " + std::to_string(std::get<0>(key)) + " tid " + std::to_string(std::get<1>(key)) + " fwkFrame " +
           std::to_string(std::get<2>(key));
}

// Each fact stated in `damaged` equals `whole`'s; with `keepAll`, each of
// whole's is stated too. Answers the number of facts compared.
template <typename T>
size_t same(const char *what, const std::optional<T> &damaged, const std::optional<T> &whole, bool keepAll)
{
    if (damaged) {
        EXPECT_TRUE(whole && *whole == *damaged) << what << " stated, unlike the whole log";
        return 1;
    }
    if (keepAll) {
        EXPECT_FALSE(whole) << what << " lost, though every line of the capture is there";
    }
    return 0;
}

size_t expectNoWrongFact(const Read &whole, const Read &damaged, const std::set<uint64_t> &present,
                         const std::vector<std::pair<uint64_t, uint64_t>> &gaps)
{
    size_t compared = 0;
    for (const auto &[key, facts] : damaged.captures) {
        if (whole.repeated.count(key))
            continue;
        SCOPED_TRACE(name(key));
        const auto found = whole.captures.find(key);
        // A capture the whole log does not have may only be one it names
        // apart (a capture cut to checks alone names its fwkFrame too).
        if (found == whole.captures.end()) {
            EXPECT_TRUE(facts.verdicts.empty() && !facts.selected && !facts.taken) << "a capture the log does not have";
            continue;
        }
        const Facts &truth = found->second;
        bool keepAll = !truth.lines.empty();
        for (uint64_t line : truth.lines)
            keepAll = keepAll && present.count(line);
        for (const auto &[from, to] : gaps)
            keepAll = keepAll && (to < *truth.lines.begin() || from > *truth.lines.rbegin());
        // Without thread ids, the whole log may leave a capture's facts open
        // because another capture's lines interleave: a cut that removes
        // those may state them. There a stated fact is held to the whole
        // log's where that states it.
        if (std::get<1>(key) == kUnknownId && truth.mixed) {
            compared += mixedSame(facts, truth);
            continue;
        }
        compared += same("ZSL needed", facts.needed, truth.needed, keepAll);
        compared += same("window", facts.windowMs, truth.windowMs, keepAll);
        compared += same("anchor", facts.anchor, truth.anchor, keepAll);
        compared += same("anchor lag", facts.anchorLagMs, truth.anchorLagMs, keepAll);
        compared += same("selected", facts.selected, truth.selected, keepAll);
        compared += same("requested", facts.requested, truth.requested, keepAll);
        compared += same("taken", facts.taken, truth.taken, keepAll);
        if (facts.taken) {
            EXPECT_EQ(facts.takenLags, truth.takenLags);
        }
        for (const auto &[frame, accepted] : facts.verdicts) {
            const auto real = truth.verdicts.find(frame);
            EXPECT_TRUE(real != truth.verdicts.end() && real->second == accepted)
                << "frame " << frame << (accepted ? " accepted" : " refused") << ", unlike the whole log";
            ++compared;
        }
        if (keepAll) {
            EXPECT_EQ(facts.verdicts, truth.verdicts) << "verdicts lost, though every line of the capture is there";
        }
        // The answer's "none refused" holds for every check the capture had.
        if (facts.noneRefused) {
            EXPECT_EQ(facts.verdicts, truth.verdicts) << "\"none refused\", but the whole log has other checks";
            for (const auto &[frame, accepted] : truth.verdicts)
                EXPECT_TRUE(accepted) << "\"none refused\", but the whole log refuses frame " << frame;
            ++compared;
        }
    }
    return compared;
}

struct Log {
    std::string name;
    std::vector<std::string> lines;
};

// The replays of every trace the tests own, as logcat shows them.
std::vector<Log> renderedLogs()
{
    std::vector<zsl::replay::TraceSpec> traces;
    for (const zsl::replay::BuiltinTrace &builtin : zsl::replay::builtinTraces())
        traces.push_back(zsl::replay::parseTrace(builtin.text, builtin.name));
    for (const char *file : {"pending-and-single-steps.json", "taken-missing-and-why.json"})
        traces.push_back(zsl::replay::readTraceFile(std::string(ZSL_TEST_TRACES) + "/" + file));
    const zsl::replay::Replayer replayer(kohost::defaultPluginPath());
    std::vector<Log> logs;
    for (zsl::replay::TraceSpec &trace : traces)
        for (int level : {3, 4})
            for (const char *format : {"threadtime", "brief"}) {
                trace.logLevel = level;
                Log log{trace.file + (level == 3 ? " debug " : " info ") + format, {}};
                for (const kohost::LogLine &line : replayer.run(trace).androidLog)
                    log.lines.push_back(zsl::output::logcatLine(line, format));
                logs.push_back(std::move(log));
            }
    return logs;
}

std::vector<Log> ownedLogs()
{
    std::vector<Log> logs = renderedLogs();
    std::ifstream sample(std::string(ZSL_SOURCE_DIR) + "/examples/device.log");
    Log device{"examples/device.log", {}};
    for (std::string line; std::getline(sample, line);)
        device.lines.push_back(line);
    // The same without thread ids: two cameras' captures interleave.
    Log brief{"examples/device.log brief", {}};
    for (const std::string &line : device.lines)
        if (const std::optional<kohost::LogLine> ours = zsl::log::parseLogLine(line))
            brief.lines.push_back(zsl::output::logcatLine(*ours, "brief"));
    logs.push_back(std::move(device));
    logs.push_back(std::move(brief));
    return logs;
}

// A damaged copy: the lines kept (with their numbers in the whole log), and
// the gap markers put in, each standing for lines `from` to `to`.
struct Damaged {
    std::vector<std::string> lines;
    std::vector<uint64_t> numbers;
    std::vector<std::pair<uint64_t, uint64_t>> gaps;
};

// logd's marker for lines dropped, in the shape and process of `line`.
std::string gapMarker(const std::string &line, size_t count)
{
    const std::optional<kohost::LogLine> parsed = zsl::log::parseLogLine(line);
    const std::string message = "uid=1047(cameraserver) CameraThread expire " + std::to_string(count) + " lines";
    if (!parsed || parsed->pid <= 0)
        return message; // raw: any process
    if (parsed->tid > 0) // threadtime
        return line.substr(0, line.find(" KoAlgoEngine")) + " chatty  : " + message;
    return "I/chatty  (" + std::to_string(parsed->pid) + "): " + message; // brief
}

TEST(DamagedLog, EveryFactStatedEqualsTheWholeLogs)
{
    size_t compared = 0, variants = 0;
    for (const Log &log : ownedLogs()) {
        SCOPED_TRACE(log.name);
        const size_t n = log.lines.size();
        std::vector<uint64_t> all(n);
        for (size_t i = 0; i < n; ++i)
            all[i] = i + 1;
        const Read whole = readLog(log.lines, all);
        ASSERT_FALSE(whole.captures.empty());
        std::vector<Damaged> damaged;
        auto keep = [&](size_t from, size_t to) { // lines [from, to)
            Damaged d;
            for (size_t i = from; i < to; ++i) {
                d.lines.push_back(log.lines[i]);
                d.numbers.push_back(i + 1);
            }
            return d;
        };
        for (size_t cut = 1; cut < n; ++cut) {
            damaged.push_back(keep(cut, n)); // starts inside
            damaged.push_back(keep(0, cut)); // ends inside
        }
        for (size_t cut = 1; cut + 1 < n / 2; cut += 3)
            damaged.push_back(keep(cut, n - cut)); // both ends
        for (size_t drop = 0; drop < n; ++drop) {
            if (!zsl::log::parseLogLine(log.lines[drop]))
                continue; // not the plug-in's
            Damaged d = keep(0, n);
            d.lines.erase(d.lines.begin() + static_cast<std::ptrdiff_t>(drop));
            d.numbers.erase(d.numbers.begin() + static_cast<std::ptrdiff_t>(drop));
            damaged.push_back(std::move(d));
        }
        for (size_t length = 2; length <= 8; ++length)
            for (size_t from = 0; from + length <= n; from += (n > 200 ? 2 : 1)) {
                Damaged d = keep(0, from);
                size_t ours = from; // the marker names the process of the plug-in's lines dropped
                while (ours < from + length && !zsl::log::parseLogLine(log.lines[ours]))
                    ++ours;
                d.lines.push_back(gapMarker(log.lines[ours < from + length ? ours : from], length));
                d.numbers.push_back(0); // no line of the whole log
                d.gaps.emplace_back(from + 1, from + length);
                for (size_t i = from + length; i < n; ++i) {
                    d.lines.push_back(log.lines[i]);
                    d.numbers.push_back(i + 1);
                }
                damaged.push_back(std::move(d));
            }
        for (const Damaged &d : damaged) {
            const std::set<uint64_t> present(d.numbers.begin(), d.numbers.end());
            const bool failedBefore = HasFailure();
            compared += expectNoWrongFact(whole, readLog(d.lines, d.numbers), present, d.gaps);
            ++variants;
            if (!failedBefore && HasFailure()) {
                std::string shown;
                for (size_t i = 0; i < d.lines.size(); ++i)
                    shown += std::to_string(d.numbers[i]) + ": " + d.lines[i] + "\n";
                ADD_FAILURE() << "in this damaged log:\n" << shown;
                return; // one damaged log shown is enough to mend it
            }
        }
    }
    EXPECT_GT(variants, 1000u);
    EXPECT_GT(compared, 10000u); // not every fact left unknown
}

} // namespace
