#pragma once
/*
 * PluginHarness: the plug-in as the host sees it, loaded afresh with dlopen
 * after the given system properties are set (the four the selector reads are
 * cleared first), with one selector made through createZSLSelector.
 */

#include <PluginLoader.h>

#include <map>
#include <memory>
#include <string>

namespace kotest {

using Properties = std::map<std::string, std::string>;

class PluginHarness {
public:
    explicit PluginHarness(const Properties &properties = {});
    ~PluginHarness();

    kohal::ZSLSelectorBase &selector() { return *mSelector; }
    kohost::PluginLoader &loader() { return mLoader; }

private:
    kohost::PluginLoader mLoader; // declared first: outlives the selector
    std::shared_ptr<kohal::ZSLSelectorBase> mSelector;
};

void setProperties(const Properties &properties);

} // namespace kotest
