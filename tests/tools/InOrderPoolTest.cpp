// Work spread over threads comes back in the items' order, each item's parts
// in their order and before its result, each item once, with no more than
// `ahead` items taken past the one handed back next and no more than twice
// `held` parts of any in memory; an exception, wherever thrown, comes back to
// the caller. Built in every configuration, so that ThreadSanitizer watches
// the hand-over, which moves from worker to worker.

#include "log/InOrderPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

using namespace zsl::log;

namespace {

struct PoolCase {
    size_t count;
    unsigned jobs;
    size_t ahead;
    size_t held;
    size_t parts; // item i makes (i % 5) * parts of them
};

class InOrderPool : public testing::TestWithParam<PoolCase> {};

// Records the highest value `value` took.
void raise(std::atomic<size_t> &worst, size_t value)
{
    for (size_t seen = worst.load(); value > seen && !worst.compare_exchange_weak(seen, value);)
        ;
}

TEST_P(InOrderPool, HandsBackInOrderWithinTheBounds)
{
    const PoolCase c = GetParam();
    std::atomic<size_t> handedBack{0}, worstAhead{0}, worstHeld{0};
    std::vector<int> calls(c.count);
    std::vector<std::atomic<size_t>> made(c.count), taken(c.count);
    std::vector<std::string> seen;
    std::mutex threadsLock;
    std::set<std::thread::id> threads; // those that worked on an item
    forEachInOrder<std::string>(
        c.count, c.jobs, c.ahead, c.held,
        [&](size_t index, const std::function<void(std::string)> &give) {
            ++calls[index]; // each item by one worker only: a second would race here
            {
                const std::lock_guard<std::mutex> hold(threadsLock);
                threads.insert(std::this_thread::get_id());
            }
            raise(worstAhead, index - std::min(index, handedBack.load()));
            for (size_t part = 0; part < (index % 5) * c.parts; ++part) {
                // Uneven work, so that items finish out of order.
                volatile unsigned spin = 0;
                for (unsigned i = 0; i < (index % 7) * 200; ++i)
                    spin = spin + i;
                give("part " + std::to_string(index) + "." + std::to_string(part));
                raise(worstHeld, ++made[index] - taken[index].load());
            }
            return "item " + std::to_string(index);
        },
        [&](std::string part) {
            const size_t index = std::stoul(part.substr(5));
            ++taken[index];
            seen.push_back(std::move(part));
        },
        [&](std::string result) {
            seen.push_back(std::move(result));
            ++handedBack;
        });
    std::vector<std::string> expected;
    for (size_t i = 0; i < c.count; ++i) {
        for (size_t part = 0; part < (i % 5) * c.parts; ++part)
            expected.push_back("part " + std::to_string(i) + "." + std::to_string(part));
        expected.push_back("item " + std::to_string(i));
        EXPECT_EQ(calls[i], 1) << i;
    }
    EXPECT_EQ(seen, expected);
    EXPECT_LE(threads.size(), std::max(c.jobs, 1u)) << "more threads than asked for";
    if (c.jobs > 1) {
        EXPECT_LE(worstAhead.load(), std::max<size_t>(c.ahead, 1)) << "taken too far ahead";
        // Up to `held` wait while a batch as large is handed back; a part is
        // counted made just after it is given: one more.
        EXPECT_LE(worstHeld.load(), 2 * std::max<size_t>(c.held, 1) + 1) << "too many parts held";
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, InOrderPool,
                         testing::Values(PoolCase{0, 2, 4, 8, 3}, PoolCase{1, 4, 8, 8, 3}, PoolCase{200, 1, 2, 8, 3},
                                         PoolCase{200, 2, 4, 8, 0}, PoolCase{200, 2, 4, 4, 40},
                                         PoolCase{200, 4, 1, 1, 5}, PoolCase{37, 8, 16, 16, 20},
                                         PoolCase{50, 2, 0, 0, 3}), // no room given: one item, one part
                         [](const testing::TestParamInfo<PoolCase> &info) {
                             const PoolCase &c = info.param;
                             return std::to_string(c.count) + "items" + std::to_string(c.jobs) + "jobs" +
                                    std::to_string(c.ahead) + "ahead" + std::to_string(c.held) + "held" +
                                    std::to_string(c.parts) + "parts";
                         });

// Where the failure is thrown: in an item's work, or where a part or a result
// is taken back.
enum class Thrower { Work, Part, Done };

class InOrderPoolFailure : public testing::TestWithParam<std::tuple<Thrower, unsigned>> {};

TEST_P(InOrderPoolFailure, ComesBackToTheCallerAndStopsTheTaking)
{
    const Thrower thrower = std::get<0>(GetParam());
    const unsigned jobs = std::get<1>(GetParam());
    constexpr size_t kItems = 60, kFailing = 7;
    std::atomic<size_t> worked{0};
    std::vector<size_t> results;
    auto run = [&] {
        forEachInOrder<size_t>(
            kItems, jobs, 4, 2,
            [&](size_t index, const std::function<void(size_t)> &give) {
                ++worked;
                if (thrower == Thrower::Work && index == kFailing)
                    throw std::runtime_error("item 7");
                for (size_t part = 0; part < 5; ++part)
                    give(index);
                return index;
            },
            [&](size_t index) {
                if (thrower == Thrower::Part && index == kFailing)
                    throw std::runtime_error("item 7");
            },
            [&](size_t index) {
                if (thrower == Thrower::Done && index == kFailing)
                    throw std::runtime_error("item 7");
                results.push_back(index);
            });
    };
    EXPECT_THROW(run(), std::runtime_error);
    // Every result before the failing item, and none after it.
    std::vector<size_t> before(kFailing);
    for (size_t i = 0; i < kFailing; ++i)
        before[i] = i;
    EXPECT_EQ(results, before);
    // No item is taken once the window (4 past the failing one) is used up.
    EXPECT_LE(worked.load(), kFailing + 1 + 4);
}

INSTANTIATE_TEST_SUITE_P(Cases, InOrderPoolFailure,
                         testing::Combine(testing::Values(Thrower::Work, Thrower::Part, Thrower::Done),
                                          testing::Values(1u, 2u, 4u)));

} // namespace
