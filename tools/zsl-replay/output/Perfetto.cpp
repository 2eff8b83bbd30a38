// The timeline in the Trace Event Format: one process per session, a
// thread per track.

#include "output/Perfetto.h"

#include "output/TimelineLayout.h"

namespace zsl::output {

using namespace zsl::outcome;

namespace {

using nlohmann::json;

double us(int64_t ns)
{
    return static_cast<double>(ns) / 1000.0;
}

class TraceEventJson : public TimelineFormat {
public:
    explicit TraceEventJson(json &events) : mEvents(events) {}

    void session(const std::string &name, std::optional<int>) override
    {
        ++mPid;
        this->name(0, "process_name", name);
    }
    void track(int track, const std::string &name, std::optional<std::pair<int, int>>) override
    {
        this->name(track, "thread_name", name);
    }
    void slice(int track, const std::string &name, int64_t beginNs, int64_t endNs, const json &args) override
    {
        mEvents.push_back(
            {{"ph", "B"}, {"pid", mPid}, {"tid", track}, {"ts", us(beginNs)}, {"name", name}, {"args", args}});
        mEvents.push_back({{"ph", "E"}, {"pid", mPid}, {"tid", track}, {"ts", us(endNs)}, {"name", name}});
    }
    void instant(int track, const std::string &name, int64_t ns, const json &args) override
    {
        mEvents.push_back(
            {{"ph", "i"}, {"s", "t"}, {"pid", mPid}, {"tid", track}, {"ts", us(ns)}, {"name", name}, {"args", args}});
    }
    void counter(const std::string &name, int64_t ns, int value) override
    {
        mEvents.push_back(
            {{"ph", "C"}, {"pid", mPid}, {"tid", 0}, {"ts", us(ns)}, {"name", name}, {"args", {{"value", value}}}});
    }
    void flow(int fromTrack, int64_t fromNs, int toTrack, int64_t toNs) override
    {
        const int id = ++mFlows;
        mEvents.push_back({{"ph", "s"},
                           {"pid", mPid},
                           {"tid", fromTrack},
                           {"ts", us(fromNs)},
                           {"name", "taken"},
                           {"cat", "zsl"},
                           {"id", id}});
        mEvents.push_back({{"ph", "f"},
                           {"bp", "e"},
                           {"pid", mPid},
                           {"tid", toTrack},
                           {"ts", us(toNs)},
                           {"name", "taken"},
                           {"cat", "zsl"},
                           {"id", id}});
    }

private:
    void name(int tid, const std::string &what, const std::string &name)
    {
        mEvents.push_back({{"ph", "M"}, {"pid", mPid}, {"tid", tid}, {"name", what}, {"args", {{"name", name}}}});
    }

    json &mEvents;
    int mPid = 0;
    int mFlows = 0;
};

} // namespace

json perfettoTrace(const std::vector<SessionOutcome> &sessions)
{
    json events = json::array();
    TraceEventJson format(events);
    layOutTimeline(sessions, format);
    return {{"traceEvents", events}, {"displayTimeUnit", "ns"}};
}

} // namespace zsl::output
