// Perfetto's format both ways. Traces to read are made by protoc from text
// form, not by our writer; our writer's files are judged through protoc's
// decoding: both sides agreeing with each other would prove nothing.
// Traces are made and decoded by the helpers of PerfettoTraces.h.

#include "Containers.h"
#include "PerfettoTraces.h"
#include "ReplayCli.h"

#include "log/PerfettoLog.h"
#include "perfetto/Clocks.h"
#include "perfetto/perfetto_trace.pb.h"

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <zip.h>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using kotest::Outcome;
using kotest::replay;
using kotest::TempFile;
using kotest::zipOf;
using namespace kotest::perfetto;

const std::string kDeviceLog = ZSL_SOURCE_DIR "/examples/device.log";
// A capture's header without its time: a trace knows the year and zone that
// logcat's text leaves out, so that is where the two reports may differ.
std::string withoutLogTimes(std::string text)
{
    for (size_t at = 0; (at = text.find("\n-- ", at)) != std::string::npos; ++at) {
        const size_t end = text.find('\n', at + 1), time = text.rfind(", at ", end);
        if (time != std::string::npos && time > at)
            text.erase(time, end - time);
    }
    return text;
}

std::string withoutFirstLine(const std::string &text)
{
    return withoutLogTimes(text.substr(text.find('\n') + 1));
}

// The report from its first capture on: without the header that names the input.
std::string fromFirstCapture(const std::string &text)
{
    return withoutLogTimes(text.substr(std::min(text.size(), text.find("\n-- "))));
}

// How many selections a log holds: each logs its capture moment once.
size_t selectionsIn(const std::string &log)
{
    size_t count = 0;
    for (size_t at = 0; (at = log.find(" curTime:", at)) != std::string::npos; ++at)
        ++count;
    return count;
}

TEST(PerfettoRead, ATraceIsExplainedAsItsLogcatText)
{
    const std::vector<LogEntry> entries = threadtimeEntries(fileText(kDeviceLog), 2026);
    ASSERT_GT(entries.size(), 170u);
    TempFile trace;
    encode(traceText(entries), trace);
    const Outcome fromLog = replay("explain " + kDeviceLog);
    const Outcome fromTrace = replay("explain " + trace.path());
    ASSERT_EQ(fromTrace.status, 0) << fromTrace.err;
    EXPECT_EQ(withoutFirstLine(fromTrace.out), withoutFirstLine(fromLog.out));
    EXPECT_EQ(fromTrace.err, fromLog.err);

    // The table's times: the log printed month to millisecond; the trace
    // knows the year and that the clock is UTC.
    const Outcome logTable = replay("explain " + kDeviceLog + " --table jsonl:-");
    const Outcome traceTable = replay("explain " + trace.path() + " --table jsonl:-");
    std::istringstream logRows(logTable.out), traceRows(traceTable.out);
    size_t rows = 0;
    for (std::string logRow, traceRow; std::getline(logRows, logRow) && std::getline(traceRows, traceRow); ++rows) {
        auto a = nlohmann::json::parse(logRow), b = nlohmann::json::parse(traceRow);
        EXPECT_EQ(b["log_time"], "2026-" + a["log_time"].get<std::string>() + " +0000");
        // ISO 8601 only where the year is known: the trace's, in UTC.
        std::string iso = "2026-" + a["log_time"].get<std::string>() + "+00:00";
        iso[10] = 'T';
        EXPECT_EQ(b["capture_time"], iso);
        EXPECT_EQ(a["capture_time"], "");
        for (auto *row : {&a, &b})
            row->erase("log_time"), row->erase("input"), row->erase("capture_time");
        EXPECT_EQ(a, b);
    }
    EXPECT_EQ(rows, selectionsIn(fileText(kDeviceLog)));

    // Standard input, and a bug-report zip whose logs lack the plug-in's lines.
    EXPECT_EQ(withoutFirstLine(replay("explain - < " + trace.path()).out), withoutFirstLine(fromLog.out));
    TempFile report(zipOf({{"bugreport-x.txt", "== dumpstate: 2026-11-23 18:41:00\n------ SYSTEM LOG (logcat) ------\n"},
                           {"FS/data/misc/perfetto-traces/boot.pftrace", fileText(trace.path())}}));
    const Outcome zipped = replay("explain " + report.path());
    EXPECT_EQ(fromFirstCapture(zipped.out), fromFirstCapture(fromLog.out)) << zipped.err;
}

