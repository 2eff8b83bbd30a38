// Fuzzes the Perfetto trace reader: any bytes as a device's trace (the seeds
// are traces protoc made from text form, and one of ours), read packet by
// packet into the plug-in's lines, which are rebuilt into captures and
// written as our own trace; that trace must read back packet by packet.
// A damaged trace may only end in outcome::Error.

#include "log/LogImporter.h"
#include "log/PerfettoLog.h"
#include "outcome/Error.h"
#include "output/PerfettoProto.h"
#include "perfetto/TraceFile.h"

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

namespace {

zsl::perfetto::TraceBytes bytesOf(const std::string &data)
{
    return [&data, at = size_t(0)](char *buffer, size_t size) mutable -> long {
        const size_t n = std::min(size, data.size() - at);
        std::memcpy(buffer, data.data() + at, n);
        at += n;
        return static_cast<long>(n);
    };
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    zsl::perfetto::looksLikeTrace(bytes);
    zsl::log::LogImporter importer("fuzz.pftrace");
    try {
        zsl::log::readPerfettoLog(bytesOf(bytes), "fuzz.pftrace",
                             [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); });
    } catch (const zsl::outcome::Error &) {
        return 0;
    }
    std::ostringstream ours;
    zsl::output::writePerfettoProto({importer.finish()}, ours);
    const std::string written = ours.str();
    try {
        zsl::perfetto::forEachPacket(bytesOf(written), "ours", [](const ::perfetto::protos::TracePacket &) {});
    } catch (const zsl::outcome::Error &error) {
        std::fprintf(stderr, "our trace does not read back: %s\n", error.what());
        std::abort();
    }
    return 0;
}
