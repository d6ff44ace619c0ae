// The plug-in module as the host sees it: one exported symbol, nothing else.

#include "HostSession.h"
#include "TestSupport.h"

#include <cstdio>
#include <dlfcn.h>
#include <set>

namespace
{
std::set<std::string> definedDynamicSymbols(const std::string& module)
{
    std::set<std::string> names;
    std::string command = "nm -D --defined-only '" + module + "' 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return names;
    char line[1024];
    while (fgets(line, sizeof(line), pipe))
    {
        char address[64], type[8], name[900];
        if (sscanf(line, "%63s %7s %899s", address, type, name) == 3) names.insert(name);
    }
    pclose(pipe);
    return names;
}
} // namespace

TEST(PluginModule, ExportsTheEntryPointAndNothingElse)
{
    ASSERT_TRUE(std::filesystem::exists(TIV_PLUGIN_MODULE)) << TIV_PLUGIN_MODULE;
    std::set<std::string> symbols = definedDynamicSymbols(TIV_PLUGIN_MODULE);
    if (symbols.empty()) GTEST_SKIP() << "nm is not available";
    EXPECT_EQ(symbols, std::set<std::string>{"AutoPluginMain"});
}

TEST(PluginModule, LoadsAndIgnoresOtherCallers)
{
    void* module = dlopen(TIV_PLUGIN_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    typedef SPErr (*Entry)(const char*, const char*, void*);
    Entry entry = reinterpret_cast<Entry>(dlsym(module, "AutoPluginMain"));
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(dlsym(module, "DoIt"), nullptr);
    EXPECT_EQ(dlsym(module, "sSPBasic"), nullptr);

    {
        HostSession editor{HostDocument()};
        PSActionsPlugInMessage message = {{kSPCheck, nullptr, nullptr, editor.basicSuite()},
                                          nullptr};
        EXPECT_EQ(entry("Adobe Illustrator", "Do It", &message), kSPNoError);
        EXPECT_EQ(entry("PS Photoshop", "Reload", &message), kSPNoError);
        EXPECT_TRUE(editor.acquisitions().empty());
        // Nothing acquired, so unloading has nothing to release.
        dlclose(module);
        EXPECT_TRUE(editor.heldSuites().empty());
    }
}
