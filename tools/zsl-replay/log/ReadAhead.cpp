// Reading on one thread, rebuilding on another, joined by a short queue.

#include "log/ReadAhead.h"

#include "log/SpreadThread.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <vector>

namespace zsl::log {

namespace {

constexpr size_t kBatchItems = 512;
constexpr size_t kBatchesWaiting = 8;

// A line, or a problem of the input.
struct Item {
    kohost::LogLine line;
    uint64_t number = 0;
    std::string problem;
    bool isProblem = false;
};

// Batches go back and forth: the reading thread fills one, the calling
// thread moves its lines out and gives it back, so that a batch's items are
// made once. A line's strings are freed by the calling thread, which
// jemalloc's thread caches take in their stride (with the C library's
// malloc, copying each line to the calling thread was as fast).
struct Batch {
    std::vector<Item> items; // the first `used` hold this batch's
    size_t used = 0;
    LogOrigin origin;
};

// The reader gave up: the calling thread stopped taking its lines.
struct Abandoned {};

class Queue {
public:
    // On the reading thread. Throws Abandoned once the caller has gone.
    void push(Batch batch)
    {
        std::unique_lock<std::mutex> guard(mLock);
        mChanged.wait(guard, [&] { return mAbandoned || mBatches.size() < kBatchesWaiting; });
        if (mAbandoned)
            throw Abandoned();
        mBatches.push_back(std::move(batch));
        mChanged.notify_all();
    }
    void close(std::exception_ptr error)
    {
        const std::lock_guard<std::mutex> guard(mLock);
        mClosed = true;
        mError = error;
        mChanged.notify_all();
    }
    // On the calling thread: false once every batch has been taken.
    bool pop(Batch &batch)
    {
        std::unique_lock<std::mutex> guard(mLock);
        mChanged.wait(guard, [&] { return mClosed || !mBatches.empty(); });
        if (mBatches.empty())
            return false;
        batch = std::move(mBatches.front());
        mBatches.pop_front();
        mChanged.notify_all();
        return true;
    }
    void abandon()
    {
        const std::lock_guard<std::mutex> guard(mLock);
        mAbandoned = true;
        mChanged.notify_all();
    }
    std::exception_ptr error() const { return mError; }
    void giveBack(Batch batch)
    {
        const std::lock_guard<std::mutex> guard(mLock);
        mSpent.push_back(std::move(batch));
    }
    // On the reading thread: a batch given back, or a new one.
    Batch fresh()
    {
        const std::lock_guard<std::mutex> guard(mLock);
        if (mSpent.empty())
            return Batch();
        Batch batch = std::move(mSpent.back());
        mSpent.pop_back();
        batch.used = 0;
        return batch;
    }

private:
    std::mutex mLock;
    std::condition_variable mChanged;
    std::deque<Batch> mBatches, mSpent;
    bool mClosed = false, mAbandoned = false;
    std::exception_ptr mError;
};

} // namespace

void readLogInputAhead(const std::string &path, const std::string &name,
                       const std::function<void(kohost::LogLine &&, uint64_t)> &line,
                       const std::function<void(const std::string &)> &problem, LogOrigin &origin)
{
    Queue queue;
    SpreadThread reader([&] {
        LogOrigin told; // this thread's; each batch carries a copy across
        Batch batch = queue.fresh();
        auto flush = [&] {
            batch.origin = told;
            queue.push(std::move(batch));
            batch = queue.fresh();
        };
        // The next item of the batch, filled in place.
        auto next = [&]() -> Item & {
            if (batch.used == batch.items.size())
                batch.items.emplace_back();
            return batch.items[batch.used];
        };
        auto added = [&] {
            if (++batch.used >= kBatchItems)
                flush();
        };
        std::exception_ptr error;
        try {
            readLogInput(
                path, name,
                [&](kohost::LogLine &&read, uint64_t number) {
                    Item &item = next();
                    item.line = std::move(read);
                    item.number = number;
                    item.isProblem = false;
                    added();
                },
                [&](const std::string &text) {
                    Item &item = next();
                    item.problem = text;
                    item.isProblem = true;
                    added();
                },
                told);
        } catch (const Abandoned &) {
            queue.close(nullptr);
            return;
        } catch (...) {
            error = std::current_exception(); // after the lines read before it
        }
        try {
            flush();
        } catch (const Abandoned &) {
        }
        queue.close(error);
    });
    try {
        for (Batch batch; queue.pop(batch);) {
            origin = batch.origin;
            for (size_t i = 0; i < batch.used; ++i)
                if (batch.items[i].isProblem)
                    problem(batch.items[i].problem);
                else
                    line(std::move(batch.items[i].line), batch.items[i].number);
            queue.giveBack(std::move(batch));
        }
    } catch (...) {
        queue.abandon();
        reader.join();
        throw;
    }
    reader.join();
    if (queue.error())
        std::rethrow_exception(queue.error());
}

} // namespace zsl::log
