// The plug-in's entry, suites, queries and playbacks, hosted in-process by the
// simulated editor. None of these reach the run driver, so nothing here touches
// the exchange folder.

#include "HostSession.h"
#include "PIUActions.h"
#include "PIUGet.h"
#include "PIUSuites.h"
#include "TestSupport.h"
#include "TivPhotoshopPlugIn.h"

#include <cstring>
#include <memory>

namespace
{
std::string repeated(char c, size_t n)
{
    return std::string(n, c);
}

int count(const std::vector<std::string>& calls, const std::string& name)
{
    int n = 0;
    for (const std::string& call : calls)
        n += call == name ? 1 : 0;
    return n;
}
} // namespace

class PluginEntry : public testing::Test
{
protected:
    HostSession& host(const std::string& layerName = "Cube", bool is3D = true)
    {
        HostDocument document;
        document.layerName = layerName;
        document.is3D = is3D;
        document.model = makeDefaultModel();
        m_host = std::make_unique<HostSession>(document);
        sSPBasic = m_host->basicSuite();
        return *m_host;
    }

    // Suites acquired by one test must not be found acquired by the next.
    void TearDown() override
    {
        if (m_host) sSPBasic = m_host->basicSuite();
        PIUSuitesRelease();
        sSPBasic = nullptr;
        m_host.reset();
    }

    std::unique_ptr<HostSession> m_host;
};

TEST_F(PluginEntry, GetInfoWithoutBufferAsksTheHostNothing)
{
    HostSession& editor = host();
    uint32_t size = 255;
    EXPECT_EQ(PIUGetInfo(classLayer, keyName, nullptr, &size), kSPBadParameterError);
    EXPECT_TRUE(editor.calls().empty());
    EXPECT_EQ(size, 255u);
}

TEST_F(PluginEntry, LayerNameArrivesOnlyWithinCapacity)
{
    struct Case
    {
        std::string name;
        SPErr result;
    };
    // 255 characters pass a capacity of 255 and need the buffer's 256th byte
    // for the terminator; 256 characters are refused.
    for (const Case& c : {Case{"Sphere", kSPNoError}, Case{repeated('a', 255), kSPNoError},
                          Case{repeated('b', 256), kSPBadParameterError}})
    {
        SCOPED_TRACE(c.name.size());
        HostSession& editor = host(c.name);
        char buffer[257];
        memset(buffer, 'x', sizeof(buffer));
        uint32_t size = 255;
        EXPECT_EQ(PIUGetInfo(classLayer, keyName, buffer, &size), c.result);
        EXPECT_EQ(size, c.name.size());
        if (c.result == kSPNoError)
            EXPECT_EQ(std::string(buffer), c.name);
        else
            EXPECT_EQ(std::string(buffer, sizeof(buffer)), repeated('x', sizeof(buffer)));
        EXPECT_EQ(buffer[256], 'x');
        EXPECT_EQ(editor.liveObjects(), 0u);
        PIUSuitesRelease();
    }
}

TEST_F(PluginEntry, FailedQueryLeavesTheBufferAndFreesTheReference)
{
    HostDocument empty;
    empty.hasLayer = false;
    m_host = std::make_unique<HostSession>(empty);
    sSPBasic = m_host->basicSuite();
    char buffer[256] = "unchanged";
    uint32_t size = 255;
    EXPECT_EQ(PIUGetInfo(classLayer, keyName, buffer, &size), hostNoSuchObject);
    EXPECT_STREQ(buffer, "unchanged");
    EXPECT_EQ(count(m_host->calls(), "Reference.Free"), 1);
    EXPECT_EQ(m_host->liveObjects(), 0u);
}

TEST_F(PluginEntry, KeyZeroHandsTheWholeDescriptorToTheCaller)
{
    HostSession& editor = host("Cube");
    PIActionDescriptor descriptor = nullptr;
    ASSERT_EQ(PIUGetInfo(classLayer, 0, &descriptor, nullptr), kSPNoError);
    ASSERT_NE(descriptor, nullptr);
    EXPECT_EQ(count(editor.calls(), "Reference.PutProperty"), 0);
    EXPECT_EQ(editor.liveObjects(), 1u); // the reference is gone, the descriptor is ours
    char name[32] = {0};
    uint32_t size = sizeof(name) - 1;
    EXPECT_EQ(PIUGetSingleItemFromDescriptor(descriptor, keyName, name, &size), kSPNoError);
    EXPECT_STREQ(name, "Cube");
    EXPECT_EQ(sPSActionDescriptor->Free(descriptor), 0);
    EXPECT_EQ(editor.liveObjects(), 0u);
    // Only text is read; a missing size is refused before anything is copied.
    EXPECT_EQ(PIUGetSingleItemFromDescriptor(nullptr, keyName, name, &size), kSPBadParameterError);
}

