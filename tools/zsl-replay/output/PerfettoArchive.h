#pragma once
/*
 * PerfettoArchive: our trace and the device's traces of the same capture
 * as one archive that Perfetto's viewer and trace processor open as one
 * trace: a zip holding the device's trace files byte for byte, ours, and a
 * manifest that puts them all on one machine, whose boot-time clock is the
 * timeline, so that our captures line up with the device's own slices.
 */

#include <ostream>
#include <string>
#include <vector>

namespace zsl::output {

class PerfettoArchive {
public:
    // Throws outcome::Error when a device trace cannot be read or is no
    // Perfetto trace: found before any input is read.
    explicit PerfettoArchive(std::vector<std::string> deviceTraces);
    // Writes the archive with `ours` (a protobuf trace) beside the device's.
    // Throws outcome::Error when the zip cannot be made.
    void write(const std::string &ours, std::ostream &out) const;

    static constexpr const char *kOursName = "zsl.pftrace";
    static constexpr const char *kManifestName = "perfetto_manifest.json";

private:
    std::vector<std::string> mDeviceTraces;
};

} // namespace zsl::output
