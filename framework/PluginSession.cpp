// One loaded plug-in with its properties and one selector, torn down in the
// reverse order.

#include "PluginSession.h"

namespace kohost {

PluginSession::PluginSession(const PropertyList &properties, const std::string &path) : mPath(path)
{
    setSelectorProperties(properties);
    load();
    mSelector = mLoader.createSelector();
}

void PluginSession::load()
{
    mLoadedWith = loadTimeProperties();
    if (!mLoader.load(mPath)) {
        setSelectorProperties({});
        throw PluginLoadError("cannot load the plug-in " + mPath + ": " + mLoader.error());
    }
}

void PluginSession::renew(const PropertyList &properties)
{
    mSelector.reset();
    setSelectorProperties(properties);
    if (loadTimeProperties() != mLoadedWith) {
        mLoader.unload(); // its static initialiser must run again
        load();
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
