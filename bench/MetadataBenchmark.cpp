// How long a selector's metadata reads take: KoMetadata::find by tag id and
// by tag name in a result of 5, 50, 150 and 250 entries, the sizes from a
// test frame to a real frame's result metadata. The entries are the tags
// the selector reads plus filler tags of every type, spread over the id range.

#include <KoMetadata.h>
#include <KoTagTable.h>

#include <benchmark/benchmark.h>

namespace {

KoMetadata resultOf(int entries)
{
    KoMetadata meta;
    for (const auto *table : {&KoTagTable::androidTags(), &KoTagTable::vendorTags()})
        for (const KoTagInfo &tag : *table)
            if (static_cast<int>(meta.tags().size()) < entries) {
                if (tag.type == KoMetadata::TYPE_INT64)
                    meta.update<int64_t>(tag.id, {1});
                else if (tag.type == KoMetadata::TYPE_INT32)
                    meta.update<int32_t>(tag.id, std::vector<int32_t>(29, 1));
                else
                    meta.update<uint8_t>(tag.id, {1});
            }
    // Android sections 0x0000 to 0x00FF, a few entries each, and vendor ones.
    for (uint32_t i = 0; static_cast<int>(meta.tags().size()) < entries; ++i) {
        const uint32_t tag = (i % 2 ? 0x80100000u : 0u) + ((i / 2) % 40) * 0x10000u + i / 80;
        if (KoTagTable::byId(tag))
            continue;
        if (i % 3 == 0)
            meta.update<float>(tag, {1.5f, 2.5f});
        else
            meta.update<int32_t>(tag, {static_cast<int32_t>(i)});
    }
    return meta;
}

void BM_FindById(benchmark::State &state)
{
    const KoMetadata meta = resultOf(static_cast<int>(state.range(0)));
    for (auto _ : state)
        for (uint32_t tag : {0x10001u, 0x10007u, 0x1001fu, 0x10020u, 0x80009u})
            benchmark::DoNotOptimize(meta.find(tag));
    state.SetItemsProcessed(state.iterations() * 5);
}

void BM_FindByName(benchmark::State &state)
{
    const KoMetadata meta = resultOf(static_cast<int>(state.range(0)));
    for (auto _ : state)
        for (const char *name : {"korvan.mfnr.anchorTimeStamp", "korvan.ai.kosd.motionCaptureType",
                                 "korvan.superResolution.enabled", "com.korvan.ext.control.policy.sensorMode",
                                 "com.korvan.camera.sensorpolicy.mcxFrameresult"})
            benchmark::DoNotOptimize(meta.find(name));
    state.SetItemsProcessed(state.iterations() * 5);
}

} // namespace

BENCHMARK(BM_FindById)->Arg(5)->Arg(50)->Arg(150)->Arg(250);
BENCHMARK(BM_FindByName)->Arg(5)->Arg(50)->Arg(150)->Arg(250);
