// zsl-replay as an engineer runs it: the built program on small traces,
// results read back from --json.

#include "ReplayCli.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using kotest::Outcome;
using kotest::replay;
using kotest::TempFile;
using nlohmann::json;
const std::string kTraces = ZSL_TEST_TRACES; // traces kept as tests

json replayJson(const std::string &args)
{
    Outcome run = replay("--json " + args);
    EXPECT_EQ(run.status, 0) << run.err;
    return json::parse(run.out);
}

const json &step(const json &out, size_t trace, size_t index = 0)
{
    return out["traces"][trace]["steps"][index];
}

TEST(ZslReplayTrace, ExpectationsAreComparedAndWritten)
{
    TempFile trace(R"({"queues": [{"id": 0, "type": "meta", "consumer": [1, 2],
                  "frames": {"1": {"shutter": "-900ms"}, "2": {"shutter": "-10ms"}}}],
      "steps": [{"capture": {"requests": [{"android.control.enableZsl": 1}],
                 "expect": {"needed": true, "selection": {"0": [1, 2], "3": [2]}, "taken": [1],
                            "checks": {"2": {"verdict": [true, true], "reason": "AF"}}}}}]})");
    Outcome run = replay(trace.path());
    EXPECT_EQ(run.status, 1);
    const std::string at = trace.path() + ": at /steps/0: ";
    EXPECT_EQ(run.err, at + "selection for queue 0: expected [1 2], got [2]\n" +
                           at + "selection for queue 3: expected [2], got no entry\n" +
                           at + "taken: expected [1], got []\n" +
                           at + "frame 2 verdict: expected [true, true], got [false, true]\n" +
                           at + "frame 2 reason: expected \"AF\", got \"android.control.afMode tag not found!\"\n");

    EXPECT_EQ(replay("--write-expectations " + trace.path()).status, 0);
    Outcome again = replay(trace.path());
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(json::parse(std::ifstream(trace.path()))["steps"][0]["capture"]["expect"],
              json::parse(R"({"needed": true, "zsdTs": "+0ms", "anchor": null, "selection": {"0": [2]}, "taken": [],
                              "checks": {"2": {"verdict": [false, true],
                                               "reason": "android.control.afMode tag not found!"}}})"));
}

// Every label of the timeline in its box (0.6 em a character): no two
// overlap, none covers a frame, none leaves the picture.
TEST(ZslReplayBuiltin, TimelineLabelsNeitherOverlapNorLeaveThePicture)
{
    TempFile svg;
    ASSERT_EQ(replay("--svg " + svg.path() + " examples/*.json " + kTraces + "/*.json", "cd " ZSL_SOURCE_DIR " &&").status, 0);
    const std::string text = svg.text();
    auto number = [&](size_t at, const char *name) { return std::stod(text.substr(text.find(name, at) + std::strlen(name))); };
    struct Box { double x0, y0, x1, y1; bool text; std::string what; };
    std::vector<Box> boxes;
    for (size_t at = 0; (at = text.find("<text x=", at)) != std::string::npos; ++at) {
        const double x = number(at, "x='"), y = number(at, "y='"), size = number(at, "font-size='");
        const size_t open = text.find('>', at) + 1;
        std::string content = text.substr(open, text.find("</text>", open) - open);
        const double w = 0.6 * size * double(std::count_if(content.begin(), content.end(), [](char c) { return (c & 0xC0) != 0x80; }));
        const std::string anchor = text.substr(text.find("text-anchor='", at) + 13, 3);
        const double x0 = anchor == "sta" ? x : anchor == "mid" ? x - w / 2 : x - w;
        boxes.push_back({x0, y - 0.8 * size, x0 + w, y + 0.2 * size, true, content});
    }
    for (size_t at = 0; (at = text.find("<circle cx=", at)) != std::string::npos; ++at) {
        const double x = number(at, "cx='"), y = number(at, "cy='"), r = number(at, "r='");
        boxes.push_back({x - r, y - r, x + r, y + r, false, "circle"});
    }
    const double width = number(0, "width='"), height = number(0, "height='");
    for (size_t i = 0; i < boxes.size(); ++i) {
        const Box &a = boxes[i];
        EXPECT_TRUE(a.x0 >= 0 && a.x1 <= width && a.y0 >= 0 && a.y1 <= height) << a.what;
        for (size_t j = i + 1; j < boxes.size(); ++j) {
            const Box &b = boxes[j];
            const bool overlap = a.x0 < b.x1 && b.x0 < a.x1 && a.y0 < b.y1 && b.y0 < a.y1;
            EXPECT_FALSE((a.text || b.text) && overlap) << a.what << " / " << b.what;
        }
    }
}

