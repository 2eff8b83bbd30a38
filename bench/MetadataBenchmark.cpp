// How long a selector's metadata reads take: KoMetadata::find by tag id and
// by tag name in a result of 5, 50, 150 and 250 entries, the sizes from a
// test frame to a real frame's result metadata (BenchHost.h).

#include "BenchHost.h"

#include <benchmark/benchmark.h>

namespace {

void BM_FindById(benchmark::State &state)
{
    const std::shared_ptr<KoMetadata> meta = zslbench::resultMetadata(static_cast<int>(state.range(0)));
    for (auto _ : state)
        for (uint32_t tag : {0x10001u, 0x10007u, 0x1001fu, 0x10020u, 0x80009u})
            benchmark::DoNotOptimize(meta->find(tag));
    state.SetItemsProcessed(state.iterations() * 5);
}

void BM_FindByName(benchmark::State &state)
{
    const std::shared_ptr<KoMetadata> meta = zslbench::resultMetadata(static_cast<int>(state.range(0)));
    for (auto _ : state)
        for (const char *name : {"korvan.mfnr.anchorTimeStamp", "korvan.ai.kosd.motionCaptureType",
                                 "korvan.superResolution.enabled", "com.korvan.ext.control.policy.sensorMode",
                                 "com.korvan.camera.sensorpolicy.mcxFrameresult"})
            benchmark::DoNotOptimize(meta->find(name));
    state.SetItemsProcessed(state.iterations() * 5);
}

} // namespace

BENCHMARK(BM_FindById)->Arg(5)->Arg(50)->Arg(150)->Arg(250);
BENCHMARK(BM_FindByName)->Arg(5)->Arg(50)->Arg(150)->Arg(250);
