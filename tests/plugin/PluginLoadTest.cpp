#include <PluginSession.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

namespace {

TEST(PluginLoad, HostFindsTheFactoryByNameAfterDlopen)
{
    void *handle = dlopen(kohost::defaultPluginPath().c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << dlerror();
    auto create = reinterpret_cast<kohal::CreateZSLSelectorFn>(dlsym(handle, "createZSLSelector"));
    ASSERT_NE(create, nullptr);
    {
        kohal::ZSLSelectorList selectors;
        create(selectors);
        ASSERT_EQ(selectors.size(), 1u);
        ASSERT_NE(selectors[0], nullptr);
        EXPECT_EQ(selectors[0].use_count(), 1); // the plug-in keeps no reference
    }
    // Nothing else of the plug-in is reachable by name.
    EXPECT_EQ(dlsym(handle, "_ZN18ZSLSelectorDefaultC1Ev"), nullptr);
    dlclose(handle);
}

TEST(PluginLoad, FactoryAppendsWithoutTouchingEarlierSelectors)
{
    kohost::PluginSession plugin;
    kohal::ZSLSelectorList selectors;
    plugin.loader().createSelector(selectors);
    plugin.loader().createSelector(selectors);
    auto first = selectors[0];
    auto second = selectors[1];

    plugin.loader().createSelector(selectors);
    ASSERT_EQ(selectors.size(), 3u);
    EXPECT_EQ(selectors[0], first);
    EXPECT_EQ(selectors[1], second);
    EXPECT_NE(selectors[2], nullptr);
    EXPECT_NE(selectors[2], first);
    EXPECT_NE(selectors[2], second);
}

TEST(PluginLoad, MissingLibraryOrSymbolIsReportedWithTheLoadersReason)
{
    kohost::PluginLoader loader;
    EXPECT_FALSE(loader.load("/nonexistent/com.korvan.zsl.default.so"));
    EXPECT_NE(loader.error().find("/nonexistent/com.korvan.zsl.default.so"), std::string::npos);

    // A real library without the factory.
    EXPECT_FALSE(loader.load("libm.so.6"));
    EXPECT_NE(loader.error().find("createZSLSelector"), std::string::npos);
    EXPECT_FALSE(loader.loaded());
}

} // namespace
