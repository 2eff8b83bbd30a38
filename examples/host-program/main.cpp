// Loads the installed plug-in with dlopen, finds createZSLSelector by name and
// asks the selector whether a capture without metadata needs ZSL (it must
// answer the neutral "no").
#include <KoMetadata.h>
#include <ZSLSelectorBase.h>

#include <dlfcn.h>

#include <cstdio>
#include <memory>

int main()
{
    void *plugin = dlopen(ZSL_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    if (!plugin) {
        std::fprintf(stderr, "zsl-host: %s\n", dlerror());
        return 2;
    }
    auto create = reinterpret_cast<kohal::CreateZSLSelectorFn>(dlsym(plugin, kohal::kCreateZSLSelectorSymbol));
    if (!create) {
        std::fprintf(stderr, "zsl-host: %s has no %s\n", ZSL_PLUGIN, kohal::kCreateZSLSelectorSymbol);
        return 2;
    }
    int status = 2;
    {
        kohal::ZSLSelectorList selectors;
        create(selectors);
        if (!selectors.empty() && selectors.back()) {
            kohal::ZSLFrameSelectInfo capture;
            capture.fwkFrameNum = 1;
            capture.requestMetas.push_back(std::make_shared<KoMetadata>());
            const bool needed = selectors.back()->isSelectorNeeded(capture);
            std::printf("selector loaded from %s; ZSL needed for an empty request: %s\n", ZSL_PLUGIN,
                        needed ? "yes" : "no");
            status = needed ? 1 : 0;
        }
    }
    dlclose(plugin);
    return status;
}
