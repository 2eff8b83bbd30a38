// A side's captures, per device.

#include "compare/Side.h"

namespace zsl::compare {

void Side::add(const output::CaptureRow &row)
{
    mInputs.insert(row.input);
    mDevices[mPooled ? kAllDevices : row.device.empty() ? kNoDevice : row.device].add(row);
}

size_t Side::captures() const
{
    size_t count = 0;
    for (const auto &[device, sample] : mDevices)
        count += sample.captures();
    return count;
}

} // namespace zsl::compare
