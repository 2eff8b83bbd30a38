#include "PluginHarness.h"

#include <SelectorProperties.h>

#include <stdexcept>

namespace kotest {

void setProperties(const Properties &properties)
{
    kohost::setSelectorProperties(kohost::PropertyList(properties.begin(), properties.end()));
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
