// The host's metadata container, tag tables and static metadata store.

#include <KoMetadata.h>
#include <KoTagTable.h>
#include <StaticMetadataWraper.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(KoMetadata, AbsentTagAnswersCountZero)
{
    KoMetadata meta;
    EXPECT_EQ(meta.find(0x10029).count, 0u);
    EXPECT_EQ(meta.find("android.control.enableZsl").count, 0u);
    EXPECT_EQ(meta.find("no.such.tag").count, 0u);
    EXPECT_EQ(meta.find(static_cast<const char *>(nullptr)).count, 0u);
    EXPECT_TRUE(meta.update<int32_t>(0x10001, {})); // a count-0 write is absent too
    EXPECT_EQ(meta.find(0x10001).count, 0u);
}

TEST(KoMetadata, KeepsEachTypeWithItsValuesContiguousTagAndPosition)
{
    KoMetadata meta;
    meta.update<uint8_t>(0x10029, {1, 2, 3});
    meta.update<int32_t>(0x10001, {-2, 7});
    meta.update<float>(0x80000001, {1.5f});
    meta.update<int64_t>(0x80010001, {-5000000000LL, 9});
    meta.update<double>(0x80000002, {2.25});
    meta.update<KoRational>(0x80000003, {{1, 3}});

    KoMetadataEntry bytes = meta.find(0x10029);
    EXPECT_EQ(bytes.type, KoMetadata::TYPE_BYTE);
    ASSERT_EQ(bytes.count, 3u);
    EXPECT_EQ(bytes.data.u8[2], 3);
    EXPECT_EQ(bytes.index, 1u); // entries sort by tag
    KoMetadataEntry ints = meta.find(0x10001);
    EXPECT_EQ(ints.type, KoMetadata::TYPE_INT32);
    ASSERT_EQ(ints.count, 2u);
    EXPECT_EQ(ints.data.i32[1], 7);
    EXPECT_EQ(ints.index, 0u);
    EXPECT_EQ(ints.tag, 0x10001u);
    EXPECT_EQ(meta.find(0x80000001).data.f[0], 1.5f);
    EXPECT_EQ(meta.find(0x80010001).data.i64[0], -5000000000LL);
    EXPECT_EQ(meta.find(0x80010001).type, KoMetadata::TYPE_INT64);
    EXPECT_EQ(meta.find(0x80000002).data.d[0], 2.25);
    EXPECT_EQ(meta.find(0x80000003).data.r[0].denominator, 3);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(meta.find(0x80010001).data.i64) % alignof(int64_t), 0u);
    EXPECT_EQ(meta.tags(), (std::vector<uint32_t>{0x10001, 0x10029, 0x80000001, 0x80000002, 0x80000003, 0x80010001}));
}

TEST(KoMetadata, KnownTagKeepsItsTypeUnknownTagTakesAnyAndRewriteReplaces)
{
    KoMetadata meta;
    EXPECT_FALSE(meta.update<uint8_t>(0x10001, {1}));                     // int32 tag
    EXPECT_FALSE(meta.update<int32_t>("korvan.mfnr.anchorTimeStamp", {1})); // int64 tag
    EXPECT_FALSE(meta.update<int64_t>("android.control.enableZsl", {1}));    // byte tag
    EXPECT_FALSE(meta.update<uint8_t>("korvan.no.such.tag", {1}));
    EXPECT_TRUE(meta.tags().empty());

    EXPECT_TRUE(meta.update<int32_t>(0x10001, {4, 5}));
    EXPECT_TRUE(meta.update<int32_t>(0x10001, {9}));
    EXPECT_EQ(meta.find(0x10001).count, 1u);
    EXPECT_EQ(meta.find(0x10001).data.i32[0], 9);
    EXPECT_TRUE(meta.update<int32_t>(0x80000009, {4, 5}));
    EXPECT_TRUE(meta.update<uint8_t>(0x80000009, {9}));
    EXPECT_EQ(meta.find(0x80000009).type, KoMetadata::TYPE_BYTE);
    EXPECT_EQ(meta.find(0x80000009).count, 1u);
    // Values of another size move; the other entries' values stay as written.
    EXPECT_TRUE(meta.update<int64_t>(0x80000008, {1, 2, 3}));
    EXPECT_TRUE(meta.update<int64_t>(0x80000008, {7}));
    EXPECT_TRUE(meta.erase(0x10001));
    EXPECT_EQ(meta.find(0x80000008).data.i64[0], 7);
    EXPECT_EQ(meta.find(0x80000009).data.u8[0], 9);
}

TEST(KoMetadata, ByNameReachesTheSameEntryAsByIdAndErases)
{
    KoMetadata meta;
    EXPECT_TRUE(meta.update<int32_t>("com.korvan.ext.control.policy.sensorMode", {6}));
    EXPECT_TRUE(meta.update<uint8_t>("android.control.afMode", {4}));
    const KoTagInfo *info = KoTagTable::byName("com.korvan.ext.control.policy.sensorMode");
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(meta.find(info->id).data.i32[0], 6);
    EXPECT_EQ(meta.find("com.korvan.ext.control.policy.sensorMode").data.i32[0], 6);
    EXPECT_EQ(meta.find(0x10007).data.u8[0], 4);
    // The log names the tag without "com."; that is not a tag name.
    EXPECT_EQ(meta.find("korvan.ext.control.policy.sensorMode").count, 0u);

    EXPECT_TRUE(meta.erase("com.korvan.ext.control.policy.sensorMode"));
    EXPECT_TRUE(meta.erase(0x10007));
    EXPECT_FALSE(meta.erase(0x10007));
    EXPECT_TRUE(meta.tags().empty());
}

TEST(KoTagTable, VendorTagsLieInTheVendorRangeWithDistinctIds)
{
    const auto &vendor = KoTagTable::vendorTags();
    EXPECT_EQ(vendor.size(), 8u);
    for (const KoTagInfo &info : vendor) {
        EXPECT_GE(info.id, KoTagTable::kVendorSectionStart) << info.name;
        EXPECT_EQ(KoTagTable::byId(info.id), &info) << info.name;
    }
}

TEST(StaticMetadataWraper, UnknownCameraGetsEmptyMetadataAndSetterInstalls)
{
    StaticMetadataWraper *store = StaticMetadataWraper::getInstance();
    ASSERT_EQ(store, StaticMetadataWraper::getInstance());
    std::shared_ptr<KoMetadata> unknown = store->getStaticMetadata(77);
    ASSERT_NE(unknown, nullptr);
    EXPECT_TRUE(unknown->tags().empty());

    auto meta = std::make_shared<KoMetadata>();
    store->setStaticMetadata(3, meta);
    EXPECT_EQ(store->getStaticMetadata(3), meta);
    store->setStaticMetadata(3, nullptr);
    EXPECT_NE(store->getStaticMetadata(3), meta);
    EXPECT_TRUE(store->getStaticMetadata(3)->tags().empty());
}

} // namespace
