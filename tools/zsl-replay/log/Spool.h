#pragma once
/*
 * Spool: a stream kept in a temporary file of its own, for what must be read
 * by seeking (a zip, read by its directory at its end) when it arrives on
 * standard input.
 */

#include "log/LineSplitter.h"

#include <string>

namespace zsl::log {

// `head` and the rest of `in` in a file of their own, gone when closed (in
// TMPDIR, else /tmp): its descriptor, at the start. Throws outcome::Error
// when it cannot be written.
int spooled(const std::string &head, const ByteReader &in, const std::string &what);

} // namespace zsl::log
