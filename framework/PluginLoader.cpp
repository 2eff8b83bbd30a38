// Loading the plug-in with dlopen and finding its factory by name, as the
// camera framework does.

#include "PluginLoader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>

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

std::string pluginNearProgram(const std::string &fromProgramDir)
{
    static constexpr const char *kPluginName = "com.korvan.zsl.default.so";
    char self[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
    const std::string program(self, length > 0 ? static_cast<size_t>(length) : 0);
    const std::string dir = program.substr(0, program.rfind('/') + 1);
    const std::string beside = dir + kPluginName;
    return access(beside.c_str(), F_OK) == 0 ? beside : dir + fromProgramDir;
}

} // namespace kohost
