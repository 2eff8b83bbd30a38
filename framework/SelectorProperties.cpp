// The four properties the selector reads, cleared and set in the host's
// property store before a load.

#include "SelectorProperties.h"

#include <android-base/properties.h>

namespace kohost {

namespace {

const char kPendingSwitch[] = "persist.vendor.kohal.selector.pending.mask";

} // namespace

void setSelectorProperties(const PropertyList &properties)
{
    static const char *const kSelectorProperties[] = {
        kPendingSwitch,
        "ro.vendor.camera3.zsl.default",
        "ro.vendor.camera3.zsl.project",
        "vendor.debug.camera3.zsl.timestamp",
    };
    for (const char *key : kSelectorProperties)
        android::base::SetProperty(key, "");
    for (const auto &property : properties)
        android::base::SetProperty(property.first, property.second);
}

std::string loadTimeProperties()
{
    return android::base::GetProperty(kPendingSwitch, "");
}

} // namespace kohost