TEST(PerfettoRead, LinesAreNumberedAsLogcatPrintsTheWholeLog)
{
    // Another tag's entry of two lines, then the plug-in's answer: line 3.
    const std::string needed = "ZSL ZSLSelectorDefault.cpp:251 isSelectorNeeded()[ZSLSelector] ZSLSelectorDefault isNeeded 0";
    TempFile trace;
    encode("packet { android_log { events { pid: 9 tid: 9 timestamp: 2000 tag: \"KoAlgoEngine\" prio: 3 message: " +
               quoted(needed) + " } events { pid: 5 tid: 5 timestamp: 1000 tag: \"Other\" prio: 4 message: \"a\\nb\\n\" } } }",
           trace);
    const Outcome run = replay("explain " + trace.path());
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("pid 9 tid 9, line 3"), std::string::npos) << run.out;
}

TEST(PerfettoRead, AnEntryWithoutItsOwnTimeTakesItsPacketsThroughTheSnapshot)
{
    const std::string needed = "ZSL ZSLSelectorDefault.cpp:251 isSelectorNeeded()[ZSLSelector] ZSLSelectorDefault isNeeded 0";
    TempFile trace;
    // 2026-11-23 18:40:05 UTC on the wall clock is 5 s after boot; the entry is 85 ms later.
    encode("packet { clock_snapshot { clocks { clock_id: 1 timestamp: 1795459205000000000 } clocks { clock_id: 6 "
           "timestamp: 5000000000 } } }\n"
           "packet { timestamp: 5085000000 timestamp_clock_id: 6 android_log { events { pid: 9 tid: 9 tag: "
           "\"KoAlgoEngine\" prio: 3 message: " + quoted(needed) + " } } }",
           trace);
    const Outcome run = replay("explain " + trace.path() + " --table jsonl:-");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("\"log_time\":\"2026-11-23 18:40:05.085 +0000\""), std::string::npos) << run.out;
}

// What no trace reader may do: read a damaged or binary file as a log.
struct BadTrace {
    const char *name;
    std::string bytes;
    const char *error; // the one line's words
};

class PerfettoBadInput : public testing::TestWithParam<BadTrace> {};

TEST_P(PerfettoBadInput, OneLineAndExitStatus2)
{
    TempFile file(GetParam().bytes);
    const Outcome run = replay("explain " + file.path());
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_NE(run.err.find(GetParam().error), std::string::npos) << run.err;
}

std::string encoded(const std::string &text)
{
    TempFile file;
    encode(text, file);
    return fileText(file.path());
}

const std::string kOneEntry = "packet { trusted_packet_sequence_id: 1 android_log { events { pid: 1 tid: 1 timestamp: "
                              "5 tag: \"KoAlgoEngine\" prio: 4 message: \"ZSL a.cpp:1 f()x\" } } }";

INSTANTIATE_TEST_SUITE_P(
    Table, PerfettoBadInput,
    testing::Values(
        BadTrace{"cutShort", encoded(kOneEntry + kOneEntry).substr(0, encoded(kOneEntry + kOneEntry).size() - 3),
                 "the Perfetto trace is cut short inside packet 2"},
        BadTrace{"garbageAfterPackets", encoded(kOneEntry) + "\x12\x01", "damaged Perfetto trace: byte"},
        // Field 1 of TracePacket is not a packet's: an end group with no group.
        BadTrace{"packetNotParsed", encoded(kOneEntry) + std::string("\x0a\x02\x0c\x00", 4), "is not a trace packet"},
        BadTrace{"noAndroidLog", encoded("packet { trusted_packet_sequence_id: 1 clock_snapshot { clocks { clock_id: 6 "
                                         "timestamp: 1 } } }"),
                 "a Perfetto trace without android.log packets"},
        BadTrace{"binary", std::string("\x7f" "ELF\x02\x01\x01\x00\x00\x00", 10) + std::string(200, '\x01'),
                 "not a log: binary data"}),
    [](const testing::TestParamInfo<BadTrace> &info) { return info.param.name; });

TEST(PerfettoRead, ATextLogStartingWithABlankLineIsStillText)
{
    TempFile log("\n" + fileText(kDeviceLog));
    const Outcome run = replay("explain " + log.path());
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("fwkFrame 300"), std::string::npos);
}

