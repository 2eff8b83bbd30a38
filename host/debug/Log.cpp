// libcom.korvan.debug for Linux: the log gates, the group names and the
// system log, which goes to a receiver or to standard error.

#include <kodebug/Log.h>
#include <kodebug/SystemLogSink.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

namespace kodebug {

// Quiet until the host opens a gate: info level, no group, no system log.
uint32_t gKoCamLogLevel = 4; // Android priority INFO
uint32_t gKoCamLogGroup = 0;
uint32_t gKoCamDebugMask = 0;

namespace {

std::mutex gSinkLock;
SystemLogReceiver gReceiver;

std::string format(const char *fmt, va_list args)
{
    va_list measure;
    va_copy(measure, args);
    int length = std::vsnprintf(nullptr, 0, fmt, measure);
    va_end(measure);
    if (length <= 0)
        return {};
    std::vector<char> text(static_cast<size_t>(length) + 1);
    std::vsnprintf(text.data(), text.size(), fmt, args);
    return std::string(text.data(), static_cast<size_t>(length));
}

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

void Log::logSystem(uint32_t group, const char *level, const char *fileName, const char *func,
                    int line, const char *fmt, ...)
{
    SystemLogRecord record;
    record.group = group;
    record.level = level ? level : "";
    record.fileName = fileName ? fileName : "";
    record.function = func ? func : "";
    record.line = line;
    va_list args;
    va_start(args, fmt);
    record.text = format(fmt, args);
    va_end(args);

    std::lock_guard<std::mutex> guard(gSinkLock);
    if (gReceiver) {
        gReceiver(record);
        return;
    }
    std::fprintf(stderr, "[%s] %s %s:%d %s() %s\n", koaGroupToString(group), record.level.c_str(),
                 record.fileName.c_str(), line, record.function.c_str(), record.text.c_str());
}

SystemLogReceiver setSystemLogReceiver(SystemLogReceiver receiver)
{
    std::lock_guard<std::mutex> guard(gSinkLock);
    std::swap(gReceiver, receiver);
    return receiver;
}

} // namespace kodebug
