// One loaded plug-in with its properties and one selector, torn down in the
// reverse order.

#include "PluginSession.h"

namespace kohost {

PluginSession::PluginSession(const PropertyList &properties, const std::string &path)
{
    setSelectorProperties(properties);
    if (!mLoader.load(path)) {
        setSelectorProperties({});
        throw PluginLoadError("cannot load the plug-in " + path + ": " + mLoader.error());
    }
    mSelector = mLoader.createSelector();
}

PluginSession::~PluginSession()
{
    mSelector.reset();
    mLoader.unload();
    setSelectorProperties({});
}

} // namespace kohost
