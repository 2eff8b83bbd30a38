// The timeline as Perfetto's TracePackets.

#include "output/PerfettoProto.h"

#include "output/TimelineLayout.h"
#include "perfetto/Clocks.h"
#include "perfetto/TraceFile.h"

#include <algorithm>
#include <limits>
#include <map>
#include <sstream>

namespace zsl::output {

using namespace zsl::outcome;
using ::perfetto::protos::TracePacket;
using ::perfetto::protos::TrackDescriptor;
using ::perfetto::protos::TrackEvent;

namespace {

constexpr uint32_t kSequence = 1; // every packet's: one writer

class ProtoFormat : public TimelineFormat {
public:
    explicit ProtoFormat(std::ostream &out) : mOut(out) {}

    void session(const std::string &name, std::optional<int> pid) override
    {
        mTracks.clear();
        mCounters.clear();
        if (pid) {
            mRoot = processTrack(*pid);
            return;
        }
        TrackDescriptor descriptor;
        descriptor.set_uuid(mRoot = ++mLastUuid);
        descriptor.set_name(name);
        describe(descriptor);
    }

    void track(int track, const std::string &name, std::optional<std::pair<int, int>> thread) override
    {
        TrackDescriptor descriptor;
        descriptor.set_uuid(mTracks[track] = ++mLastUuid);
        descriptor.set_parent_uuid(thread ? threadTrack(thread->first, thread->second) : mRoot);
        descriptor.set_name(name);
        describe(descriptor);
    }

    void slice(int track, const std::string &name, int64_t beginNs, int64_t endNs, const nlohmann::json &args) override
    {
        TrackEvent begin = event(track, TrackEvent::TYPE_SLICE_BEGIN, name, args);
        emit(beginNs, begin);
        TrackEvent end;
        end.set_type(TrackEvent::TYPE_SLICE_END);
        end.set_track_uuid(mTracks.at(track));
        emit(endNs, end);
    }

    void instant(int track, const std::string &name, int64_t ns, const nlohmann::json &args) override
    {
        emit(ns, event(track, TrackEvent::TYPE_INSTANT, name, args));
    }

    void counter(const std::string &name, int64_t ns, int value) override
    {
        auto [entry, added] = mCounters.try_emplace(name, 0);
        if (added) {
            TrackDescriptor descriptor;
            descriptor.set_uuid(entry->second = ++mLastUuid);
            descriptor.set_parent_uuid(mRoot);
            descriptor.set_name(name);
            descriptor.mutable_counter();
            describe(descriptor);
        }
        TrackEvent sample;
        sample.set_type(TrackEvent::TYPE_COUNTER);
        sample.set_track_uuid(entry->second);
        sample.set_counter_value(value);
        emit(ns, sample);
    }

    void flow(int fromTrack, int64_t fromNs, int toTrack, int64_t toNs) override
    {
        const uint64_t id = ++mLastFlow;
        const bool forward = fromNs <= toNs;
        TrackEvent first =
            event(forward ? fromTrack : toTrack, TrackEvent::TYPE_INSTANT, "taken", nlohmann::json::object());
        first.add_flow_ids(id);
        emit(forward ? fromNs : toNs, first);
        TrackEvent last =
            event(forward ? toTrack : fromTrack, TrackEvent::TYPE_INSTANT, "taken", nlohmann::json::object());
        last.add_terminating_flow_ids(id);
        emit(forward ? toNs : fromNs, last);
    }

    // The clock snapshot first, at the earliest moment, then every packet.
    void finish()
    {
        TracePacket clocks;
        const int64_t at = mEarliest == std::numeric_limits<int64_t>::max() ? 0 : mEarliest;
        clocks.set_timestamp(static_cast<uint64_t>(at));
        clocks.set_timestamp_clock_id(perfetto::kBoottime);
        clocks.set_trusted_packet_sequence_id(kSequence);
        clocks.set_first_packet_on_sequence(true);
        clocks.set_sequence_flags(1); // incremental state cleared: nothing before it
        auto *snapshot = clocks.mutable_clock_snapshot();
        auto *boottime = snapshot->add_clocks();
        boottime->set_clock_id(perfetto::kBoottime);
        boottime->set_timestamp(static_cast<uint64_t>(at));
        snapshot->set_primary_trace_clock(perfetto::kBoottime);
        perfetto::writePacket(mOut, clocks);
        mOut << mPackets.str();
    }

private:
    TrackEvent event(int track, TrackEvent::Type type, const std::string &name, const nlohmann::json &args)
    {
        TrackEvent event;
        event.set_type(type);
        event.set_track_uuid(mTracks.at(track));
        event.set_name(name);
        for (const auto &[key, value] : args.items()) {
            auto *annotation = event.add_debug_annotations();
            annotation->set_name(key);
            annotation->set_string_value(value.is_string()
                                             ? value.get<std::string>()
                                             : value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
        }
        return event;
    }

    void emit(int64_t ns, const TrackEvent &event)
    {
        TracePacket packet;
        packet.set_timestamp(static_cast<uint64_t>(std::max<int64_t>(0, ns)));
        packet.set_timestamp_clock_id(perfetto::kBoottime);
        packet.set_trusted_packet_sequence_id(kSequence);
        *packet.mutable_track_event() = event;
        perfetto::writePacket(mPackets, packet);
        mEarliest = std::min(mEarliest, std::max<int64_t>(0, ns));
    }

    void describe(const TrackDescriptor &descriptor)
    {
        TracePacket packet;
        packet.set_trusted_packet_sequence_id(kSequence);
        *packet.mutable_track_descriptor() = descriptor;
        perfetto::writePacket(mPackets, packet);
    }

    // The camera process's track, and its threads', described once for the file.
    uint64_t processTrack(int pid)
    {
        auto [entry, added] = mProcesses.try_emplace(pid, 0);
        if (added) {
            TrackDescriptor descriptor;
            descriptor.set_uuid(entry->second = ++mLastUuid);
            descriptor.mutable_process()->set_pid(pid);
            describe(descriptor);
        }
        return entry->second;
    }

    uint64_t threadTrack(int pid, int tid)
    {
        auto [entry, added] = mThreads.try_emplace({pid, tid}, 0);
        if (added) {
            TrackDescriptor descriptor;
            descriptor.set_uuid(entry->second = ++mLastUuid);
            descriptor.set_parent_uuid(processTrack(pid));
            descriptor.mutable_thread()->set_pid(pid);
            descriptor.mutable_thread()->set_tid(tid);
            describe(descriptor);
        }
        return entry->second;
    }

    std::ostream &mOut;
    std::ostringstream mPackets;
    uint64_t mLastUuid = 0, mLastFlow = 0, mRoot = 0;
    int64_t mEarliest = std::numeric_limits<int64_t>::max();
    std::map<int, uint64_t> mTracks;                  // the session's, by the layout's number
    std::map<std::string, uint64_t> mCounters;        // the session's, by name
    std::map<int, uint64_t> mProcesses;               // by pid
    std::map<std::pair<int, int>, uint64_t> mThreads; // by pid and tid
};

} // namespace

void writePerfettoProto(const std::vector<SessionOutcome> &sessions, std::ostream &out)
{
    ProtoFormat format(out);
    layOutTimeline(sessions, format);
    format.finish();
}

} // namespace zsl::output
