#pragma once
// Perfetto traces for the tests, made and read by protoc rather than by the
// tool's own writer and reader: a threadtime log's lines as a device trace's
// android.log packets (in text form, then encoded), and a file decoded back.

#include "Containers.h"
#include "ReplayCli.h"

#include "perfetto/perfetto_trace.pb.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace kotest::perfetto {

inline const std::string kProtoc = std::string(ZSL_PROTOC) + " --proto_path=" ZSL_PERFETTO_PROTO " ";
constexpr int64_t kBootOffsetNs = 1700000000LL * 1000000000LL; // the wall clock minus the boot-time clock

inline std::string fileText(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::string quoted(const std::string &text)
{
    std::string out = "\"";
    for (char c : text)
        out += c == '"' || c == '\\' ? std::string("\\") + c : c == '\n' ? std::string("\\n") : std::string(1, c);
    return out + "\"";
}

// A threadtime line's parts, as logcat printed them in UTC in `year`.
struct LogEntry {
    int64_t realtimeNs;
    int pid, tid, prio;
    std::string tag, message;
};

inline std::vector<LogEntry> threadtimeEntries(const std::string &text, int year)
{
    std::vector<LogEntry> entries;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::tm when{};
        int millis = 0, pid = 0, tid = 0, used = 0;
        char level = 0;
        if (std::sscanf(line.c_str(), "%d-%d %d:%d:%d.%d %d %d %c %n", &when.tm_mon, &when.tm_mday, &when.tm_hour,
                        &when.tm_min, &when.tm_sec, &millis, &pid, &tid, &level, &used) != 9)
            continue;
        when.tm_mon -= 1;
        when.tm_year = year - 1900;
        const size_t colon = line.find(": ", static_cast<size_t>(used));
        // A nanosecond per line keeps lines of one millisecond in the log's order.
        const int64_t ns = int64_t(timegm(&when)) * 1000000000 + millis * 1000000LL + int64_t(entries.size());
        entries.push_back({ns, pid, tid, int(std::string("VDIWEF").find(level)) + 2,
                           line.substr(static_cast<size_t>(used), colon - static_cast<size_t>(used)),
                           line.substr(colon + 2)});
    }
    return entries;
}

// A device trace in text form: the entries in two android.log packets, as
// two log buffers are read (neither in time order; the first far larger
// than the bytes a reader looks at to tell a trace), then a clock snapshot.
inline std::string traceText(const std::vector<LogEntry> &entries)
{
    std::string text;
    for (int buffer : {0, 1}) {
        text += "packet { trusted_packet_sequence_id: 7 android_log {\n";
        for (size_t i = static_cast<size_t>(buffer); i < entries.size(); i += 2) {
            const LogEntry &e = entries[i];
            text += " events { log_id: " + std::to_string(buffer) + " pid: " + std::to_string(e.pid) +
                    " tid: " + std::to_string(e.tid) + " timestamp: " + std::to_string(e.realtimeNs) +
                    " tag: " + quoted(e.tag) + " prio: " + std::to_string(e.prio) + " message: " + quoted(e.message) +
                    " }\n";
        }
        text += "} }\n";
    }
    return text + "packet { trusted_packet_sequence_id: 7 clock_snapshot { clocks { clock_id: 1 timestamp: " +
           std::to_string(entries.front().realtimeNs) +
           " } clocks { clock_id: 6 timestamp: " + std::to_string(entries.front().realtimeNs - kBootOffsetNs) +
           " } primary_trace_clock: 6 } }\n";
}

// protoc's binary encoding of a Trace given in text form, in a file.
inline void encode(const std::string &text, const kotest::TempFile &into)
{
    kotest::TempFile input(text);
    const std::string command =
        kProtoc + "--encode=perfetto.protos.Trace perfetto_trace.proto <" + input.path() + " >" + into.path();
    ASSERT_EQ(std::system(command.c_str()), 0) << text.substr(0, 2000);
}

// A file decoded by protoc, then encoded again by protoc from that text and
// parsed: what the trace holds as protoc reads it, not as the tool does.
inline ::perfetto::protos::Trace decode(const std::string &path)
{
    kotest::TempFile text, again;
    const std::string command =
        kProtoc + "--decode=perfetto.protos.Trace perfetto_trace.proto <" + path + " >" + text.path() + " && " +
        kProtoc + "--encode=perfetto.protos.Trace perfetto_trace.proto <" + text.path() + " >" + again.path();
    EXPECT_EQ(std::system(command.c_str()), 0);
    ::perfetto::protos::Trace trace;
    EXPECT_TRUE(trace.ParseFromString(again.text()));
    return trace;
}

} // namespace kotest::perfetto
