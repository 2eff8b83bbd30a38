// Loading the plug-in with dlopen and finding its factory by name, as the
// camera framework does.

#include "PluginLoader.h"

#include <dlfcn.h>

namespace kohost {

PluginLoader::~PluginLoader()
{
    unload();
}

bool PluginLoader::load(const std::string &path)
{
    unload();
    mHandle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!mHandle) {
        const char *reason = dlerror();
        mError = reason ? reason : "dlopen failed";
        return false;
    }
    dlerror();
    void *symbol = dlsym(mHandle, kohal::kCreateZSLSelectorSymbol);
    if (!symbol) {
        const char *reason = dlerror();
        mError = reason ? reason : "createZSLSelector not found";
        unload();
        return false;
    }
    mCreate = reinterpret_cast<kohal::CreateZSLSelectorFn>(symbol);
    mError.clear();
    return true;
}

void PluginLoader::unload()
{
    mCreate = nullptr;
    if (mHandle)
        dlclose(mHandle);
    mHandle = nullptr;
}

std::shared_ptr<kohal::ZSLSelectorBase> PluginLoader::createSelector() const
{
    kohal::ZSLSelectorList selectors;
    mCreate(selectors);
    return selectors.empty() ? nullptr : selectors.back();
}

std::string defaultPluginPath()
{
    return ZSL_PLUGIN_PATH;
}

} // namespace kohost
