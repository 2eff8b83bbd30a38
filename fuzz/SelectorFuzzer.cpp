// Fuzzes the plug-in through the host interface: random queues, frame
// records, request and static metadata, driven through every selector
// operation of the default selector (with and without pending support, time
// windows from the three properties, the log gates closed or open to either
// output) and of a selector that keeps the interface's own sensor-mode check.
// The clock is pinned, so that an oracle written from the rules alone knows
// each selection, each frame check's verdict, the platform sensor-mode check
// (SelectorOracle) and isSelectorNeeded's answer: wrong answers are findings, not only
// crashes. Some runs make a queue call throw at a chosen position (every
// reference must come back), and some hand over a queue whose answers change
// from one call to the next, even within one operation (only what holds for
// any answers is required then).

#include "SelectorOracle.h"

#include <HostFrameQueue.h>
#include <BootClock.h>
#include <LogRecorder.h>
#include <MinimalSelector.h>
#include <PluginLoader.h>

#include <KoMetadata.h>
#include <KoTagTable.h>
#include <StaticMetadataWraper.h>
#include <kodebug/Log.h>
#include <kodebug/SystemLogSink.h>

#include <android-base/properties.h>
#include <android/log.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>

namespace {


using fuzz::expectedCheck;
using fuzz::expectedSelection;
using fuzz::expectedSensorMode;
using fuzz::kNowNs;

kohost::PluginLoader gPlain, gPending;
struct Configured {
    std::shared_ptr<kohal::ZSLSelectorBase> selector;
    bool pending;
    int64_t windowMs;
};
std::vector<Configured> gSelectors;

void require(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "invariant broken: %s\n", what);
        std::abort();
    }
}

template <typename T> std::vector<T> values(FuzzedDataProvider &fdp, size_t count, T low, T high)
{
    std::vector<T> out;
    for (size_t i = 0; i < count; ++i)
        out.push_back(fdp.ConsumeBool() ? fdp.ConsumeIntegralInRange<T>(low, high) : fdp.ConsumeIntegral<T>());
    return out;
}

std::shared_ptr<KoMetadata> fuzzMeta(FuzzedDataProvider &fdp)
{
    if (fdp.ConsumeIntegralInRange(0, 15) == 0)
        return nullptr;
    static std::vector<KoTagInfo> tags = [] {
        std::vector<KoTagInfo> all = KoTagTable::androidTags();
        all.insert(all.end(), KoTagTable::vendorTags().begin(), KoTagTable::vendorTags().end());
        return all;
    }();
    auto meta = std::make_shared<KoMetadata>();
    // Often every state the frame check reads, each in its own range, so
    // that runs reach every rule and not only the first missing tag.
    if (fdp.ConsumeBool()) {
        meta->update<int32_t>(0x10001u, {fdp.ConsumeIntegralInRange<int32_t>(-1, 1)});
        for (const auto &[tag, high] : {std::pair<uint32_t, uint8_t>{0x10007u, 6}, {0x10020u, 7}, {0x80009u, 2},
                                        {0x1001fu, 6}})
            meta->update<uint8_t>(tag, {fdp.ConsumeIntegralInRange<uint8_t>(0, high)});
    }
    int entries = fdp.ConsumeIntegralInRange(0, 10);
    for (int i = 0; i < entries; ++i) {
        const KoTagInfo &tag = tags[fdp.ConsumeIntegralInRange<size_t>(0, tags.size() - 1)];
        size_t count = fdp.ConsumeIntegralInRange<size_t>(0, fdp.ConsumeBool() ? 2 : 40);
        switch (tag.type) {
        case KoMetadata::TYPE_BYTE:
            meta->update(tag.id, values<uint8_t>(fdp, count, 0, 6));
            break;
        case KoMetadata::TYPE_INT32:
            meta->update(tag.id, values<int32_t>(fdp, count, -2, 0x40000));
            break;
        case KoMetadata::TYPE_INT64:
            meta->update(tag.id, values<int64_t>(fdp, count, -1000, 1000));
            break;
        default:
            break;
        }
    }
    return meta;
}

