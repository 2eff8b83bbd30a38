#pragma once
/*
 * PluginSession: the plug-in as the camera framework runs it. The selector's
 * system properties are set (the four it reads cleared first), the library
 * is loaded afresh with dlopen, so that its load-time switch is read again,
 * and one selector is made through createZSLSelector. Destroying the session
 * drops the selector, unloads the library and clears the properties.
 * renew() readies the next selector as a new session would, without loading
 * the library again where its load-time switch would read the same.
 */

#include "PluginLoader.h"
#include "SelectorProperties.h"

#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>

namespace kohost {

class PluginLoadError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class PluginSession {
public:
    // Throws PluginLoadError naming the path and the loader's reason.
    explicit PluginSession(const PropertyList &properties = {}, const std::string &path = defaultPluginPath());
    PluginSession(std::initializer_list<PropertyList::value_type> properties)
        : PluginSession(PropertyList(properties))
    {
    }
    ~PluginSession();
    PluginSession(const PluginSession &) = delete;
    PluginSession &operator=(const PluginSession &) = delete;

    // Drops the selector and makes a new one with `properties` set, as a new
    // session would: the library is loaded again only when the property it
    // reads at load now reads otherwise. Throws PluginLoadError.
    void renew(const PropertyList &properties);

    kohal::ZSLSelectorBase &selector() { return *mSelector; }
    PluginLoader &loader() { return mLoader; }

private:
    void load();

    PluginLoader mLoader; // declared first: outlives the selector
    std::string mPath;
    std::string mLoadedWith; // the load-time properties the library read
    std::shared_ptr<kohal::ZSLSelectorBase> mSelector;
};

} // namespace kohost
