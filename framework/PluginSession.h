#pragma once
/*
 * PluginSession: the plug-in as the camera framework runs it. The selector's
 * system properties are set (the four it reads cleared first), the library
 * is loaded afresh with dlopen, so that its load-time switch is read again,
 * and one selector is made through createZSLSelector. Destroying the session
 * drops the selector, unloads the library and clears the properties.
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

    kohal::ZSLSelectorBase &selector() { return *mSelector; }
    PluginLoader &loader() { return mLoader; }

private:
    PluginLoader mLoader; // declared first: outlives the selector
    std::shared_ptr<kohal::ZSLSelectorBase> mSelector;
};

} // namespace kohost
