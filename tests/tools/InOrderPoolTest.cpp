// Work spread over threads comes back in the items' order, each item once,
// with no more than `ahead` items taken past the one handed back next; built
// in every configuration, so that ThreadSanitizer watches the hand-over.

#include "log/InOrderPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

using namespace zsl::log;

namespace {

struct PoolCase {
    size_t count;
    unsigned jobs;
    size_t ahead;
};

class InOrderPool : public testing::TestWithParam<PoolCase> {};

TEST_P(InOrderPool, HandsBackInOrderWithinTheWindow)
{
    const PoolCase c = GetParam();
    std::atomic<size_t> handedBack{0}, worstAhead{0};
    std::vector<int> calls(c.count);
    std::vector<std::string> seen;
    forEachInOrder(
        c.count, c.jobs, c.ahead,
        [&](size_t index) {
            ++calls[index]; // each item by one worker only: a second would race here
            const size_t pastNext = index - std::min(index, handedBack.load());
            for (size_t worst = worstAhead.load(); pastNext > worst && !worstAhead.compare_exchange_weak(worst, pastNext);)
                ;
            // Uneven work, so that items finish out of order.
            volatile unsigned spin = 0;
            for (unsigned i = 0; i < (index % 7) * 2000; ++i)
                spin = spin + i;
            return "item " + std::to_string(index);
        },
        [&](std::string result) {
            seen.push_back(std::move(result));
            handedBack = seen.size();
        });
    ASSERT_EQ(seen.size(), c.count);
    for (size_t i = 0; i < c.count; ++i) {
        EXPECT_EQ(seen[i], "item " + std::to_string(i));
        EXPECT_EQ(calls[i], 1) << i;
    }
    if (c.jobs > 1) {
        EXPECT_LE(worstAhead.load(), std::max<size_t>(c.ahead, 1)) << "taken too far ahead";
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, InOrderPool,
                         testing::Values(PoolCase{0, 2, 4}, PoolCase{1, 4, 8}, PoolCase{200, 1, 2}, PoolCase{200, 2, 4},
                                         PoolCase{200, 4, 1}, PoolCase{37, 8, 16}),
                         [](const testing::TestParamInfo<PoolCase> &info) {
                             return std::to_string(info.param.count) + "items" + std::to_string(info.param.jobs) +
                                    "jobs" + std::to_string(info.param.ahead) + "ahead";
                         });

} // namespace