// Shutter times anywhere, and at the edges the rules compare them with:
// zsdTs of both windows, and the anchor (from -1000 to 1000) + 30 or 60 ms.
int64_t shutterTime(FuzzedDataProvider &fdp)
{
    const int64_t edges[] = {0, kNowNs, kNowNs - 100000000, 30000000, 60000000};
    const int near = fdp.ConsumeIntegralInRange(0, 5);
    if (near == 5)
        return fdp.ConsumeIntegral<int64_t>();
    return edges[near] + fdp.ConsumeIntegralInRange<int64_t>(near >= 3 ? -1002 : -2, near >= 3 ? 1002 : 400);
}

std::vector<uint32_t> frameList(FuzzedDataProvider &fdp, uint32_t base)
{
    return values<uint32_t>(fdp, fdp.ConsumeIntegralInRange<size_t>(0, 10), base, base + 10);
}

kohal::ZSLQueueList fuzzQueues(FuzzedDataProvider &fdp, uint32_t base)
{
    kohal::ZSLQueueList queues;
    int count = fdp.ConsumeIntegralInRange(0, 4);
    for (int q = 0; q < count; ++q) {
        if (fdp.ConsumeIntegralInRange(0, 20) == 0) {
            queues.push_back(nullptr);
            continue;
        }
        int type = fdp.ConsumeIntegralInRange(0, 3);
        auto queue = std::make_shared<kohost::HostFrameQueue>(fdp.ConsumeIntegralInRange<uint32_t>(0, 3), type,
                                                              "q" + std::to_string(q));
        queue->setList(kohal::CONSUMER_LIST, frameList(fdp, base));
        queue->setList(kohal::PRODUCER_LIST, frameList(fdp, base));
        int records = fdp.ConsumeIntegralInRange(0, 12);
        for (int r = 0; r < records; ++r) {
            uint32_t frame = fdp.ConsumeIntegralInRange<uint32_t>(base, base + 10);
            if (type == kohal::ZSL_QUEUE_TYPE_META) {
                kohal::MetaInfo info;
                info.shutterTime = shutterTime(fdp);
                info.metadata = fuzzMeta(fdp);
                int cameras = fdp.ConsumeIntegralInRange(0, 3);
                for (int c = 0; c < cameras; ++c)
                    info.physicalMetadata.emplace_back(c, fuzzMeta(fdp));
                queue->putMetaFrame(frame, info);
            } else if (type == kohal::ZSL_QUEUE_TYPE_SENSOR_MODE) {
                queue->putSensorModeFrame(frame, fdp.ConsumeIntegralInRange<int32_t>(-1, 16));
            } else {
                queue->putFrame(frame);
            }
        }
        queues.push_back(queue);
    }
    return queues;
}


// A queue whose answers change from one call to the next: each call goes to
// one of two queues, chosen by the next bit of a pattern.
class ChangingQueue : public kohal::ZSLFrameQueue {
public:
    ChangingQueue(std::shared_ptr<kohal::ZSLFrameQueue> first, std::shared_ptr<kohal::ZSLFrameQueue> second,
                  uint64_t pattern)
        : mQueues{std::move(first), std::move(second)}, mPattern(pattern)
    {
    }
    int getQueueType() override { return next().getQueueType(); }
    std::string getQueueName() override { return next().getQueueName(); }
    uint32_t getQueueId() override { return next().getQueueId(); }
    const void *getMetaFrame(uint32_t frameNum) override { return next().getMetaFrame(frameNum); }
    std::vector<uint32_t> getFrameNumList(int listType) override { return next().getFrameNumList(listType); }

private:
    kohal::ZSLFrameQueue &next()
    {
        const bool second = (mPattern >> (mCalls++ % 64)) & 1;
        return *mQueues[second ? 1 : 0];
    }
    std::shared_ptr<kohal::ZSLFrameQueue> mQueues[2];
    uint64_t mPattern;
    uint64_t mCalls = 0;
};

// The host's queues to fail: each call of any of them counts down one counter.
void failAt(const kohal::ZSLQueueList &queues, std::shared_ptr<int> countdown)
{
    for (const auto &queue : queues)
        if (auto *host = dynamic_cast<kohost::HostFrameQueue *>(queue.get()))
            host->failAtCall(countdown);
}

