// zsl-demo: loads the plug-in as the camera framework does and asks the
// selector whether ZSL applies to one capture request, with its log lines
// shown on standard error.

#include <PluginLoader.h>

#include <KoMetadata.h>
#include <kodebug/Log.h>

#include <android/log.h>

#include <cstdio>

int main(int argc, char **argv)
{
    std::string path = argc > 1 ? argv[1] : kohost::defaultPluginPath();
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    kodebug::gKoCamLogLevel = ANDROID_LOG_DEBUG;
    kodebug::gKoCamLogGroup = 0x40;
    kodebug::gKoCamDebugMask = 1;

    kohost::PluginLoader plugin;
    if (!plugin.load(path)) {
        std::fprintf(stderr, "zsl-demo: cannot load %s: %s\n", path.c_str(), plugin.error().c_str());
        return 2;
    }
    {
        std::shared_ptr<kohal::ZSLSelectorBase> selector = plugin.createSelector();

        auto request = std::make_shared<KoMetadata>();
        request->update<uint8_t>(0x10029, {1}); // android.control.enableZsl
        kohal::ZSLFrameSelectInfo info;
        info.fwkFrameNum = 100;
        info.requestMetas.push_back(request);
        bool needed = selector->isSelectorNeeded(info);
        std::printf("isSelectorNeeded(enableZsl=1) = %s\n", needed ? "true" : "false");
    }
    return 0;
}
