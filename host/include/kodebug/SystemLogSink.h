#pragma once
/*
 * Host-side receiver of the system log. By default every line goes to
 * standard error; a host program or a test may install a receiver that gets
 * each line as a record instead. Selectors never include this header.
 */

#include <cstdint>
#include <functional>
#include <string>

namespace kodebug {

struct SystemLogRecord {
    uint32_t group = 0;
    std::string level; // "D" or "I"
    std::string fileName;
    std::string function;
    int line = 0;
    std::string text;
};

using SystemLogReceiver = std::function<void(const SystemLogRecord &)>;

// Installs receiver (an empty one restores standard error) and answers the
// one it replaces.
SystemLogReceiver setSystemLogReceiver(SystemLogReceiver receiver);

} // namespace kodebug