TEST(ZslReplayBuiltin, SameOutputOnEveryRun)
{
    for (const char *args : {"--log", "--json"}) {
        Outcome first = replay(args), second = replay(args);
        EXPECT_EQ(first.status, 0);
        EXPECT_EQ(first.out, second.out) << args;
        EXPECT_EQ(first.err, second.err) << args;
    }
}

TEST(ZslReplayTrace, RelativeTimesAreRebasedOnTheCaptureMoment)
{
    TempFile trace(R"({
      "properties": {"ro.vendor.camera3.zsl.default": "200"},
      "queues": [{"id": 0, "type": "meta", "consumer": [1, 2, 3],
                  "frames": {"1": {"shutter": 1000}, "2": {"shutter": "-500ms"}, "3": {"shutter": "-0.25s"}}}],
      "steps": [{"select": {"requests": [{}], "at": 5000000000000}}]})");
    json out = replayJson(trace.path());
    const json &select = step(out, 0);
    const int64_t capture = select["captureTimeNs"];
    EXPECT_EQ(capture, 5000000000000);
    EXPECT_EQ(select["shutterTimeNs"]["1"], 1000);
    EXPECT_EQ(select["shutterTimeNs"]["2"].get<int64_t>() - capture, -500000000);
    EXPECT_EQ(select["shutterTimeNs"]["3"].get<int64_t>() - capture, -250000000);
    // The plug-in's clock is pinned at the capture moment.
    EXPECT_EQ(select["curTime"], capture);
    EXPECT_EQ(select["selection"]["0"], json::array({3}));
}

// Decimal times are read digit by digit: each is the exact number of ns,
// where a floating-point product would be one off ("-2.01s", "-33.3ms").
TEST(ZslReplayTrace, DecimalTimesAreExactNanoseconds)
{
    const std::pair<const char *, int64_t> cases[] = {
        {"-2.01s", -2010000000},       {"-33.3ms", -33300000},     {"-0.000000001s", -1},
        {"+1.5us", 1500},              {"-2.010ms", -2010000},     {"-7ns", -7},
        {"-0.1s", -100000000},         {"+0.29s", 290000000},      {"-4.35ms", -4350000},
        {"-9223372036.854775808s", std::numeric_limits<int64_t>::min()},
    };
    json queue = {{"id", 0}, {"type", "meta"}, {"consumer", json::array()}, {"frames", json::object()}};
    for (size_t i = 0; i < std::size(cases); ++i) {
        queue["frames"][std::to_string(i + 1)]["shutter"] = cases[i].first;
        queue["consumer"].push_back(i + 1);
    }
    json trace = {{"queues", json::array({queue})}, {"steps", json::array()}};
    trace["steps"].push_back({{"select", {{"requests", json::array({json::object()})}, {"at", 1LL << 62}}}});
    TempFile file(trace.dump());
    const json out = replayJson(file.path());
    const json &select = step(out, 0);
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(select["shutterTimeNs"][std::to_string(i + 1)].get<int64_t>() - (1LL << 62), cases[i].second)
            << cases[i].first;
}