TEST_F(PluginEntry, SuitesAreAcquiredOnceAndKeptAcrossRuns)
{
    HostSession& editor = host();
    for (int run = 0; run < 3; ++run)
    {
        char buffer[256];
        uint32_t size = 255;
        ASSERT_EQ(PIUGetInfo(classLayer, keyName, buffer, &size), kSPNoError);
    }
    for (const char* name :
         {kPSActionReferenceSuite, kPSActionControlSuite, kPSActionDescriptorSuite})
    {
        EXPECT_EQ(editor.acquisitions().at(name), 1) << name;
        EXPECT_EQ(editor.heldSuites().at(name), 1) << name;
    }
    EXPECT_TRUE(sPSActionReference.isAcquired());
    EXPECT_FALSE(sPSHandle.isAcquired());
}

TEST_F(PluginEntry, RefusedSuiteThrowsTheHostsCodeAndIsAskedForAgain)
{
    HostSession& editor = host();
    editor.denySuite(kPSAliasSuite);
    std::string path = testFolder() + "/Cube.obj";
    for (int attempt = 1; attempt <= 2; ++attempt)
    {
        try
        {
            Playexport3DModel(&path[0], 0);
            ADD_FAILURE() << "no exception";
        }
        catch (uint32_t code)
        {
            EXPECT_EQ(code, uint32_t(hostSuiteNotOffered));
        }
        EXPECT_EQ(editor.acquisitions().at(kPSAliasSuite), attempt);
    }
    EXPECT_EQ(sPSAlias.getError(), hostSuiteNotOffered);
    EXPECT_FALSE(sPSAlias.isAcquired());
    EXPECT_EQ(editor.liveObjects(), 0u); // the descriptor made before the throw was freed
    EXPECT_TRUE(editor.exports().empty());

    // Without a basic suite nothing more can be acquired: 'Parm', whatever the
    // suites already held could still do.
    sSPBasic = nullptr;
    try
    {
        Playexport3DModel(&path[0], 0);
        ADD_FAILURE() << "no exception";
    }
    catch (uint32_t code)
    {
        EXPECT_EQ(code, uint32_t(kSPBadParameterError));
    }
    EXPECT_EQ(editor.acquisitions().at(kPSAliasSuite), 2);
    EXPECT_EQ(editor.liveObjects(), 0u);
}

TEST_F(PluginEntry, ReleaseFollowsItsOwnOrderAndHappensOnce)
{
    HostSession& editor = host();
    editor.offerEverySuite();
    sPSActionDescriptor.operator->();
    sPSActionControl.operator->();
    sPSActionReference.operator->();
    sPSActionList.operator->();
    sPSRegistry.operator->();
    sPSUIHooks.operator->();
    sPSHandle.operator->();
    sASZString.operator->();
    sSPAccess.operator->();
    sPSFileList.operator->();
    sPSBuffer.operator->();
    sPSChannelProcs.operator->();
    sSPRuntime.operator->();
    sPSProperty.operator->();
    sPSAlias.operator->();
    sPSResource.operator->();
    size_t acquired = editor.events().size();
    ASSERT_EQ(acquired, 16u) << testing::PrintToString(editor.events());

    PIUSuitesRelease();
    PIUSuitesRelease();
    const char* order[] = {"Action Descriptor",
                           "Action Control",
                           "Action Reference",
                           "df135116-c769-11d0-8079-00c04fd7ec47",
                           "61e608b0-40fd-11d1-8da3-00c04fd5f7ee",
                           "Handle suite",
                           "Photoshop UIHooks Suite for Plug-ins",
                           "AS ZString Suite",
                           "SP Access Suite",
                           "Photoshop GetFileList Suite for Plug-ins",
                           "Photoshop Buffer Suite for Plug-ins",
                           "Photoshop ChannelPorts Suite for Plug-ins",
                           "SP Runtime Suite",
                           "Photoshop Property Suite for Plug-ins",
                           "Alias Utility",
                           "Photoshop Resource Suite for Plug-ins"};
    ASSERT_EQ(editor.events().size(), acquired + 16);
    for (size_t i = 0; i < 16; ++i)
    {
        const std::string& event = editor.events()[acquired + i];
        EXPECT_EQ(event.rfind("released", 0), 0u) << event;
        EXPECT_NE(event.find(order[i]), std::string::npos) << event << " / " << order[i];
    }
    for (const auto& held : editor.heldSuites())
        EXPECT_EQ(held.second, 0) << held.first;
}