TEST(PerfettoRead, ABinaryFileInAFolderIsPassedOverAsAnotherFile)
{
    char dir[] = "/tmp/zsl-replay-folder-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string log = std::string(dir) + "/phone.log", picture = std::string(dir) + "/screen.png";
    std::ofstream(log) << fileText(kDeviceLog);
    std::ofstream(picture) << std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
    const Outcome run = replay(std::string("explain ") + dir);
    std::remove(log.c_str()), std::remove(picture.c_str()), rmdir(dir);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.err.find("1 file in the folders given holds no line of the plug-in"), std::string::npos) << run.err;
    EXPECT_NE(run.out.find("fwkFrame 300"), std::string::npos);
}

TEST(PerfettoClocks, ATimeIsCarriedByTheNearestSnapshotBeforeIt)
{
    zsl::perfetto::Clocks clocks;
    for (auto [realtime, boottime] : {std::pair{1000, 10}, std::pair{5000, 4020}}) {
        perfetto::protos::ClockSnapshot snapshot;
        auto *a = snapshot.add_clocks();
        a->set_clock_id(1), a->set_timestamp(realtime);
        auto *b = snapshot.add_clocks();
        b->set_clock_id(6), b->set_timestamp(boottime);
        clocks.add(snapshot);
    }
    struct Case {
        int64_t realtime;
        int64_t boottime;
    };
    for (Case c : {Case{1000, 10}, Case{4999, 4009}, Case{5000, 4020}, Case{9000, 8020}, Case{500, -490}})
        EXPECT_EQ(clocks.convert(1, c.realtime, 6), c.boottime) << c.realtime;
    EXPECT_EQ(clocks.convert(6, 4020, 1), 5000);
    EXPECT_EQ(clocks.convert(3, 100, 6), std::nullopt); // no snapshot holds the monotonic clock
}

TEST(PerfettoRead, UtcTimeText)
{
    EXPECT_EQ(zsl::log::utcTimeText(0), "1970-01-01 00:00:00.000 +0000");
    EXPECT_EQ(zsl::log::utcTimeText(1795459205085999999), "2026-11-23 18:40:05.085 +0000");
    EXPECT_EQ(zsl::log::utcTimeText(-1), "1969-12-31 23:59:59.999 +0000");
}

// Our trace, decoded by protoc, checked for what Perfetto's reader needs.
TEST(PerfettoWrite, TracksAreDescribedFirstOnTheBootTimeClock)
{
    TempFile ours;
    const std::string &path = ours.path(); // no .json nor .zip: protobuf
    const Outcome run = replay("explain " + kDeviceLog + " --perfetto " + path);
    ASSERT_EQ(run.status, 0) << run.err;
    const perfetto::protos::Trace trace = decode(path);
    ASSERT_GT(trace.packet_size(), 10);

    const auto &first = trace.packet(0);
    ASSERT_TRUE(first.has_clock_snapshot());
    EXPECT_EQ(first.clock_snapshot().primary_trace_clock(), 6u);
    std::set<uint32_t> sequences;
    std::map<uint64_t, perfetto::protos::TrackDescriptor> described;
    std::map<std::string, uint64_t> firstBegin; // slice and instant names: their first time
    std::map<uint64_t, uint64_t> flowStart;     // flow id: when it starts
    size_t flowsEnded = 0;
    int events = 0;
    for (const auto &packet : trace.packet()) {
        sequences.insert(packet.trusted_packet_sequence_id());
        if (packet.has_track_descriptor()) {
            const auto &descriptor = packet.track_descriptor();
            EXPECT_TRUE(!descriptor.has_parent_uuid() || described.count(descriptor.parent_uuid())) << descriptor.name();
            described[descriptor.uuid()] = descriptor;
        }
        if (!packet.has_track_event())
            continue;
        const auto &event = packet.track_event();
        ++events;
        EXPECT_EQ(packet.timestamp_clock_id(), 6u);
        ASSERT_TRUE(described.count(event.track_uuid())) << event.name() << " before its track";
        if (event.has_name())
            firstBegin.emplace(event.name(), packet.timestamp());
        for (uint64_t id : event.flow_ids())
            flowStart[id] = packet.timestamp();
        for (uint64_t id : event.terminating_flow_ids()) {
            ASSERT_TRUE(flowStart.count(id)) << "flow " << id << " ends before it starts";
            EXPECT_LE(flowStart[id], packet.timestamp());
            ++flowsEnded;
        }
    }
    EXPECT_EQ(sequences.size(), 1u);
    EXPECT_EQ(flowsEnded, flowStart.size());
    EXPECT_GE(flowsEnded, selectionsIn(fileText(kDeviceLog))); // each capture took a frame

    // The log's own numbers: fwkFrame 100's curTime, and frame 44's shutter time.
    EXPECT_EQ(firstBegin["capture fwkFrame 100"], 10721889367107u);
    EXPECT_EQ(firstBegin["frame 44"], 10721806279658u);

    // The capture's track sits under the camera thread the log names.
    const auto step = std::find_if(described.begin(), described.end(),
                                   [](const auto &entry) { return entry.second.name() == "capture fwkFrame 100"; });
    ASSERT_NE(step, described.end());
    const auto &thread = described.at(step->second.parent_uuid());
    EXPECT_EQ(thread.thread().pid(), 1187);
    EXPECT_EQ(thread.thread().tid(), 1301);
    EXPECT_EQ(described.at(thread.parent_uuid()).process().pid(), 1187);

    // protoc's raw decoding knows no names: the packets' field numbers
    // themselves (6 clock snapshot, 11 track event, 60 track descriptor).
    TempFile raw;
    ASSERT_EQ(std::system((kProtoc + "--decode_raw <" + path + " >" + raw.path()).c_str()), 0);
    std::map<std::string, int> fields;
    std::istringstream lines(raw.text());
    for (std::string line; std::getline(lines, line);)
        if (line.rfind("  ", 0) == 0 && line[2] != ' ' && line.back() == '{')
            ++fields[line.substr(2, line.find(' ', 2) - 2)];
    EXPECT_EQ(fields["6"], 1);
    EXPECT_EQ(fields["11"], events);
    EXPECT_EQ(fields["60"], static_cast<int>(described.size()));
}