struct BadInput {
    const char *name;
    const char *trace;    // written to a file; nullptr: path is given as it is
    const char *place;    // in the message
    const char *expected; // in the message
    const char *path = nullptr;
};

class ZslReplayBadInput : public testing::TestWithParam<BadInput> {};

TEST_P(ZslReplayBadInput, OneLineNamingFilePlaceAndExpectation)
{
    const BadInput &c = GetParam();
    std::unique_ptr<TempFile> file;
    std::string path = c.path ? c.path : "";
    if (c.trace) {
        file = std::make_unique<TempFile>(c.trace);
        path = file->path();
    }
    Outcome run = replay(path);
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(run.out.empty());
    ASSERT_FALSE(run.err.empty());
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err; // exactly one line
    EXPECT_NE(run.err.find(path), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(c.place), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(c.expected), std::string::npos) << run.err;
}

#define QUEUE(frames) R"({"queues": [{"id": 0, "type": "meta", "frames": )" frames R"(}], "steps": []})"

INSTANTIATE_TEST_SUITE_P(
    Errors, ZslReplayBadInput,
    testing::Values(
        BadInput{"unreadableFile", nullptr, "at /", "cannot read the file", "/nonexistent/trace.json"},
        BadInput{"directory", nullptr, "at /", "is a directory", "/"},
        BadInput{"invalidJson", "{\"queues\": [\n  {\"id\": 0,, \"type\": 1}]}", "at line 2, column 12", "invalid JSON"},
        BadInput{"numberBeyondADouble", R"({"queues": [{"id": 1e400}], "steps": []})", "at /", "number overflow"},
        BadInput{"duplicateKey", R"({"queues": [], "steps": [{"needed": {}}], "steps": []})", "at /steps",
                 "duplicate key \"steps\""},
        BadInput{"frameKeyWithLeadingZero", QUEUE(R"({"44": {"shutter": 0}, "0044": {"shutter": 1}})"),
                 "/queues/0/frames/0044", "without leading zeros"},
        BadInput{"relativeTimeWithoutSign", QUEUE(R"({"1": {"shutter": "266.7ms"}})"), "/queues/0/frames/1/shutter",
                 "expected a time"},
        BadInput{"relativeTimeBeyondInt64", QUEUE(R"({"1": {"shutter": "-10000000000000000000000000s"}})"),
                 "/queues/0/frames/1/shutter", "out of range"},
        BadInput{"relativeTimeFinerThanANanosecond", QUEUE(R"({"1": {"shutter": "-0.5ns"}})"),
                 "/queues/0/frames/1/shutter", "finer than a nanosecond"},
        BadInput{"relativeTimePastTheLargestCaptureMoment",
                 R"({"queues": [{"id": 0, "type": "meta", "frames": {"1": {"shutter": "+1ns"}, "2": {"shutter": 0}}}],
                     "steps": [{"select": {"requests": [{}], "at": 9223372036854775807}}]})",
                 "/queues/0/frames/1/shutter", "past the largest 64-bit ns time"},
        BadInput{"unknownTagName", QUEUE(R"({"1": {"shutter": 0, "metadata": {"android.control.afModee": 1}}})"),
                 "/queues/0/frames/1/metadata/android.control.afModee", "unknown tag name"},
        BadInput{"wrongValueType",
                 QUEUE(R"({"1": {"shutter": 0, "metadata": {"android.control.aeExposureCompensation": "4"}}})"),
                 "/queues/0/frames/1/metadata/android.control.aeExposureCompensation", "expected an integer"},
        BadInput{"unknownEnumName", QUEUE(R"({"1": {"shutter": 0, "metadata": {"android.control.aeState": "SEARCHNG"}}})"),
                 "/queues/0/frames/1/metadata/android.control.aeState", "unknown name \"SEARCHNG\""},
        BadInput{"unknownProperty", R"({"properties": {"ro.vendor.camera3.zsl.defualt": 30}, "queues": [], "steps": []})",
                 "/properties/ro.vendor.camera3.zsl.defualt", "unknown property"},
        BadInput{"frameListedTwice", R"({"queues": [{"id": 0, "type": 1, "consumer": [4, 5, 4]}], "steps": []})",
                 "/queues/0/consumer/2", "frame 4 is listed twice (also at /queues/0/consumer/0)"},
        BadInput{"wrongDeclaredType",
                 QUEUE(R"({"1": {"shutter": 0, "metadata": {"korvan.mfnr.enabled": {"type": "int32", "values": [1]}}}})"),
                 "/queues/0/frames/1/metadata/korvan.mfnr.enabled/type", "wrong value type"},
        BadInput{"byteOutOfRange", QUEUE(R"({"1": {"shutter": 0, "metadata": {"android.control.afMode": 256}}})"),
                 "/queues/0/frames/1/metadata/android.control.afMode", "out of range"},
        BadInput{"missingShutter", QUEUE(R"({"1": {}})"), "/queues/0/frames/1/shutter", "missing required field"},
        BadInput{"missingSteps", R"({"queues": []})", "/steps", "missing required field"},
        BadInput{"frameNumberOutOfRange", QUEUE(R"({"4294967296": {"shutter": 0}})"), "/queues/0/frames/4294967296",
                 "out of range"},
        BadInput{"negativeFrameInList", R"({"queues": [{"id": 0, "type": 1, "consumer": [-1]}], "steps": []})",
                 "/queues/0/consumer/0", "out of range"},
        BadInput{"typoInKey", R"({"queues": [{"id": 0, "type": 1, "consumr": [1]}], "steps": []})",
                 "/queues/0/consumr", "unknown key"},
        BadInput{"badTime", QUEUE(R"({"1": {"shutter": "-33 ms"}})"), "/queues/0/frames/1/shutter",
                 "expected a time"},
        BadInput{"unknownStep", R"({"queues": [], "steps": [{"capture!": {}}]})", "/steps/0/capture!",
                 "unknown step"}),
    [](const testing::TestParamInfo<BadInput> &info) { return info.param.name; });