TEST_F(PluginEntry, ExportIsPlayedSilentlyWithFileAndChoices)
{
    HostSession& editor = host("Cube");
    std::string folder = testFolder();
    std::string path = folder + "/Cube.obj";
    EXPECT_EQ(Playexport3DModel(&path[0], 0), kSPNoError);
    path = folder + "/Other.obj";
    EXPECT_EQ(Playexport3DModel(&path[0], 7), kSPNoError);

    ASSERT_EQ(editor.exports().size(), 2u);
    const HostExportRequest& first = editor.exports()[0];
    EXPECT_EQ(first.path, folder + "/Cube.obj");
    EXPECT_EQ(first.ecmaChoice, 1);
    EXPECT_EQ(first.formatChoice, 0);
    EXPECT_EQ(first.playOptions, plugInDialogSilent);
    EXPECT_TRUE(first.written);
    EXPECT_EQ(editor.exports()[1].formatChoice, 7);
    EXPECT_EQ(readBytes(folder + "/Cube.obj")
                  .rfind("#Vertex Count 11904\n#UV Vertex Count 11904\n#Face Count 3968\n", 0),
              0u);
    // Result, descriptor and alias all given back, both times.
    EXPECT_EQ(count(editor.calls(), "Descriptor.Free"), 4);
    EXPECT_EQ(count(editor.calls(), "Handle.Dispose"), 2);
    EXPECT_EQ(editor.liveObjects(), 0u);
}

TEST_F(PluginEntry, ExportOfAFlatLayerWritesNothing)
{
    HostSession& editor = host("Background", false);
    std::string path = testFolder() + "/Background.obj";
    EXPECT_EQ(Playexport3DModel(&path[0], 0), hostNoSuchObject);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(editor.liveObjects(), 0u);
}

TEST_F(PluginEntry, LayerEventsAndScriptEntry)
{
    HostSession& editor = host("Cube");
    EXPECT_EQ(PlayeventSet(), kSPNoError);
    EXPECT_EQ(editor.document().layerName, "renomage");
    // This editor has no "get" event; the error comes back and nothing is kept.
    EXPECT_EQ(PlayeventGet(), hostEventNotHandled);
    EXPECT_EQ(editor.liveObjects(), 0u);

    QDString result("stale");
    EXPECT_EQ(PlayJavaScript("alert()", result), kSPBadParameterError);
    EXPECT_TRUE(result.isNull());
}

TEST_F(PluginEntry, EntryServesOnlyDoItFromPhotoshop)
{
    HostSession& editor = host();
    PIActionParameters parameters = {plugInDialogDisplay, 0, nullptr};
    PSActionsPlugInMessage message = {{kSPCheck, nullptr, nullptr, editor.basicSuite()},
                                      &parameters};
    sSPBasic = nullptr;
    EXPECT_EQ(AutoPluginMain("Adobe Illustrator", "Do It", &message), kSPNoError);
    EXPECT_EQ(sSPBasic, editor.basicSuite()); // refreshed at every entry
    EXPECT_EQ(AutoPluginMain("PS Photoshop", "About", &message), kSPNoError);
    EXPECT_EQ(AutoPluginMain("PS Photoshop", nullptr, &message), kSPNoError);
    EXPECT_TRUE(editor.acquisitions().empty());
    for (const std::string& call : editor.calls())
        EXPECT_EQ(call, "Basic.IsEqual");

    EXPECT_EQ(AutoPluginMain("PS Photoshop", "Do It", nullptr), kSPBadParameterError);
    message.d.basic = nullptr;
    EXPECT_EQ(AutoPluginMain("PS Photoshop", "Do It", &message), kSPBadParameterError);
}
