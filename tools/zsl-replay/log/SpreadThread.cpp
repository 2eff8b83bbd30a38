// A thread placed away from its creator's core at its start.

#include "log/SpreadThread.h"

#include <sched.h>

#include <memory>
#include <system_error>

namespace zsl::log {

namespace {

struct Start {
    std::function<void()> run;
    cpu_set_t allowed; // the cores the process may use, given back once started
    bool placed = false;
};

void *startThread(void *given)
{
    const std::unique_ptr<Start> start(static_cast<Start *>(given));
    if (start->placed)
        pthread_setaffinity_np(pthread_self(), sizeof start->allowed, &start->allowed);
    start->run();
    return nullptr;
}

} // namespace

SpreadThread::SpreadThread(std::function<void()> run)
{
    auto start = std::make_unique<Start>();
    start->run = std::move(run);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    cpu_set_t elsewhere;
    const int here = sched_getcpu();
    if (here >= 0 && here < CPU_SETSIZE && sched_getaffinity(0, sizeof start->allowed, &start->allowed) == 0) {
        elsewhere = start->allowed;
        CPU_CLR(here, &elsewhere);
        // The thread starts on one of the other cores: the C library sets
        // its cores before it runs.
        start->placed =
            CPU_COUNT(&elsewhere) > 0 && pthread_attr_setaffinity_np(&attributes, sizeof elsewhere, &elsewhere) == 0;
    }
    int error = pthread_create(&mThread, &attributes, startThread, start.get());
    pthread_attr_destroy(&attributes);
    if (error != 0 && start->placed) { // cores the kernel would not give: an ordinary thread, then
        start->placed = false;
        error = pthread_create(&mThread, nullptr, startThread, start.get());
    }
    if (error != 0)
        throw std::system_error(error, std::generic_category(), "cannot start a thread");
    start.release(); // the thread's own now
}

SpreadThread::~SpreadThread()
{
    join();
}

void SpreadThread::join()
{
    if (!mJoined)
        pthread_join(mThread, nullptr);
    mJoined = true;
}

} // namespace zsl::log
