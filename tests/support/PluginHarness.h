#pragma once
/*
 * PluginHarness: the plug-in as the host sees it, loaded afresh with dlopen
 * after the given system properties are set (the four the selector reads are
 * cleared first), with one selector made through createZSLSelector.
 */

#include <PluginLoader.h>

#include <initializer_list>
#include <map>
#include <memory>
#include <string>

namespace kotest {

using Properties = std::map<std::string, std::string>;

class PluginHarness {
public:
    explicit PluginHarness(const Properties &properties = {});
    PluginHarness(std::initializer_list<Properties::value_type> properties)
        : PluginHarness(Properties(properties))
    {
    }
    PluginHarness(const PluginHarness &) = delete;
    PluginHarness &operator=(const PluginHarness &) = delete;
    ~PluginHarness();

    kohal::ZSLSelectorBase &selector() { return *mSelector; }
    kohost::PluginLoader &loader() { return mLoader; }

private:
    kohost::PluginLoader mLoader; // declared first: outlives the selector
    std::shared_ptr<kohal::ZSLSelectorBase> mSelector;
};

void setProperties(const Properties &properties);

} // namespace kotest
