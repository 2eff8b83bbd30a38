#pragma once
/*
 * InOrderPool: work on items 0..n-1 spread over a number of threads, each
 * item's parts, then its result, handed back on the calling thread in the
 * items' order: the item handed back next passes its parts over as it makes
 * them, the others hold theirs until their turn. Workers take an item only
 * while it is less than `ahead` past the one handed back next, and a worker
 * whose item holds `held` parts waits for the calling thread to take them
 * (it takes them a batch at a time: at most twice `held` are in memory), so
 * that memory is bounded whatever the items' sizes. One thread: the work
 * runs on the caller, each part handed back as it is made.
 */

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
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
    ahead = std::max<size_t>(ahead, 1);
    held = std::max<size_t>(held, 1);
    auto worker = [&] {
        std::unique_lock<std::mutex> guard(lock);
        for (;;) {
            changed.wait(guard, [&] { return nextTaken >= count || nextTaken < nextDone + ahead; });
            if (nextTaken >= count)
                return;
            const size_t index = nextTaken++;
            Slot &slot = slots[index];
            guard.unlock();
            const Give give = [&](Part given) {
                std::unique_lock<std::mutex> giving(lock);
                changed.wait(giving, [&] { return slot.parts.size() < held; });
                slot.parts.push_back(std::move(given));
                // The caller is woken for a batch, not for every part.
                if (index == nextDone && slot.parts.size() >= std::max<size_t>(held / 8, 1))
                    changed.notify_all();
            };
            Result result = work(index, give);
            guard.lock();
            slot.result = std::move(result);
            changed.notify_all();
        }
    };
    std::vector<std::thread> workers;
    for (size_t i = 0; i < std::min<size_t>(jobs, count); ++i)
        workers.emplace_back(worker);
    std::unique_lock<std::mutex> guard(lock);
    while (nextDone < count) {
        Slot &slot = slots[nextDone];
        changed.wait(guard, [&] { return !slot.parts.empty() || slot.result.has_value(); });
        if (!slot.parts.empty()) {
            std::deque<Part> parts;
            parts.swap(slot.parts);
            changed.notify_all(); // room for a waiting worker
            guard.unlock();
            for (Part &given : parts)
                part(std::move(given));
            guard.lock();
            continue;
        }
        Result result = std::move(*slot.result);
        slot.result.reset();
        ++nextDone;
        changed.notify_all();
        guard.unlock();
        done(std::move(result));
        guard.lock();
    }
    guard.unlock();
    for (std::thread &thread : workers)
        thread.join();
}

} // namespace zsl::log
