#pragma once
/*
 * kodebug: the host's logging facility. The three globals are the host's
 * current log level, enabled log-group mask and debug mask; selectors read
 * them for every line and never write them. Log::logSystem hands one
 * formatted line to the host's system log.
 */

#include <cstdint>

namespace kodebug {

extern uint32_t gKoCamLogLevel;
extern uint32_t gKoCamLogGroup;
extern uint32_t gKoCamDebugMask;

class Log {
public:
    static const char *koaGroupToString(uint32_t group);
    static const char *getFileName(const char *path);
    static void logSystem(uint32_t group, const char *level, const char *fileName,
                          const char *func, int line, const char *fmt, ...)
        __attribute__((format(printf, 6, 7)));
};

} // namespace kodebug
