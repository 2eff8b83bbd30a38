// The interface's helpers: list texts, the key order of a selection,
// forEachZSLQ and preCheckFrame; the virtual-table slots a host calls.

#include <HostFrameQueue.h>
#include <MinimalSelector.h>
#include <ZSLSelectorBase.h>

#include <gtest/gtest.h>

#include <cstring>

#include <memory>
#include <string>
#include <vector>

namespace {

using kotest::MinimalSelector;

struct TextCase {
    std::vector<uint32_t> values;
    std::string text;
};

class VectorToString : public testing::TestWithParam<TextCase> {};

TEST_P(VectorToString, EachNumberFollowedByOneBlank)
{
    EXPECT_EQ(kohal::vectorToString(GetParam().values), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Lists, VectorToString,
                         testing::Values(TextCase{{}, ""}, TextCase{{0}, "0 "}, TextCase{{7}, "7 "},
                                         TextCase{{1, 22, 333}, "1 22 333 "},
                                         TextCase{{4294967295u}, "4294967295 "}));

TEST(CompareRule, MapWalksKeysUnsignedAscending)
{
    kohal::ZSLSelection selection;
    selection[5] = {50};
    selection[2147483648u] = {8};
    selection[1] = {10};
    selection[2147483647u] = {7};
    selection[3] = {30};
    selection[1] = {11, 12}; // same key: one entry, the list stored last

    std::vector<uint32_t> keys;
    for (const auto &entry : selection)
        keys.push_back(entry.first);
    EXPECT_EQ(keys, (std::vector<uint32_t>{1, 3, 5, 2147483647u, 2147483648u}));
    EXPECT_EQ(selection[1], (std::vector<uint32_t>{11, 12}));
}

std::shared_ptr<kohost::HostFrameQueue> queue(uint32_t id)
{
    return std::make_shared<kohost::HostFrameQueue>(id, kohal::ZSL_QUEUE_TYPE_META, "q" + std::to_string(id));
}

TEST(ForEachZSLQ, CallsOncePerQueueInOrderHoldingTwoReferences)
{
    MinimalSelector selector;
    kohal::ZSLQueueList queues = {queue(7), queue(3), queue(9)};
    std::vector<uint32_t> seen;
    std::vector<long> useCounts;
    selector.forEachZSLQ(queues, [&](std::shared_ptr<kohal::ZSLFrameQueue> q) {
        seen.push_back(q->getQueueId());
        useCounts.push_back(q.use_count());
    });
    EXPECT_EQ(seen, (std::vector<uint32_t>{7, 3, 9}));
    // The list's own reference, the element copy and the by-value argument.
    EXPECT_EQ(useCounts, (std::vector<long>{3, 3, 3}));
    for (const auto &q : queues)
        EXPECT_EQ(q.use_count(), 1);
}

// An empty list never looks at the callable; a list with a queue throws at
// the first one and releases it.
TEST(ForEachZSLQ, EmptyCallable)
{
    MinimalSelector selector;
    EXPECT_NO_THROW(selector.forEachZSLQ({}, nullptr));
    kohal::ZSLQueueList queues = {queue(1)};
    EXPECT_THROW(selector.forEachZSLQ(queues, nullptr), std::bad_function_call);
    EXPECT_EQ(queues[0].use_count(), 1);
}

TEST(PreCheckFrame, AnswersZeroAndLeavesTheListAlone)
{
    MinimalSelector selector;
    std::vector<uint32_t> frames = {4, 5, 6};
    EXPECT_EQ(selector.preCheckFrame(frames, 0), 0);
    EXPECT_EQ(selector.preCheckFrame(frames, -1), 0);
    EXPECT_EQ(frames, (std::vector<uint32_t>{4, 5, 6}));
}

// The byte offset of an operation's virtual-table slot, decoded from a
// pointer to member as the Itanium C++ ABI encodes it on x86-64 (offset + 1
// in the pointer) and as its ARM variant does on arm64 (offset in the
// pointer, virtual bit in the adjustment); -1 for a non-virtual member.
template <typename Member> ptrdiff_t slotOffset(Member member)
{
    struct {
        ptrdiff_t ptr, adj;
    } raw;
    static_assert(sizeof(member) == sizeof(raw));
    std::memcpy(&raw, &member, sizeof(raw));
#if defined(__aarch64__)
    return (raw.adj & 1) ? raw.ptr : -1;
#else
    return (raw.ptr & 1) ? raw.ptr - 1 : -1;
#endif
}

// A host built against this header calls through these slots; the
// destructor takes two (complete and deleting).
TEST(VirtualTable, OperationsSitInTheSlotsTheHostCalls)
{
    using Selector = kohal::ZSLSelectorBase;
    using Queue = kohal::ZSLFrameQueue;
    constexpr ptrdiff_t slot = sizeof(void *);
    EXPECT_EQ(slotOffset(&Selector::isSelectorNeeded), 0 * slot);
    EXPECT_EQ(slotOffset(&Selector::checkFrame), 1 * slot);
    EXPECT_EQ(slotOffset(&Selector::preCheckFrame), 2 * slot);
    EXPECT_EQ(slotOffset(&Selector::checkDesiredSensorMode), 3 * slot);
    EXPECT_EQ(slotOffset(&Selector::selectZSLFrames), 6 * slot);
    EXPECT_EQ(slotOffset(&Selector::forEachZSLQ), -1);
    EXPECT_EQ(slotOffset(&Queue::getQueueType), 2 * slot);
    EXPECT_EQ(slotOffset(&Queue::getQueueName), 3 * slot);
    EXPECT_EQ(slotOffset(&Queue::getQueueId), 4 * slot);
    EXPECT_EQ(slotOffset(&Queue::getMetaFrame), 5 * slot);
    EXPECT_EQ(slotOffset(&Queue::getFrameNumList), 6 * slot);
}

} // namespace
