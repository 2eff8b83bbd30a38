#pragma once
/*
 * InOrderPool: work on items 0..n-1 spread over a number of threads, each
 * item's parts, then its result, handed back in the items' order. The
 * calling thread is one of the workers, and whichever worker makes the item
 * in turn hands its parts back itself as it makes them, then its result and
 * whatever the items after it hold by then: as many threads run as were
 * asked for, none waiting only to hand back. Workers take an item only while
 * it is less than `ahead` past the one in turn, and a worker whose item holds
 * `held` parts waits until they are handed back (at most twice `held` are in
 * memory), so that memory is bounded whatever the items' sizes. One thread
 * hands back at a time, but not always the same: part() and done() must not
 * care which. An exception from work, part() or done() stops the taking of
 * items and is thrown again on the calling thread.
 */

#include "log/SpreadThread.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <type_traits>
#include <vector>

namespace zsl::log {

// work(index, give) makes item `index`, calling give(Part) for each of its
// parts, and returns its result; part(Part) and done(Result) take them back.
template <typename Part, typename Work, typename TakePart, typename Done>
void forEachInOrder(size_t count, unsigned jobs, size_t ahead, size_t held, const Work &work, const TakePart &part,
                    const Done &done)
{
    using Give = std::function<void(Part)>;
    if (jobs <= 1 || count <= 1) {
        const Give give = [&](Part given) { part(std::move(given)); };
        for (size_t i = 0; i < count; ++i)
            done(work(i, give));
        return;
    }
    using Result = std::invoke_result_t<Work, size_t, const Give &>;
    struct Slot {
        std::deque<Part> parts;
        std::optional<Result> result;
    };
    std::mutex lock;
    std::condition_variable changed;
    std::vector<Slot> slots(count);
    size_t nextTaken = 0, nextDone = 0;
    bool handing = false; // a worker is handing back
    std::exception_ptr failed;
    ahead = std::max<size_t>(ahead, 1);
    held = std::max<size_t>(held, 1);
    // Runs `call` outside the lock; its exception stops the pool.
    auto unlocked = [&](std::unique_lock<std::mutex> &guard, const auto &call) {
        guard.unlock();
        std::exception_ptr thrown;
        try {
            call();
        } catch (...) {
            thrown = std::current_exception();
        }
        guard.lock();
        if (thrown && !failed) {
            failed = thrown;
            changed.notify_all(); // workers waiting to take or to give stop
        }
    };
    // With the lock held and the role taken: hands back what the items in
    // turn hold, up to one still being made, then gives the role up.
    auto handBack = [&](std::unique_lock<std::mutex> &guard) {
        while (nextDone < count && !failed) {
            Slot &slot = slots[nextDone];
            if (!slot.parts.empty()) {
                std::deque<Part> parts;
                parts.swap(slot.parts);
                changed.notify_all(); // room for a worker waiting to give
                unlocked(guard, [&] {
                    for (Part &given : parts)
                        part(std::move(given));
                });
            } else if (slot.result) {
                Result result = std::move(*slot.result);
                slot.result.reset();
                ++nextDone;
                changed.notify_all(); // the window moved
                unlocked(guard, [&] { done(std::move(result)); });
            } else {
                break;
            }
        }
        handing = false;
        changed.notify_all();
    };
    auto worker = [&] {
        std::unique_lock<std::mutex> guard(lock);
        for (;;) {
            changed.wait(guard, [&] { return failed || nextTaken >= count || nextTaken < nextDone + ahead; });
            if (failed || nextTaken >= count)
                return;
            const size_t index = nextTaken++;
            Slot &slot = slots[index];
            const Give give = [&](Part given) {
                std::unique_lock<std::mutex> giving(lock);
                changed.wait(giving,
                             [&] { return failed || slot.parts.size() < held || (index == nextDone && !handing); });
                if (failed)
                    return;
                slot.parts.push_back(std::move(given));
                if (index == nextDone && !handing) {
                    handing = true;
                    handBack(giving);
                }
            };
            std::optional<Result> result;
            unlocked(guard, [&] { result.emplace(work(index, give)); });
            if (failed)
                return;
            slot.result = std::move(result);
            if (index == nextDone && !handing) {
                handing = true;
                handBack(guard);
            }
        }
    };
    {
        std::deque<SpreadThread> workers; // joined at the block's end
        for (size_t i = 1; i < std::min<size_t>(jobs, count); ++i)
            workers.emplace_back(worker);
        worker();
    }
    if (failed)
        std::rethrow_exception(failed);
}

} // namespace zsl::log
