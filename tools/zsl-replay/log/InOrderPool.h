#pragma once
/*
 * InOrderPool: work on items 0..n-1 spread over a number of threads, each
 * item's parts, then its result, handed back in the items' order. The
 * calling thread is one of the workers: as many threads run as were asked
 * for. Whichever worker is free hands back: one with no item left to take,
 * or whose item waits for its turn, hands back the parts of the item in turn
 * a batch at a time while that item's worker goes on making them; a worker
 * hands back its own item's parts once it is done, or once they fill the
 * room. Workers take an item only while it is less than `ahead` past the
 * one in turn, and an item holds at most `held` parts before its worker
 * waits (at most twice `held` are in memory), so that memory is bounded
 * whatever the items' sizes. One thread hands back at a time, but not
 * always the same: part() and done() must not care which. An exception from
 * work, part() or done() stops the taking of items and is thrown again on
 * the calling thread.
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
    // The first item whose work threw: no item after it is taken, those
    // before it are handed back, then its exception stops the pool.
    size_t failedAt = count;
    std::exception_ptr workFailure, failed;
    ahead = std::max<size_t>(ahead, 1);
    held = std::max<size_t>(held, 1);
    // Runs part() or done() outside the lock; an exception stops the pool.
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
            } else if (nextDone == failedAt) {
                failed = workFailure;
                changed.notify_all();
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
    // Parts of the item in turn worth handing back by a worker with nothing
    // else to do; its own worker hands back only when it must (its item is
    // full or done), so that it goes on making parts meanwhile.
    const size_t batch = std::max<size_t>(held / 8, 1);
    auto canHandBack = [&] {
        return !handing && nextDone < count &&
               (slots[nextDone].result || nextDone == failedAt || slots[nextDone].parts.size() >= batch);
    };
    auto worker = [&] {
        std::unique_lock<std::mutex> guard(lock);
        for (;;) {
            changed.wait(guard, [&] {
                return failed || nextDone >= count || canHandBack() ||
                       (nextTaken < failedAt && nextTaken < nextDone + ahead);
            });
            if (failed || nextDone >= count)
                return;
            if (canHandBack()) {
                handing = true;
                handBack(guard);
                continue;
            }
            const size_t index = nextTaken++;
            Slot &slot = slots[index];
            const Give give = [&](Part given) {
                std::unique_lock<std::mutex> giving(lock);
                // Full: hand back this item if in turn, else help hand back the one that is.
                while (!failed && index < failedAt && slot.parts.size() >= held) {
                    if (!handing && (index == nextDone || canHandBack())) {
                        handing = true;
                        handBack(giving);
                    } else {
                        changed.wait(giving);
                    }
                }
                if (failed || index > failedAt)
                    return; // never handed back
                slot.parts.push_back(std::move(given));
                if (index == nextDone && slot.parts.size() == batch)
                    changed.notify_all(); // a batch for a worker that is waiting
            };
            std::optional<Result> result;
            guard.unlock();
            try {
                result.emplace(work(index, give));
            } catch (...) {
                guard.lock();
                if (index < failedAt)
                    failedAt = index, workFailure = std::current_exception();
                changed.notify_all();
                continue;
            }
            guard.lock();
            slot.result = std::move(result);
            changed.notify_all(); // the item in turn may be done: anyone may hand it back
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
