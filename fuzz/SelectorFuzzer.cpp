// Fuzzes the plug-in through the host interface: random queues, frame
// records, request and static metadata, driven through every selector
// operation of the default selector (with and without pending support) and
// of a selector that keeps the interface's own sensor-mode check. Checks the
// answers' invariants, not only that nothing crashes.

#include <HostFrameQueue.h>
#include <MinimalSelector.h>
#include <PluginLoader.h>

#include <KoMetadata.h>
#include <KoTagTable.h>
#include <StaticMetadataWraper.h>
#include <kodebug/Log.h>
#include <kodebug/SystemLogSink.h>

#include <android-base/properties.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>

namespace {


kohost::PluginLoader gPlain, gPending;
std::shared_ptr<kohal::ZSLSelectorBase> gSelectors[2];

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
                info.shutterTime = fdp.ConsumeBool() ? fdp.ConsumeIntegralInRange<int64_t>(0, 400)
                                                     : fdp.ConsumeIntegral<int64_t>();
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

void checkSelection(const kohal::ZSLSelection &result, const kohal::ZSLFrameSelectInfo &info)
{
    if (result.empty())
        return;
    std::set<uint32_t> ids;
    for (const auto &queue : info.zslQueues)
        if (queue)
            ids.insert(queue->getQueueId());
    require(result.size() == ids.size(), "one entry per queue id");
    const uint32_t lastUsed = info.usedFrameNums.empty() ? 0 : info.usedFrameNums.back();
    for (const auto &entry : result) {
        require(ids.count(entry.first) == 1, "entries only for queue ids");
        require(entry.second == result.begin()->second, "the same list for every queue");
        for (uint32_t frame : entry.second)
            require(frame > lastUsed, "only frames above the last used one");
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    kodebug::gKoCamLogLevel = 7; // no Android log: keep the run quiet
    kodebug::gKoCamLogGroup = 0x40;
    kodebug::gKoCamDebugMask = 1; // but format every system-log line
    kodebug::setSystemLogReceiver([](const kodebug::SystemLogRecord &) {});

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
    gSelectors[0] = gPlain.createSelector();
    gSelectors[1] = gPending.createSelector();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider fdp(data, size);
    const uint32_t base = fdp.ConsumeBool() ? 10 : 4294967285u;
    kohal::ZSLSelectorBase &selector = *gSelectors[fdp.ConsumeIntegralInRange(0, 1)];

    kohal::ZSLFrameSelectInfo select;
    select.fwkFrameNum = fdp.ConsumeIntegral<uint32_t>();
    select.usedFrameNums = values<uint32_t>(fdp, fdp.ConsumeIntegralInRange<size_t>(0, 2), base, base + 10);
    select.zslQueues = fuzzQueues(fdp, base);
    int requests = fdp.ConsumeIntegralInRange(0, 4);
    for (int r = 0; r < requests; ++r)
        select.requestMetas.push_back(fuzzMeta(fdp));

    selector.isSelectorNeeded(select);
    kohal::ZSLSelection selection = selector.selectZSLFrames(select);
    checkSelection(selection, select);

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

        auto verdict = selector.checkFrame(check);
        require(verdict.second || !verdict.first, "a refusal only clears the second flag");
        auto platform = selector.checkDesiredSensorMode(check);
        require(platform.first == platform.second, "the platform check answers equal flags");
        auto own = base_selector.checkDesiredSensorMode(check);
        require(own.second, "the interface's check always sets the second flag");
    }
    return 0;
}
