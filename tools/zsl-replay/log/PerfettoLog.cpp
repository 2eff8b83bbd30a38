// A trace's android.log entries as the plug-in's log lines.

#include "log/PerfettoLog.h"

#include "log/LogcatFormats.h"
#include "outcome/Error.h"
#include "perfetto/Clocks.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <vector>

namespace zsl::log {

namespace {

// Android's log priorities, 2 (verbose) to 7 (fatal), as logcat's letters.
std::string levelLetter(int prio)
{
    static constexpr std::string_view kLetters = "VDIWEF";
    return prio >= 2 && prio <= 7 ? std::string(1, kLetters[static_cast<size_t>(prio - 2)]) : std::string("?");
}

// One log entry; logcat prints them by time, then as recorded (a stable sort).
struct Entry {
    int64_t realtimeNs = 0;
    uint32_t lines = 1; // logcat prints each line of a message as a line of its own
    int ours = -1;      // index into the plug-in's entries, -1: another tag's
};

struct PluginEntry {
    int pid = 0, tid = 0, prio = 0;
    std::string message;
};

} // namespace

std::string utcTimeText(int64_t realtimeNs)
{
    const int64_t seconds = realtimeNs >= 0 ? realtimeNs / 1000000000 : (realtimeNs + 1) / 1000000000 - 1;
    const int64_t millis = (realtimeNs - seconds * 1000000000) / 1000000;
    const std::time_t time = static_cast<std::time_t>(seconds);
    std::tm utc{};
    gmtime_r(&time, &utc);
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d +0000", utc.tm_year + 1900, utc.tm_mon + 1,
                  utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<int>(millis));
    return text;
}

bool readPerfettoLog(const perfetto::TraceBytes &read, const std::string &what,
                     const std::function<void(kohost::LogLine &&, uint64_t)> &line)
{
    perfetto::Clocks clocks;
    std::vector<Entry> entries;
    std::vector<PluginEntry> ours;
    bool logged = false;
    perfetto::forEachPacket(read, what, [&](const ::perfetto::protos::TracePacket &packet) {
        if (packet.has_clock_snapshot())
            clocks.add(packet.clock_snapshot());
        if (!packet.has_android_log())
            return;
        logged = true;
        // An entry without its own time has the packet's, on the packet's clock.
        const uint32_t packetClock =
            packet.has_timestamp_clock_id() ? packet.timestamp_clock_id() : perfetto::kBoottime;
        const auto packetNs = static_cast<int64_t>(packet.timestamp());
        for (const auto &event : packet.android_log().events()) {
            Entry entry;
            entry.realtimeNs = event.has_timestamp()
                                   ? static_cast<int64_t>(event.timestamp())
                                   : clocks.convert(packetClock, packetNs, perfetto::kRealtime).value_or(packetNs);
            std::string_view message = event.message();
            if (!message.empty() && message.back() == '\n')
                message.remove_suffix(1);
            entry.lines = 1 + static_cast<uint32_t>(std::count(message.begin(), message.end(), '\n'));
            if (event.tag() == kTag) {
                entry.ours = static_cast<int>(ours.size());
                ours.push_back({event.pid(), event.tid(), event.prio(), std::string(message)});
            }
            entries.push_back(entry);
        }
    });
    if (!logged)
        return false;
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry &a, const Entry &b) { return a.realtimeNs < b.realtimeNs; });
    uint64_t number = 0;
    for (const Entry &entry : entries) {
        if (entry.ours < 0) {
            number += entry.lines;
            continue;
        }
        const PluginEntry &event = ours[static_cast<size_t>(entry.ours)];
        // Without a snapshot that holds both clocks, the wall clock orders and spaces the lines as well.
        const int64_t timeNs =
            clocks.convert(perfetto::kRealtime, entry.realtimeNs, perfetto::kBoottime).value_or(entry.realtimeNs);
        const std::string timeText = utcTimeText(entry.realtimeNs);
        std::string_view rest = event.message;
        for (uint32_t i = 0; i < entry.lines; ++i) {
            const size_t end = rest.find('\n');
            kohost::LogLine parsed = kohost::parseAndroidLine(levelLetter(event.prio), rest.substr(0, end));
            rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
            parsed.timeText = timeText;
            line(withIds(std::move(parsed), timeNs, event.pid, event.tid), ++number);
        }
    }
    return true;
}

} // namespace zsl::log
