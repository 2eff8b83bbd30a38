#pragma once
/*
 * InOrderPool: work on items 0..n-1 spread over a number of threads, each
 * result handed back on the calling thread in the items' order, as soon as
 * it and every one before it are done. Workers take an item only while it
 * is at most `ahead` past the next one to hand back, so results waiting for
 * a slow one before them stay few. One thread: the work runs on the caller.
 */

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace zsl::log {

template <typename Work, typename Done>
void forEachInOrder(size_t count, unsigned jobs, size_t ahead, const Work &work, const Done &done)
{
    if (jobs <= 1 || count <= 1) {
        for (size_t i = 0; i < count; ++i)
            done(work(i));
        return;
    }
    using Result = decltype(work(size_t(0)));
    std::mutex lock;
    std::condition_variable changed;
    std::vector<std::optional<Result>> results(count);
    size_t nextTaken = 0, nextDone = 0;
    ahead = std::max<size_t>(ahead, 1);
    auto worker = [&] {
        std::unique_lock<std::mutex> guard(lock);
        for (;;) {
            changed.wait(guard, [&] { return nextTaken >= count || nextTaken < nextDone + ahead; });
            if (nextTaken >= count)
                return;
            const size_t index = nextTaken++;
            guard.unlock();
            Result result = work(index);
            guard.lock();
            results[index] = std::move(result);
            changed.notify_all();
        }
    };
    std::vector<std::thread> workers;
    for (size_t i = 0; i < std::min<size_t>(jobs, count); ++i)
        workers.emplace_back(worker);
    while (nextDone < count) {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait(guard, [&] { return results[nextDone].has_value(); });
        Result result = std::move(*results[nextDone]);
        results[nextDone].reset();
        ++nextDone;
        changed.notify_all();
        guard.unlock();
        done(std::move(result));
    }
    for (std::thread &thread : workers)
        thread.join();
}

} // namespace zsl::log