TEST(PerfettoWrite, TheArchiveHoldsTheDeviceTraceUnchangedOursAndTheManifest)
{
    const std::vector<LogEntry> entries = threadtimeEntries(fileText(kDeviceLog), 2026);
    TempFile device, archivePath("", ".zip");
    encode(traceText(entries), device);
    const std::string &zipPath = archivePath.path();
    const Outcome run = replay("explain " + kDeviceLog + " --perfetto " + zipPath + " --device-trace " + device.path());
    ASSERT_EQ(run.status, 0) << run.err;

    int error = 0;
    zip_t *archive = zip_open(zipPath.c_str(), ZIP_RDONLY, &error);
    ASSERT_NE(archive, nullptr);
    std::map<std::string, std::string> members;
    for (zip_int64_t i = 0; i < zip_get_num_entries(archive, 0); ++i) {
        zip_stat_t stat;
        zip_stat_index(archive, static_cast<zip_uint64_t>(i), 0, &stat);
        std::string bytes(stat.size, '\0');
        zip_file_t *file = zip_fopen_index(archive, static_cast<zip_uint64_t>(i), 0);
        zip_fread(file, bytes.data(), bytes.size());
        zip_fclose(file);
        members[stat.name] = bytes;
    }
    zip_close(archive);

    const std::string deviceName = device.path().substr(device.path().rfind('/') + 1);
    ASSERT_EQ(members.size(), 3u);
    EXPECT_EQ(members[deviceName], fileText(device.path()));
    const auto manifest = std::find_if(members.begin(), members.end(),
                                       [](const auto &m) { return m.second.rfind("{\"perfetto_manifest\"", 0) == 0; });
    ASSERT_NE(manifest, members.end());
    const auto json = nlohmann::json::parse(manifest->second)["perfetto_manifest"];
    EXPECT_EQ(json["version"], 1);
    EXPECT_EQ(json["trace_time"]["clock"], "BOOTTIME");
    std::set<std::string> machines, paths;
    for (const auto &file : json["files"]) {
        machines.insert(file["machine"]["name"].get<std::string>());
        paths.insert(file["path"].get<std::string>());
    }
    EXPECT_EQ(machines.size(), 1u);
    std::set<std::string> traces;
    for (const auto &[name, bytes] : members)
        if (name != manifest->first)
            traces.insert(name);
    EXPECT_EQ(paths, traces);

    // Ours, read back by protoc: the captures of the log.
    TempFile ours(members["zsl.pftrace"]);
    const perfetto::protos::Trace decoded = decode(ours.path());
    size_t captures = 0;
    for (const auto &packet : decoded.packet())
        captures += packet.track_event().name().rfind("capture fwkFrame", 0) == 0;
    EXPECT_EQ(captures, selectionsIn(fileText(kDeviceLog)));
}

} // namespace
