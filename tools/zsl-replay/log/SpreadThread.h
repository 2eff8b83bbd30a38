#pragma once
/*
 * SpreadThread: a thread started on a core other than its creator's, then
 * free to move like any other. Left to itself, the kernel may queue a new
 * thread behind its creator on the creator's core for a scheduler tick or
 * more while another core idles: milliseconds, on two cores a tenth of
 * reading a folder of small logs. Where the core cannot be told, or the
 * process may run on one core only, it is an ordinary thread. It is joined
 * when destroyed, if not before.
 */

#include <pthread.h>

#include <functional>

namespace zsl::log {

class SpreadThread {
public:
    // Throws std::system_error when no thread can be started.
    explicit SpreadThread(std::function<void()> run);
    ~SpreadThread();
    void join();
    SpreadThread(const SpreadThread &) = delete;
    SpreadThread &operator=(const SpreadThread &) = delete;

private:
    pthread_t mThread;
    bool mJoined = false;
};

} // namespace zsl::log
