// The plug-in bundle's executable as the host sees it: one exported symbol,
// nothing else.

#include "HostSession.h"
#include "TestSupport.h"

#include <dlfcn.h>

TEST(PluginModule, ExportsOnlyTheEntryPointWhichIgnoresOtherCallers)
{
    CommandRun nm = runCommand("nm -D --defined-only '" TIV_PLUGIN_MODULE "' | awk '{print $3}'");
    // Nothing comes out where nm is missing; then only the entry point is looked for.
    EXPECT_TRUE(nm.out.empty() || nm.out == "AutoPluginMain\n") << nm.out;

    void* module = dlopen(TIV_PLUGIN_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    typedef SPErr (*Entry)(const char*, const char*, void*);
    Entry entry = reinterpret_cast<Entry>(dlsym(module, "AutoPluginMain"));
    ASSERT_NE(entry, nullptr);
    HostSession editor{HostDocument()};
    PSActionsPlugInMessage message = {{kSPCheck, nullptr, nullptr, editor.basicSuite()}, nullptr};
    EXPECT_EQ(entry("Adobe Illustrator", "Do It", &message), kSPNoError);
    EXPECT_EQ(entry("PS Photoshop", "Reload", &message), kSPNoError);
    EXPECT_TRUE(editor.acquisitions().empty());
    // Nothing acquired, so unloading has nothing to release.
    dlclose(module);
    EXPECT_TRUE(editor.heldSuites().empty());
}
