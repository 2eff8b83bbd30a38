#pragma once
/*
 * ReadAhead: one input read on a thread of its own while the calling thread
 * rebuilds its captures, so that reading (bytes, lines, formats) and
 * rebuilding take turns on two cores instead of one. Lines and problems
 * come back on the calling thread in the input's order, in batches, each
 * with what the input had told of its origin when it was read; at most a
 * few batches wait, so memory stays bounded. An error of the reading is
 * thrown on the calling thread, as readLogInput throws it.
 */

#include "log/LogInput.h"

#include <LogRecorder.h>

#include <cstdint>
#include <functional>
#include <string>

namespace zsl::log {

void readLogInputAhead(const std::string &path, const std::string &name,
                       const std::function<void(kohost::LogLine &&, uint64_t)> &line,
                       const std::function<void(const std::string &)> &problem, LogOrigin &origin);

} // namespace zsl::log
