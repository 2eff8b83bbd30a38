// How long the host waits on the selector, against the floor: each operation
// with the log gates closed (a phone in normal use), loaded as the host loads
// it, on a host that costs nothing (BenchHost.h), and beside it the same host
// calls, copies and look-ups done directly. The report ends with each
// operation's ratio to its floor. selectZSLFrames is also run with every gate
// open, and with the anchor at the end of 16 to 4096 frames (the cost per
// scanned frame).
//
// selector_benchmark --once OPERATION FRAMES QUEUES CAMERAS {op|floor} [last]
// makes one call inside zsl_bench_once(), for scripts/bench-instructions to
// count its instructions under callgrind ("last": the anchor is the last frame).

#include "BenchHost.h"

#include <BootClock.h>
#include <LogRecorder.h>
#include <PluginSession.h>
#include <ZSLSelectorLog.h>

#include <kodebug/SystemLogSink.h>

#include <android/log.h>
#include <benchmark/benchmark.h>
#include <utils/Timers.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <tuple>

namespace {

using zslbench::Scene;
using MetaPtr = std::shared_ptr<KoMetadata>;

// ---------------------------------------------------------------------------
// The floors: what each operation must do of host calls, copies and look-ups,
// in the same counts, written directly. Every metadata parameter is taken by
// value, as the selector's rules take it, and every log line the operation
// writes reads the gates (closed here), as every line must.

void line(uint32_t priority)
{
    if (ZSL_LOG_GATE(gKoCamLogLevel) <= priority && (ZSL_LOG_GATE(gKoCamLogGroup) & kohal::kZSLLogGroup) != 0)
        benchmark::ClobberMemory();
    if ((ZSL_LOG_GATE(gKoCamLogGroup) & kohal::kZSLLogGroup) != 0 && ZSL_LOG_GATE(gKoCamDebugMask) != 0)
        benchmark::ClobberMemory();
}

bool motionBypass(MetaPtr meta)
{
    const KoMetadataEntry entry = meta->find("korvan.ai.kosd.motionCaptureType");
    return entry.count != 0 && (entry.data.i32[0] & 0xFF) == 1;
}

int32_t evOf(MetaPtr meta)
{
    const KoMetadataEntry entry = meta->find(0x10001);
    line(ANDROID_LOG_DEBUG);
    return entry.count ? entry.data.i32[0] : 0;
}

bool sameEv(MetaPtr history, MetaPtr target)
{
    const bool same = evOf(history) == evOf(target);
    line(ANDROID_LOG_DEBUG);
    return same;
}

bool focusSettled(MetaPtr meta)
{
    if (motionBypass(meta))
        return true;
    const KoMetadataEntry mode = meta->find(0x10007), state = meta->find(0x10020), lens = meta->find(0x80009);
    if (!mode.count || !state.count || !lens.count)
        return false;
    const uint8_t afMode = mode.data.u8[0], afState = state.data.u8[0], lensState = lens.data.u8[0];
    line(ANDROID_LOG_DEBUG);
    if (afMode < 1 || afMode > 4)
        return true;
    return (lensState != 1 && (afState == 2 || afState >= 4)) || (lensState == 0 && afState == 0);
}

bool byteIn(MetaPtr meta, uint32_t tag)
{
    const KoMetadataEntry entry = meta->find(tag);
    line(ANDROID_LOG_DEBUG);
    return entry.count && entry.data.u8[0] >= 2 && entry.data.u8[0] <= 4;
}

bool exposureSettled(MetaPtr meta)
{
    return motionBypass(meta) || byteIn(meta, 0x1001f);
}

bool qualifies(MetaPtr history, MetaPtr target)
{
    if (!history || !target)
        return false;
    const KoMetadataEntry quick = target->find("korvan.quicksnapshot.isQuickSnapshot");
    if (!sameEv(history, target))
        return false;
    if (quick.count && quick.data.u8[0])
        return true;
    const bool settled = focusSettled(history) && exposureSettled(history);
    line(ANDROID_LOG_DEBUG);
    return settled;
}

std::shared_ptr<kohal::ZSLFrameQueue> metaQueueOf(const kohal::ZSLQueueList &queues)
{
    return kohal::firstQueueOfType(queues, kohal::ZSL_QUEUE_TYPE_META);
}

bool floorNeeded(const kohal::ZSLFrameSelectInfo &info)
{
    uint8_t enabled = 0;
    if (!info.requestMetas.empty())
        if (const MetaPtr request = info.requestMetas.front()) {
            const KoMetadataEntry entry = request->find(0x10029);
            enabled = entry.count ? entry.data.u8[0] : 0;
        }
    line(ANDROID_LOG_DEBUG);
    return enabled != 0;
}

kohal::ZSLSelection floorSelect(const kohal::ZSLFrameSelectInfo &info, int64_t windowNs)
{
    kohal::ZSLSelection result;
    const std::shared_ptr<kohal::ZSLFrameQueue> meta = metaQueueOf(info.zslQueues);
    const std::vector<uint32_t> consumer = meta->getFrameNumList(kohal::CONSUMER_LIST);
    line(ANDROID_LOG_INFO);
    {
        const MetaPtr request = info.requestMetas.front();
        benchmark::DoNotOptimize(request->find("korvan.mfnr.anchorTimeStamp"));
        benchmark::DoNotOptimize(request->find("korvan.ai.kosd.motionCaptureType"));
    }
    line(ANDROID_LOG_INFO);
    const int64_t zsdTs = systemTime(SYSTEM_TIME_BOOTTIME) - windowNs;
    line(ANDROID_LOG_INFO);
    const int64_t n = static_cast<int64_t>(consumer.size());
    int64_t offset = 0;
    bool anchored = false;
    for (int64_t i = 0; i < n && !anchored; ++i) {
        const void *record = meta->getMetaFrame(consumer[static_cast<size_t>(i)]);
        const kohal::MetaInfo copy(static_cast<const kohal::MetaFrame *>(record)->metaInfo);
        line(ANDROID_LOG_INFO);
        offset = i - n;
        anchored = copy.shutterTime > zsdTs;
    }
    if (!anchored) // the producer list is scanned; the scenes' is empty
        benchmark::DoNotOptimize(meta->getFrameNumList(kohal::PRODUCER_LIST));
    const int64_t requests = static_cast<int64_t>(info.requestMetas.size());
    const size_t begin = static_cast<size_t>(std::max<int64_t>(0, offset + 1 + n - requests));
    line(ANDROID_LOG_INFO);
    if (begin < consumer.size())
        for (const auto &queue : info.zslQueues)
            benchmark::DoNotOptimize(queue->getMetaFrame(consumer[begin]));
    std::vector<uint32_t> selected;
    selected.reserve(consumer.size() - std::min(begin, consumer.size()));
    for (size_t i = begin; i < consumer.size(); ++i)
        if (consumer[i] > info.usedFrameNums.back())
            selected.push_back(consumer[i]);
    benchmark::DoNotOptimize(meta->getFrameNumList(kohal::PRODUCER_LIST));
    // Each queue's entry through a std::function, with the two references
    // per queue the API's queue walk takes.
    const std::function<void(std::shared_ptr<kohal::ZSLFrameQueue>)> fill =
        [&](std::shared_ptr<kohal::ZSLFrameQueue> queue) { result[queue->getQueueId()] = selected; };
    for (const auto &queue : info.zslQueues) {
        const std::shared_ptr<kohal::ZSLFrameQueue> copy = queue;
        fill(copy);
    }
    return result;
}

std::pair<bool, bool> floorCheck(const kohal::ZSLFrameCheckInfo &info)
{
    const std::shared_ptr<kohal::ZSLFrameQueue> meta = metaQueueOf(info.zslQueues);
    const void *record = meta->getMetaFrame(info.checkFrameNum);
    const kohal::MetaInfo copy(static_cast<const kohal::MetaFrame *>(record)->metaInfo);
    bool qualified = true;
    if (!copy.physicalMetadata.empty()) {
        for (const auto &camera : copy.physicalMetadata)
            qualified = qualifies(camera.second, info.requestMeta) && qualified;
    } else {
        qualified = qualifies(copy.metadata, info.requestMeta);
    }
    if (!qualified)
        return {false, true};
    benchmark::DoNotOptimize(info.requestMeta->find("korvan.superResolution.enabled"));
    line(ANDROID_LOG_DEBUG);
    benchmark::DoNotOptimize(info.requestMeta->find("korvan.mfnr.enabled"));
    return {true, true};
}

// ---------------------------------------------------------------------------
// The selector as the host has it: loaded with a 100 ms window, the clock
// pinned at the scene's capture moment, the gates as asked.

constexpr int64_t kWindowNs = 100'000'000;
// A clock at which only the last frame is shot after zsdTs.
constexpr int64_t kLastFrameAnchorsNs = zslbench::kCaptureNs - zslbench::kFrameIntervalNs + kWindowNs - 1;

struct Loaded {
    kohost::PinnedBootTime clock{zslbench::kCaptureNs};
    kohost::PluginSession plugin{{"ro.vendor.camera3.zsl.default", "100"}};

