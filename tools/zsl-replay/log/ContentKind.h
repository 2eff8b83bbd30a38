#pragma once
/*
 * ContentKind: what an input holds, told by its first bytes (gzip, a zip,
 * binary data, or text) or, in a zip, by an entry's name (a Perfetto trace,
 * logd's persistent logs), and the reading of those first bytes.
 */

#include "log/LineSplitter.h"

#include <string>
#include <string_view>

namespace zsl::log {

// The first bytes that tell a file's content: a container's magic number, a
// Perfetto trace's first packet, or text.
constexpr size_t kHeadBytes = 4096;
// Where logd's persistent logs lie in a bug report's zip.
constexpr std::string_view kPersistentLogs = "FS/data/misc/logd/";

bool isGzip(std::string_view head);
bool isZip(std::string_view head);
// A binary file's first bytes: a NUL (logcat ends a message at one), or
// many of the other bytes no text holds.
bool isBinary(std::string_view head);
// A zip entry that may be a Perfetto trace, by the names the device and
// its tools give them.
bool traceEntryName(std::string_view name);
// A zip entry that is one of logd's persistent logs (logcat, logcat.NNN).
bool persistentLogName(std::string_view name);
// The first `size` bytes of a stream, or all it has: a pipe may hand them
// over one by one. Throws outcome::Error when the stream fails.
std::string readHead(const ByteReader &in, size_t size, const std::string &what);

} // namespace zsl::log
