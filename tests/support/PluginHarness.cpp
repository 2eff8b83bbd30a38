#include "PluginHarness.h"

#include <android-base/properties.h>

#include <stdexcept>

namespace kotest {

namespace {
const char *const kSelectorProperties[] = {
    "persist.vendor.kohal.selector.pending.mask",
    "ro.vendor.camera3.zsl.default",
    "ro.vendor.camera3.zsl.project",
    "vendor.debug.camera3.zsl.timestamp",
};
}

void setProperties(const Properties &properties)
{
    for (const char *key : kSelectorProperties)
        android::base::SetProperty(key, "");
    for (const auto &property : properties)
        android::base::SetProperty(property.first, property.second);
}

PluginHarness::PluginHarness(const Properties &properties)
{
    setProperties(properties);
    if (!mLoader.load(kohost::defaultPluginPath()))
        throw std::runtime_error("cannot load the plug-in: " + mLoader.error());
    mSelector = mLoader.createSelector();
}

PluginHarness::~PluginHarness()
{
    mSelector.reset();
    setProperties({});
}

} // namespace kotest
