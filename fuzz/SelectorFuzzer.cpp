// Fuzzes the plug-in through the host interface: random queues, frame
// records, request and static metadata, driven through every selector
// operation of the default selector (with and without pending support, with
// a time window of 0 or 100 ms, the log gates closed or open to either
// output) and of a selector that keeps the interface's own sensor-mode check.
// The clock is pinned, so that an oracle written from the selection rules
// alone knows each selection and isSelectorNeeded's answer: wrong answers
// are findings, not only crashes.

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


constexpr int64_t kNowNs = 1000000000000; // the pinned boot-time clock

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

std::optional<int64_t> firstValue(const std::shared_ptr<KoMetadata> &meta, const char *name)
{
    KoMetadataEntry entry = meta ? meta->find(name) : KoMetadataEntry{};
    if (entry.count == 0)
        return std::nullopt;
    return entry.type == KoMetadata::TYPE_INT64 ? entry.data.i64[0] : entry.data.i32[0];
}

std::optional<int64_t> shutterOf(kohal::ZSLFrameQueue &queue, uint32_t frame)
{
    const void *record = queue.getMetaFrame(frame);
    return record ? std::optional<int64_t>(static_cast<const kohal::MetaFrame *>(record)->metaInfo.shutterTime)
                  : std::nullopt;
}

// The selection the rules give, computed from the host's side alone.
kohal::ZSLSelection expectedSelection(const kohal::ZSLFrameSelectInfo &info, bool pending, int64_t windowMs)
{
    std::shared_ptr<kohal::ZSLFrameQueue> meta;
    for (const auto &queue : info.zslQueues)
        if (queue && !meta && queue->getQueueType() == kohal::ZSL_QUEUE_TYPE_META)
            meta = queue;
    if (!meta)
        return {};
    const std::vector<uint32_t> consumer = meta->getFrameNumList(kohal::CONSUMER_LIST);
    const std::vector<uint32_t> producer = meta->getFrameNumList(kohal::PRODUCER_LIST);
    const auto request = info.requestMetas.empty() ? nullptr : info.requestMetas.front();
    const int64_t anchorTS = firstValue(request, "korvan.mfnr.anchorTimeStamp").value_or(0);
    const uint32_t motion = static_cast<uint32_t>(firstValue(request, "korvan.ai.kosd.motionCaptureType").value_or(0));
    const double sum = (motion & 0xFF) == 1 ? double(anchorTS) + ((motion & 0xF0000) ? 30000000.0 : 60000000.0)
                                            : double(kNowNs) + double(windowMs) * -1000000.0;
    const int64_t zsdTs = sum >= 9223372036854775808.0 ? INT64_MAX : sum < -9223372036854775808.0 ? INT64_MIN : int64_t(sum);

    const int64_t n = int64_t(consumer.size());
    int64_t anchorOffset = 0, anchorIndex = n;
    for (int64_t i = 0; i < n && anchorIndex == n; ++i)
        if (auto t = shutterOf(*meta, consumer[size_t(i)])) {
            anchorOffset = i - n;
            if (*t > zsdTs)
                anchorIndex = i;
        }
    if (anchorIndex == n) {
        if (pending)
            return {};
        for (size_t j = 0; j < producer.size(); ++j)
            if (auto t = shutterOf(*meta, producer[j])) {
                anchorOffset = int64_t(j);
                if (*t > zsdTs)
                    break;
            }
    }
    const int64_t requests = int64_t(info.requestMetas.size());
    int64_t begin = anchorOffset + 1 + n < requests ? 0 : anchorOffset + 1 + n - requests;
    auto everyQueueHolds = [&](uint32_t frame) {
        for (const auto &queue : info.zslQueues)
            if (queue && !queue->getMetaFrame(frame))
                return false;
        return true;
    };
    while (begin < n && !everyQueueHolds(consumer[size_t(begin)]))
        ++begin;
    const uint32_t lastUsed = info.usedFrameNums.empty() ? 0 : info.usedFrameNums.back();
    std::vector<uint32_t> selected;
    for (int64_t i = begin; i < n; ++i)
        if (consumer[size_t(i)] > lastUsed)
            selected.push_back(consumer[size_t(i)]);
    if (!pending && anchorOffset >= -1) {
        const int64_t start = anchorOffset == -1 || anchorOffset + 1 <= requests ? 0 : anchorOffset + 1 - requests;
        for (size_t j = size_t(start); j < producer.size(); ++j)
            if (producer[j] > lastUsed)
                selected.push_back(producer[j]);
    }
    kohal::ZSLSelection result;
    for (const auto &queue : info.zslQueues)
        if (queue)
            result[queue->getQueueId()] = selected;
    return result;
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
    for (int64_t windowMs : {0, 100}) {
        android::base::SetProperty("ro.vendor.camera3.zsl.default", std::to_string(windowMs));
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

    const bool needed = selector.isSelectorNeeded(select);
    const KoMetadataEntry enableZsl = select.requestMetas.empty() || !select.requestMetas[0]
                                          ? KoMetadataEntry{} : select.requestMetas[0]->find(0x10029u);
    require(needed == (enableZsl.count && enableZsl.data.u8[0]), "ZSL is needed when the first request enables it");
    kohal::ZSLSelection selection = selector.selectZSLFrames(select);
    require(selection == expectedSelection(select, configured.pending, configured.windowMs),
            "the selection the rules give");
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

        auto verdict = selector.checkFrame(check);
        require(verdict.second || !verdict.first, "a refusal only clears the second flag");
        auto platform = selector.checkDesiredSensorMode(check);
        require(platform.first == platform.second, "the platform check answers equal flags");
        auto own = base_selector.checkDesiredSensorMode(check);
        require(own.second, "the interface's check always sets the second flag");
    }
    return 0;
}
