#pragma once
/*
 * The logging procedure every selector line goes through.
 *
 * A line is written twice when both gates are open: to the Android log under
 * the tag "KoAlgoEngine" behind a "group file:line function()" prefix, and to
 * the host's system log. Both gates read the kodebug globals afresh for every
 * line, and a closed gate evaluates none of the line's arguments, so a quiet
 * selector does no formatting work at all.
 */

#include <android/log.h>
#include <kodebug/Log.h>

#include <cstdint>

namespace kohal {

constexpr uint32_t kZSLLogGroup = 0x40;

} // namespace kohal

#define ZSL_LOG_TAG "KoAlgoEngine"

#define ZSL_LOG_LINE(prio, letter, fmt, ...)                                                       \
    do {                                                                                           \
        if (kodebug::gKoCamLogLevel <= static_cast<uint32_t>(prio) &&                              \
            (kodebug::gKoCamLogGroup & kohal::kZSLLogGroup) != 0) {                                \
            __android_log_print(prio, ZSL_LOG_TAG, "%s %s:%d %s()" fmt,                            \
                                kodebug::Log::koaGroupToString(kohal::kZSLLogGroup),               \
                                kodebug::Log::getFileName(__FILE__), __LINE__, __func__,           \
                                ##__VA_ARGS__);                                                    \
        }                                                                                          \
        if ((kodebug::gKoCamLogGroup & kohal::kZSLLogGroup) != 0 &&                                \
            kodebug::gKoCamDebugMask != 0) {                                                       \
            kodebug::Log::logSystem(kohal::kZSLLogGroup, letter,                                   \
                                    kodebug::Log::getFileName(__FILE__), __func__, __LINE__, fmt,  \
                                    ##__VA_ARGS__);                                                \
        }                                                                                          \
    } while (0)

#define ZSL_LOGD(fmt, ...) ZSL_LOG_LINE(ANDROID_LOG_DEBUG, "D", fmt, ##__VA_ARGS__)
#define ZSL_LOGI(fmt, ...) ZSL_LOG_LINE(ANDROID_LOG_INFO, "I", fmt, ##__VA_ARGS__)
