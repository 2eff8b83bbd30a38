#pragma once
/*
 * LogInput: whatever an engineer hands over, read as one log: a logcat file,
 * a bug report's text, the zip `adb bugreport` writes (read in place with
 * libzip: its main entry, and logd's persistent logs under
 * FS/data/misc/logd/), and gzip files anywhere among them (zlib), told
 * apart by their first bytes. In a bug report only the log sections count
 * (SYSTEM LOG, both of dumpstate's copies, and LAST LOGCAT); a plug-in line
 * that several copies hold is handed over once (CopyFilter). Compressed data that
 * expands far beyond its size (a zip bomb) or is damaged ends the reading
 * with an error; memory stays bounded by a block and a line.
 */

#include "outcome/Error.h"

#include <LogRecorder.h>

#include <csignal>
#include <cstdint>
#include <functional>
#include <string>

namespace zsl::log {

// What a bug report says of where and when it was taken (empty for a log).
struct LogOrigin {
    std::string fingerprint; // "Build fingerprint"
    std::string reportTime;  // dumpstate's "YYYY-MM-DD HH:MM:SS"
};

// A log read as it is written (a pipe from adb logcat): lines are handed
// over as soon as they arrive; `idle` is called whenever no byte has come
// for a second, and reading ends as at the end of input once `*stop` is set.
struct LiveReading {
    std::function<void()> idle;
    const volatile std::sig_atomic_t *stop = nullptr;
};

// A file that is no log at all (binary data of another kind): an error
// when named, passed over in a folder.
class NotALog : public outcome::Error {
public:
    using outcome::Error::Error;
};

// Reads path ("-": standard input; a zip there is kept in a temporary file)
// and hands each plug-in line with its line number (in the entry that holds
// it) to `line`, each problem of the log to `problem`; messages call the
// input `name`. Throws outcome::Error when the input cannot be read,
// NotALog when it is no log.
void readLogInput(const std::string &path, const std::string &name,
                  const std::function<void(kohost::LogLine &&, uint64_t)> &line,
                  const std::function<void(const std::string &)> &problem, LogOrigin &origin,
                  const LiveReading *live = nullptr);

} // namespace zsl::log