// Reading goes on past a bad part: every error of a trace, a line each.
TEST(ZslReplayTrace, EveryErrorOfATraceAtOnce)
{
    TempFile trace(R"({"queues": [{"id": 0, "type": 1, "frames": {"1": {"shutter": "5ms"},
      "2": {"shutter": 0, "metadata": {"android.control.afMod": 1}}}}, {"id": -1, "type": 1}],
      "steps": [{"capture!": {}}, {"needed": {"requests": []}}]})");
    Outcome run = replay(trace.path());
    EXPECT_EQ(run.status, 2);
    for (const char *place : {"/queues/0/frames/1/shutter", "/queues/0/frames/2/metadata/android.control.afMod",
                              "/queues/1/id", "/steps/0/capture!"})
        EXPECT_NE(run.err.find(std::string(": at ") + place + ": "), std::string::npos) << place << "\n" << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 4);
}

// Long lists, names and strings cost time, not stack: thousands of frames
// in one plug-in line, a queue name of 100,000 characters, a time of 40,000.
TEST(ZslReplayTrace, LongInputIsReadAndReplayed)
{
    const int frames = 6000;
    json queue = {{"id", 0}, {"type", "meta"}, {"name", std::string(100000, 'q')}, {"frames", json::object()}};
    for (int frame = 1; frame <= frames; ++frame) {
        queue["consumer"].push_back(frame);
        queue["frames"][std::to_string(frame)] = {{"shutter", std::to_string(frame - frames - 1) + "ms"}};
    }
    json trace = {{"queues", {queue}}, {"steps", {{{"select", {{"requests", {json::object()}}}}}}}};
    TempFile valid(trace.dump());
    EXPECT_EQ(replayJson(valid.path())["traces"][0]["steps"][0]["selection"]["0"], json::array({frames}));

    queue["frames"]["1"]["shutter"] = "-" + std::string(40000, '9') + "ms";
    TempFile tooLong(json{{"queues", {queue}}, {"steps", json::array()}}.dump());
    EXPECT_EQ(replay(tooLong.path()).status, 2);
}

