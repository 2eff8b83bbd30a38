#pragma once
/*
 * TraceFile: a Perfetto trace read as the stream of packets it is, one
 * packet at a time, so that a device's trace of any size costs a packet's
 * memory. It also tells a trace from other files by its first bytes, and
 * writes packets in the same framing. A trace cut short or damaged ends the
 * reading with an outcome::Error that says where.
 */

#include "perfetto/perfetto_trace.pb.h"

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>

namespace zsl::perfetto {

// Bytes from wherever the trace is (a file, a zip entry, standard input):
// the count read, 0 at the end, -1 on an error of the source.
using TraceBytes = std::function<long(char *buffer, size_t size)>;

// A byte no text log holds: NUL and the control characters other than tab,
// line ends, form feed and the escape of a coloured log.
bool binaryByte(char c);

// Whether a file's first bytes are a Perfetto trace's: whole packets (or a
// packet cut only by the end of `head`), the first with a field a packet
// has, and bytes that no text holds.
bool looksLikeTrace(std::string_view head);

// Hands each packet of the trace to `packet` in the file's order. `what`
// names the trace in errors.
void forEachPacket(const TraceBytes &read, const std::string &what,
                   const std::function<void(const ::perfetto::protos::TracePacket &)> &packet);

// Appends one packet to a trace being written.
void writePacket(std::ostream &out, const ::perfetto::protos::TracePacket &packet);

} // namespace zsl::perfetto