std::vector<long> referenceCounts(const kohal::ZSLQueueList &queues)
{
    std::vector<long> counts;
    for (const auto &queue : queues)
        counts.push_back(queue.use_count());
    return counts;
}

// Runs call with a queue fault at position (0: none): a fault must leave
// every reference as it was.
template <typename Call> bool survivesFault(const kohal::ZSLQueueList &queues, int position, Call call)
{
    if (position == 0)
        return true;
    const std::vector<long> before = referenceCounts(queues);
    failAt(queues, std::make_shared<int>(position));
    bool thrown = false;
    try {
        call();
    } catch (const kohost::HostQueueFault &) {
        thrown = true;
    }
    failAt(queues, nullptr);
    require(referenceCounts(queues) == before, "a queue fault leaves every reference as it was");
    return !thrown;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    kodebug::setSystemLogReceiver([](const kodebug::SystemLogRecord &) {});
    __android_log_set_logger([](const __android_logger_data *, const char *) {}); // formatted, not printed
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);

    android::base::SetProperty("ro.vendor.camera3.zsl.default", "0");
    if (!gPlain.load(kohost::defaultPluginPath())) {
        std::fprintf(stderr, "%s\n", gPlain.error().c_str());
        std::abort();
    }
    // A copy of the file is a second instance, loaded with pending support.
    // Each process has its own copy (several run at once with -jobs; writing
    // over a copy another process has mapped would break its code), removed
    // once loaded. Both stay mapped until the process is gone: libFuzzer
    // reads their coverage counters up to the end.
    const std::string copy = std::filesystem::temp_directory_path() /
                             ("com.korvan.zsl.default.pending." + std::to_string(getpid()) + ".so");
    std::filesystem::copy_file(kohost::defaultPluginPath(), copy,
                               std::filesystem::copy_options::overwrite_existing);
    android::base::SetProperty("persist.vendor.kohal.selector.pending.mask", "1");
    if (!gPending.load(copy)) {
        std::fprintf(stderr, "%s\n", gPending.error().c_str());
        std::abort();
    }
    for (const std::string &path : {kohost::defaultPluginPath(), copy})
        dlopen(path.c_str(), RTLD_NOW | RTLD_NODELETE);
    std::filesystem::remove(copy);
    kohost::pinBootTime(kNowNs);
    // Windows from the three properties: 0, 100 ms, a sum with a negative
    // part, and one that puts zsdTs beyond the int64 range.
    const int64_t windows[][3] = {{0, 0, 0}, {100, 0, 0}, {30, 40, -20}, {INT64_MAX, 0, 0}};
    for (const auto &window : windows) {
        android::base::SetProperty("ro.vendor.camera3.zsl.default", std::to_string(window[0]));
        android::base::SetProperty("ro.vendor.camera3.zsl.project", std::to_string(window[1]));
        android::base::SetProperty("vendor.debug.camera3.zsl.timestamp", std::to_string(window[2]));
        const int64_t windowMs = window[0] + window[1] + window[2];
        gSelectors.push_back({gPlain.createSelector(), false, windowMs});
        gSelectors.push_back({gPending.createSelector(), true, windowMs});
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider fdp(data, size);
    const uint32_t base = fdp.ConsumeBool() ? 10 : 4294967285u;
    const Configured &configured = gSelectors[fdp.ConsumeIntegralInRange<size_t>(0, gSelectors.size() - 1)];
    kohal::ZSLSelectorBase &selector = *configured.selector;
    // Closed, system log only, Android log only, or both, at either level.
    const int gates = fdp.ConsumeIntegralInRange(0, 3);
    kohost::setLogGates(fdp.ConsumeBool() ? 3 : 7, gates ? 0x40 : 0, gates & 1);
    if (gates & 2)
        kohost::setLogGates(3, 0x40, gates & 1);

    kohal::ZSLFrameSelectInfo select;
    select.fwkFrameNum = fdp.ConsumeIntegral<uint32_t>();
    select.usedFrameNums = values<uint32_t>(fdp, fdp.ConsumeIntegralInRange<size_t>(0, 2), base, base + 10);
    select.zslQueues = fuzzQueues(fdp, base);
    int requests = fdp.ConsumeIntegralInRange(0, 4);
    for (int r = 0; r < requests; ++r)
        select.requestMetas.push_back(fuzzMeta(fdp));
    // Now and then one queue answers from two queues of its type by turns:
    // its lists and records change, its record layout does not.
    bool changing = false;
    if (!select.zslQueues.empty() && select.zslQueues.front() && fdp.ConsumeIntegralInRange(0, 5) == 0) {
        kohal::ZSLQueueList other = fuzzQueues(fdp, base);
        if (!other.empty() && other.front() &&
            other.front()->getQueueType() == select.zslQueues.front()->getQueueType()) {
            select.zslQueues.front() =
                std::make_shared<ChangingQueue>(select.zslQueues.front(), other.front(), fdp.ConsumeIntegral<uint64_t>());
            changing = true;
        }
    }
    // Now and then a queue call throws, at a position of the operation's calls.
    auto faultAt = [&fdp] { return fdp.ConsumeIntegralInRange(0, 3) == 0 ? fdp.ConsumeIntegralInRange(1, 40) : 0; };

    const bool needed = selector.isSelectorNeeded(select);
    const KoMetadataEntry enableZsl = select.requestMetas.empty() || !select.requestMetas[0]
                                          ? KoMetadataEntry{} : select.requestMetas[0]->find(0x10029u);
    require(needed == (enableZsl.count && enableZsl.data.u8[0]), "ZSL is needed when the first request enables it");
    survivesFault(select.zslQueues, faultAt(), [&] { selector.selectZSLFrames(select); });
    kohal::ZSLSelection selection = selector.selectZSLFrames(select);
    if (changing) {
        for (const auto &entry : selection)
            require(entry.second == selection.begin()->second, "one selection for every queue");
    } else {
        require(selection == expectedSelection(select, configured.pending, configured.windowMs),
                "the selection the rules give");
    }
    std::vector<uint32_t> listed = selection.empty() ? std::vector<uint32_t>{} : selection.begin()->second;
    require(selector.preCheckFrame(listed, fdp.ConsumeIntegral<int>()) == 0 &&
                listed == (selection.empty() ? std::vector<uint32_t>{} : selection.begin()->second),
            "preCheckFrame answers 0 and leaves the list");

    const uint32_t logicalId = fdp.ConsumeIntegralInRange<uint32_t>(0, 2);
    if (fdp.ConsumeBool())
        StaticMetadataWraper::getInstance()->setStaticMetadata(logicalId, fuzzMeta(fdp));
    kotest::MinimalSelector base_selector;

    std::vector<uint32_t> candidates = selection.empty() ? frameList(fdp, base) : selection.begin()->second;
    for (uint32_t frame : candidates) {
        kohal::ZSLFrameCheckInfo check;
        check.checkFrameNum = frame;
        check.fwkFrameNum = select.fwkFrameNum;
        check.logicalId = logicalId;
        check.requestMeta = select.requestMetas.empty() ? fuzzMeta(fdp) : select.requestMetas.front();
        check.zslQueues = select.zslQueues;

        survivesFault(check.zslQueues, faultAt(), [&] { selector.checkFrame(check); });
        auto verdict = selector.checkFrame(check);
        auto platform = selector.checkDesiredSensorMode(check);
        if (changing) {
            require(verdict.second || !verdict.first, "a refusal only clears the second flag");
            require(platform.first == platform.second, "the platform check answers equal flags");
        } else {
            require(verdict == expectedCheck(check), "the frame check's verdict the rules give");
            require(platform == expectedSensorMode(check), "the platform sensor-mode check the rules give");
        }
        survivesFault(check.zslQueues, faultAt(), [&] { base_selector.checkDesiredSensorMode(check); });
        auto own = base_selector.checkDesiredSensorMode(check);
        require(own.second, "the interface's check always sets the second flag");
    }
    return 0;
}
