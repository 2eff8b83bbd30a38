// How long the host waits on the selector: selectZSLFrames over a full
// metadata queue and checkFrame on a multi-camera frame, with the log gates
// closed (as on a phone in normal use) and with the system log open.

#include <HostFrameQueue.h>
#include <LogRecorder.h>
#include <MetadataBuilder.h>
#include <PluginLoader.h>

#include <KoMetadata.h>
#include <kodebug/Log.h>
#include <kodebug/SystemLogSink.h>

#include <benchmark/benchmark.h>
#include <utils/Timers.h>

namespace {

struct Fixture {
    kohost::PluginLoader plugin;
    std::shared_ptr<kohal::ZSLSelectorBase> selector;
    std::shared_ptr<kohost::HostFrameQueue> meta =
        std::make_shared<kohost::HostFrameQueue>(0, kohal::ZSL_QUEUE_TYPE_META, "meta");
    std::shared_ptr<kohost::HostFrameQueue> sensor =
        std::make_shared<kohost::HostFrameQueue>(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor");

    explicit Fixture(int frames)
    {
        if (!plugin.load(kohost::defaultPluginPath()))
            throw std::runtime_error(plugin.error());
        selector = plugin.createSelector();
        const int64_t now = systemTime(SYSTEM_TIME_BOOTTIME);
        std::vector<uint32_t> consumer;
        for (int i = 0; i < frames; ++i) {
            uint32_t frame = 1000 + static_cast<uint32_t>(i);
            consumer.push_back(frame);
            kohal::MetaInfo info;
            info.shutterTime = now - (frames - i) * 33000000LL;
            info.metadata = kohost::Meta().settled();
            info.physicalMetadata = {{0, kohost::Meta().settled()}, {2, kohost::Meta().settled()}};
            meta->putMetaFrame(frame, info);
            sensor->putSensorModeFrame(frame, 1);
        }
        meta->setList(kohal::CONSUMER_LIST, consumer);
    }
};

void gates(bool systemLog)
{
    kohost::setLogGates(7, systemLog ? 0x40 : 0, systemLog ? 1 : 0);
    kodebug::setSystemLogReceiver([](const kodebug::SystemLogRecord &) {});
}

void BM_SelectZSLFrames(benchmark::State &state)
{
    gates(state.range(1) != 0);
    Fixture fixture(static_cast<int>(state.range(0)));
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {fixture.meta, fixture.sensor};
    info.requestMetas = {kohost::Meta().settled()};
    for (auto _ : state)
        benchmark::DoNotOptimize(fixture.selector->selectZSLFrames(info));
    fixture.selector.reset();
}
BENCHMARK(BM_SelectZSLFrames)->ArgsProduct({{8, 32}, {0, 1}});

void BM_CheckFrame(benchmark::State &state)
{
    gates(state.range(0) != 0);
    Fixture fixture(8);
    kohal::ZSLFrameCheckInfo info;
    info.checkFrameNum = 1004;
    info.requestMeta = kohost::Meta().settled();
    info.requestMeta->update<uint8_t>("korvan.superResolution.enabled", {1});
    info.zslQueues = {fixture.meta, fixture.sensor};
    for (auto _ : state)
        benchmark::DoNotOptimize(fixture.selector->checkFrame(info));
    fixture.selector.reset();
}
BENCHMARK(BM_CheckFrame)->Arg(0)->Arg(1);

} // namespace

BENCHMARK_MAIN();