    explicit Loaded(bool gatesOpen)
    {
        kohost::setLogGates(gatesOpen ? 0 : 7, gatesOpen ? 0x40 : 0, gatesOpen ? 1 : 0);
        // Both outputs formatted and dropped: the lines' cost, not a terminal's.
        kodebug::setSystemLogReceiver([](const kodebug::SystemLogRecord &) {});
        __android_log_set_logger([](const __android_logger_data *, const char *) {});
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    }
};

struct Case {
    int frames, queues, cameras;
};

using Call = std::function<void(kohal::ZSLSelectorBase &, Scene &)>;

const std::map<std::string, std::pair<Call, Call>> &operations()
{
    static const std::map<std::string, std::pair<Call, Call>> table = {
        {"isSelectorNeeded",
         {[](kohal::ZSLSelectorBase &s, Scene &scene) { benchmark::DoNotOptimize(s.isSelectorNeeded(scene.select)); },
          [](kohal::ZSLSelectorBase &, Scene &scene) { benchmark::DoNotOptimize(floorNeeded(scene.select)); }}},
        {"selectZSLFrames",
         {[](kohal::ZSLSelectorBase &s, Scene &scene) { benchmark::DoNotOptimize(s.selectZSLFrames(scene.select)); },
          [](kohal::ZSLSelectorBase &, Scene &scene) {
              benchmark::DoNotOptimize(floorSelect(scene.select, kWindowNs));
          }}},
        {"checkFrame",
         {[](kohal::ZSLSelectorBase &s, Scene &scene) { benchmark::DoNotOptimize(s.checkFrame(scene.check)); },
          [](kohal::ZSLSelectorBase &, Scene &scene) { benchmark::DoNotOptimize(floorCheck(scene.check)); }}},
    };
    return table;
}

// One scene per case, shared by an operation and its floor, so that both
// read the same memory.
Scene &sceneOf(const Case &c)
{
    static std::map<std::tuple<int, int, int>, std::unique_ptr<Scene>> scenes;
    auto &scene = scenes[{c.frames, c.queues, c.cameras}];
    if (!scene)
        scene = std::make_unique<Scene>(c.frames, c.queues, c.cameras);
    return *scene;
}

// Medians of five runs: on a shared machine a single run of a short call
// moves by tens of percent.
void add(const std::string &name, std::function<void(benchmark::State &)> body)
{
    benchmark::RegisterBenchmark(name.c_str(), [body](benchmark::State &state) { body(state); })
        ->Repetitions(5)
        ->ReportAggregatesOnly(true);
}

std::string caseName(const std::string &operation, const Case &c, bool floor)
{
    return operation + (floor ? ".floor" : "") + "/frames:" + std::to_string(c.frames) +
           "/queues:" + std::to_string(c.queues) + "/cameras:" + std::to_string(c.cameras);
}

void registerAll()
{
    std::vector<Case> cases;
    for (int frames : {8, 64, 1024})
        for (int queues : {1, 2, 4})
            for (int cameras : {1, 4})
                cases.push_back({frames, queues, cameras});
    for (const auto &[operation, calls] : operations())
        for (const Case &c : cases) {
            if (operation != "selectZSLFrames" && (c.frames != 64 || c.queues == 4))
                continue; // the other operations do not depend on the list
            for (bool floor : {false, true}) {
                const Call call = floor ? calls.second : calls.first;
                add(caseName(operation, c, floor), [c, call](benchmark::State &state) {
                    Loaded loaded(false);
                    Scene &scene = sceneOf(c);
                    for (auto _ : state)
                        call(loaded.plugin.selector(), scene);
                });
            }
        }
    // With both outputs open: what a line costs, over the quiet call.
    add("selectZSLFrames.gatesOpen/frames:64/queues:2/cameras:1", [](benchmark::State &state) {
        Loaded loaded(true);
        Scene scene(64, 2, 1);
        for (auto _ : state)
            benchmark::DoNotOptimize(loaded.plugin.selector().selectZSLFrames(scene.select));
    });
    // The anchor is the last frame: every frame is scanned.
    for (int frames : {16, 64, 256, 1024, 4096})
        for (bool floor : {false, true})
            add("selectZSLFrames.perScannedFrame" + std::string(floor ? ".floor" : "") + "/frames:" +
                    std::to_string(frames),
                [frames, floor](benchmark::State &state) {
                    Loaded loaded(false);
                    Scene &scene = sceneOf({frames, 2, 1});
                    kohost::PinnedBootTime last(kLastFrameAnchorsNs);
                    for (auto _ : state)
                        floor ? benchmark::DoNotOptimize(floorSelect(scene.select, kWindowNs))
                              : benchmark::DoNotOptimize(loaded.plugin.selector().selectZSLFrames(scene.select));
                    state.SetItemsProcessed(state.iterations() * frames);
                });
}

// The console report, then each operation's ratio to its floor.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs)
            if (run.aggregate_name == "median")
                mNs[run.run_name.str()] = run.GetAdjustedRealTime();
    }
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        std::printf("\n%-52s %10s %10s %7s\n", "operation (gates closed), median", "ns", "floor ns", "ratio");
        for (const auto &[name, ns] : mNs) {
            const auto slash = name.find('/');
            auto floor = mNs.find(name.substr(0, slash) + ".floor" + name.substr(slash));
            if (floor != mNs.end())
                std::printf("%-52s %10.1f %10.1f %7.2f\n", name.c_str(), ns, floor->second, ns / floor->second);
        }
    }

private:
    std::map<std::string, double> mNs;
};

} // namespace

// The one call callgrind counts (--toggle-collect=zsl_bench_once).
extern "C" __attribute__((noinline)) void zsl_bench_once(const Call &call, kohal::ZSLSelectorBase &selector,
                                                         Scene &scene)
{
    call(selector, scene);
}

int main(int argc, char **argv)
{
    if ((argc == 7 || argc == 8) && std::strcmp(argv[1], "--once") == 0) {
        auto operation = operations().find(argv[2]);
        if (operation == operations().end()) {
            std::fprintf(stderr, "selector_benchmark: unknown operation %s\n", argv[2]);
            return 2;
        }
        Loaded loaded(false);
        Scene scene(std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5]));
        const Call &call = std::strcmp(argv[6], "floor") == 0 ? operation->second.second : operation->second.first;
        if (argc == 8) // "last": the anchor is the last frame, every frame is scanned
            kohost::pinBootTime(kLastFrameAnchorsNs);
        call(loaded.plugin.selector(), scene); // first calls bind symbols and warm caches
        call(loaded.plugin.selector(), scene);
        zsl_bench_once(call, loaded.plugin.selector(), scene);
        return 0;
    }
    registerAll();
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