TEST(ZslReplayTrace, ReportSaysWhatWasTakenMissingAndWhy)
{
    std::string out = replay(kTraces + "/taken-missing-and-why.json").out + replay("examples/two-camera-focus.json", "cd " ZSL_SOURCE_DIR " &&").out;
    for (const char *line : {
             "   warning: frame 21 is listed but has left the queue (no record)\n",
             "   warning: the selection's first frame 20 was passed over: queue [sensor] does not hold it\n",
             "   frame 22 (shot 120.000 ms before the capture): refused: EV: frame 1, request 0   "
             "[plug-in: isRequiredEV fail: EV(History)=1, EV(Target)=0]\n",
             "refused: AE: state 1 SEARCHING, not 2 CONVERGED, 3 LOCKED or 4 FLASH_REQUIRED",
             "refused: camera 2: AF: mode 4 CONTINUOUS_PICTURE, state 3 ACTIVE_SCAN, lens 1 MOVING   "
             "[plug-in: camera 2: AF fail: afMode=4 afState=3 lensState=1]",
             "   took 1 of 4 requested frames: 24 (shot 30.000 ms before the capture); 3 missing: refused 22 23; "
             "the selection held 3 frames\n"})
        EXPECT_NE(out.find(line), std::string::npos) << line << "\n" << out;
}

// The largest window puts zsdTs at INT64_MIN (saturated): about 9.2e12 ms
// before the capture moment, not after it.
TEST(ZslReplayTrace, TimeWindowAtTheInt64LimitKeepsItsSign)
{
    TempFile trace(R"({"properties": {"ro.vendor.camera3.zsl.default": "9223372036854775807"},
      "queues": [{"id": 0, "type": 1, "consumer": [1], "frames": {"1": {"shutter": "-1ms"}}}],
      "steps": [{"select": {"requests": [{}]}}]})");
    Outcome run = replay(trace.path());
    EXPECT_NE(run.out.find("frames shot after -9223372136854."), std::string::npos) << run.out;
}

// The command line as engineers use it. TRACE is a small valid trace whose
// plug-in writes Android-log lines from debug on.
struct CliCase {
    const char *name;
    const char *environment;
    const char *args;
    int status;
    const char *outHas;
    std::vector<std::string> errLines; // each line of standard error contains its entry
};

class ZslReplayCommandLine : public testing::TestWithParam<CliCase> {};

TEST_P(ZslReplayCommandLine, OutputsAndExitStatus)
{
    const CliCase &c = GetParam();
    TempFile trace(R"({"log": {"level": 3}, "queues": [], "steps": [{"needed": {"requests": [{}]}}]})");
    std::string args = c.args;
    for (size_t at; (at = args.find("TRACE")) != std::string::npos;)
        args.replace(at, 5, trace.path());
    Outcome run = replay(args, c.environment);
    EXPECT_EQ(run.status, c.status) << run.err;
    EXPECT_NE(run.out.find(c.outHas), std::string::npos) << run.out;
    std::vector<std::string> lines;
    std::istringstream err(run.err);
    for (std::string line; std::getline(err, line);)
        lines.push_back(line);
    ASSERT_EQ(lines.size(), c.errLines.size()) << run.err;
    for (size_t i = 0; i < lines.size(); ++i)
        EXPECT_NE(lines[i].find(c.errLines[i]), std::string::npos) << lines[i];
}

const std::string kConfigLine = " I KoAlgoEngine: ZSL ZSLSelectorDefault.cpp:";
const std::string kNeededLine = " D KoAlgoEngine: ZSL ZSLSelectorDefault.cpp:";

