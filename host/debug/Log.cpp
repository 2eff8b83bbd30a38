// libcom.korvan.debug for Linux: the log gates, the group names and the
// system log, which goes to a receiver or to standard error.

#include <kodebug/Log.h>
#include <kodebug/SystemLogSink.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>

namespace kodebug {

// Quiet until the host opens a gate: info level, no group, no system log.
uint32_t gKoCamLogLevel = 4; // Android priority INFO
uint32_t gKoCamLogGroup = 0;
uint32_t gKoCamDebugMask = 0;

namespace {

std::mutex gSinkLock;
SystemLogReceiver gReceiver;
std::atomic<bool> gReceiving{false}; // a receiver is installed: lines take the lock

} // namespace

const char *Log::koaGroupToString(uint32_t group)
{
    switch (group) {
    case 0x40:
        return "ZSL";
    default:
        return "UNKNOWN";
    }
}

const char *Log::getFileName(const char *path)
{
    if (!path)
        return "";
    const char *slash = std::strrchr(path, '/');
    return slash ? slash + 1 : path;
}

// One formatting pass into a buffer on the stack; only a line longer than it
// is formatted again, into the heap. Without a receiver the line goes to
// standard error with no lock and no allocation of ours.
void Log::logSystem(uint32_t group, const char *level, const char *fileName, const char *func,
                    int line, const char *fmt, ...)
{
    char buffer[512];
    va_list args;
    va_start(args, fmt);
    const int length = std::vsnprintf(buffer, sizeof(buffer), fmt, args);
    va_end(args);
    std::string longText;
    if (length >= static_cast<int>(sizeof(buffer))) {
        longText.resize(static_cast<size_t>(length));
        va_start(args, fmt);
        std::vsnprintf(longText.data(), longText.size() + 1, fmt, args);
        va_end(args);
    }
    const char *text = length < 0 ? "" : longText.empty() ? buffer : longText.c_str();
    level = level ? level : "";
    fileName = fileName ? fileName : "";
    func = func ? func : "";

    if (gReceiving.load(std::memory_order_acquire)) {
        const SystemLogRecord record{group, level, fileName, func, line, text};
        std::lock_guard<std::mutex> guard(gSinkLock);
        if (gReceiver) {
            gReceiver(record);
            return;
        }
    }
    std::fprintf(stderr, "[%s] %s %s:%d %s() %s\n", koaGroupToString(group), level, fileName, line, func, text);
}

SystemLogReceiver setSystemLogReceiver(SystemLogReceiver receiver)
{
    std::lock_guard<std::mutex> guard(gSinkLock);
    std::swap(gReceiver, receiver);
    gReceiving.store(static_cast<bool>(gReceiver), std::memory_order_release);
    return receiver;
}

} // namespace kodebug
