#pragma once
/*
 * The logging procedure every selector line goes through.
 *
 * A line is written twice when both gates are open: to the Android log under
 * the tag "KoAlgoEngine" behind a "group file:line function()" prefix, and to
 * the host's system log. Both gates read the kodebug globals afresh for every
 * line, and a closed gate evaluates none of the line's arguments, so a quiet
 * selector does no formatting work at all. The host may change the globals
 * at any time from any thread: they are read with relaxed atomic loads (the
 * same instruction as a plain read on arm64 and x86-64, and no data race).
 */

#include <android/log.h>
#include <kodebug/Log.h>

#include <cstdint>

namespace kohal {

constexpr uint32_t kZSLLogGroup = 0x40;

} // namespace kohal

#define ZSL_LOG_TAG "KoAlgoEngine"
#define ZSL_LOG_GATE(global) __atomic_load_n(&kodebug::global, __ATOMIC_RELAXED)

#define ZSL_LOG_LINE(prio, letter, fmt, ...)                                                       \
    do {                                                                                           \
        if (ZSL_LOG_GATE(gKoCamLogLevel) <= static_cast<uint32_t>(prio) &&                         \
            (ZSL_LOG_GATE(gKoCamLogGroup) & kohal::kZSLLogGroup) != 0) {                           \
            __android_log_print(prio, ZSL_LOG_TAG, "%s %s:%d %s()" fmt,                            \
                                kodebug::Log::koaGroupToString(kohal::kZSLLogGroup),               \
                                kodebug::Log::getFileName(__FILE__), __LINE__, __func__,           \
                                ##__VA_ARGS__);                                                    \
        }                                                                                          \
        if ((ZSL_LOG_GATE(gKoCamLogGroup) & kohal::kZSLLogGroup) != 0 &&                           \
            ZSL_LOG_GATE(gKoCamDebugMask) != 0) {                                                  \
            kodebug::Log::logSystem(kohal::kZSLLogGroup, letter,                                   \
                                    kodebug::Log::getFileName(__FILE__), __func__, __LINE__, fmt,  \
                                    ##__VA_ARGS__);                                                \
        }                                                                                          \
    } while (0)

#define ZSL_LOGD(fmt, ...) ZSL_LOG_LINE(ANDROID_LOG_DEBUG, "D", fmt, ##__VA_ARGS__)
#define ZSL_LOGI(fmt, ...) ZSL_LOG_LINE(ANDROID_LOG_INFO, "I", fmt, ##__VA_ARGS__)
