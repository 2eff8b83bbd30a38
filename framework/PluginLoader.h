#pragma once
/*
 * PluginLoader: loads a selector plug-in as the camera framework does, with
 * dlopen, and finds createZSLSelector by name. The library is unloaded when
 * the loader is destroyed, so every selector it made must be dropped first.
 */

#include <ZSLSelectorBase.h>

#include <memory>
#include <string>

namespace kohost {

class PluginLoader {
public:
    PluginLoader() = default;
    ~PluginLoader();
    PluginLoader(const PluginLoader &) = delete;
    PluginLoader &operator=(const PluginLoader &) = delete;

    // Answers false and keeps dlerror's reason in error() on failure.
    bool load(const std::string &path);
    void unload();

    bool loaded() const { return mCreate != nullptr; }
    const std::string &error() const { return mError; }

    // Appends one new selector to selectors; the library must be loaded.
    void createSelector(kohal::ZSLSelectorList &selectors) const { mCreate(selectors); }
    std::shared_ptr<kohal::ZSLSelectorBase> createSelector() const;

private:
    void *mHandle = nullptr;
    kohal::CreateZSLSelectorFn mCreate = nullptr;
    std::string mError;
};

// The plug-in this build made, for tests and benchmarks in the build tree.
std::string defaultPluginPath();

// The plug-in a host program finds from its own place: beside the program
// (a build tree), else at fromProgramDir, relative to the program's folder (an
// installed tree). Never the build folder's absolute path, so that a copied or
// installed program does not depend on it.
std::string pluginNearProgram(const std::string &fromProgramDir);

} // namespace kohost