INSTANTIATE_TEST_SUITE_P(
    Table, ZslReplayCommandLine,
    testing::Values(
        CliCase{"help", "", "--help", 0, "Subcommands:", {}},
        CliCase{"replayHelp", "", "replay --help", 0, "Exit status:", {}},
        CliCase{"explainHelp", "", "explain --help", 0, "adb logcat -v threadtime | zsl-replay explain - --follow", {}},
        CliCase{"tagsHelp", "", "tags --help", 0, "zsl-replay tags | grep", {}},
        CliCase{"version", "", "--version", 0, "zsl-replay ", {}},
        CliCase{"tags", "", "tags", 0, "byte\tandroid.control.afMode", {}},
        CliCase{"unknownOption", "", "--jsn", 2, "", {"zsl-replay replay: unknown option --jsn (see zsl-replay replay --help)"}},
        CliCase{"standardInput", "", "- < TRACE", 0, "(<stdin>)", {"01-01 00:01:40.000 ", "01-01 00:01:40.000 "}},
        // A bad trace is named; the good one is still replayed.
        CliCase{"badTraceFailsAlone", "ANDROID_LOG_TAGS='*:S'", "/nonexistent.json TRACE", 2, "ZSL needed: no",
                {"/nonexistent.json: at /: cannot read the file"}},
        CliCase{"logcatLines", "", "TRACE", 0, "", {" ZSLSelectorDefault()mSupportPending 0", kNeededLine}},
        CliCase{"tagFilterWinsOverAll", "ANDROID_LOG_TAGS='*:V KoAlgoEngine:I'", "TRACE", 0, "", {kConfigLine}},
        CliCase{"allFilter", "ANDROID_LOG_TAGS='*:I'", "TRACE", 0, "", {kConfigLine}},
        CliCase{"silenced", "ANDROID_LOG_TAGS='KoAlgoEngine:s'", "TRACE", 0, "", {}},
        CliCase{"typoWarning",
                R"(echo '{"queues": [{"id": 0, "type": 1, "consumer": [44, 45], "frames": {"44": {"shutter": 0},
                   "54": {"shutter": 1}}}], "steps": []}' |)",
                "-", 0, "", {"warning: <stdin>: at /queues/0: listed without a record: 45; with a record but not listed: 54 (a typo?)"}},
        // A plug-in that cannot be loaded is named with the loader's reason.
        CliCase{"pluginMissing", "", "--plugin /nonexistent/com.korvan.zsl.default.so", 2, "",
                {"cannot load the plug-in /nonexistent/com.korvan.zsl.default.so: "}},
        CliCase{"pluginWithoutFactory", "", "--plugin libm.so.6", 2, "", {"undefined symbol: createZSLSelector"}},
        CliCase{"explainOptionIsRefused", "", "TRACE --follow", 2, "", {"--follow is an option of zsl-replay explain, not of replay"}},
        CliCase{"replayOptionIsRefused", "", "explain TRACE --plugin=x", 2, "", {"--plugin is an option of zsl-replay replay, not of explain"}},
        CliCase{"writeTracesNeedsADirectory", "cd " ZSL_SOURCE_DIR " &&",
                "explain examples/device.log --write-traces /nonexistent", 2, "",
                {"--write-traces /nonexistent: not a directory"}},
        CliCase{"deviceTraceGoesIntoAnArchive", "", "TRACE --perfetto out.pftrace --device-trace TRACE", 2, "",
                {"--device-trace goes into an archive with our trace: give --perfetto FILE.zip"}},
        CliCase{"deviceTraceMustBeATrace", "", "TRACE --perfetto /tmp/zsl-test-archive.zip --device-trace TRACE", 2, "",
                {"not a Perfetto trace (a protobuf trace file is wanted)"}}),
    [](const testing::TestParamInfo<CliCase> &info) { return info.param.name; });

} // namespace
