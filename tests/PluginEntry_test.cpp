// The plug-in's entry, suites, queries and playbacks, hosted in-process by the
// simulated editor. None of these reach the run driver, so nothing here touches
// the exchange folder.

#include "HostSession.h"
#include "PIUActions.h"
#include "PIUGet.h"
#include "PIUSuites.h"
#include "TestSupport.h"
#include "TivPhotoshopPlugIn.h"

#include <algorithm>
#include <memory>

namespace
{
int count(const std::vector<std::string>& calls, const std::string& name)
{
    return int(std::count(calls.begin(), calls.end(), name));
}
} // namespace

class PluginEntry : public testing::Test
{
protected:
    HostSession& host(const std::string& layerName = "Cube", bool is3D = true, bool hasLayer = true)
    {
        HostDocument document;
        document.layerName = layerName;
        document.is3D = is3D;
        document.hasLayer = hasLayer;
        document.model = makeDefaultModel();
        release();
        m_host = std::make_unique<HostSession>(document);
        sSPBasic = m_host->basicSuite();
        return *m_host;
    }

    // Suites acquired from one editor must not be found acquired by the next.
    void release()
    {
        if (m_host) sSPBasic = m_host->basicSuite();
        PIUSuitesRelease();
        sSPBasic = nullptr;
    }
    void TearDown() override { release(); }

    // The host code that an export throws, 0 when none.
    static uint32_t exportThrows(std::string path)
    {
        try
        {
            Playexport3DModel(&path[0], 0);
        }
        catch (uint32_t code)
        {
            return code;
        }
        return 0;
    }

    std::unique_ptr<HostSession> m_host;
};

TEST_F(PluginEntry, LayerNameQueries)
{
    // No buffer: refused before the host is asked anything.
    uint32_t size = 255;
    EXPECT_EQ(PIUGetInfo(classLayer, keyName, nullptr, &size), kSPBadParameterError);
    EXPECT_TRUE(host().calls().empty() && size == 255u);

    // 255 characters pass a capacity of 255 and need the buffer's 256th byte
    // for the terminator; 256 characters are refused and the buffer left alone.
    for (size_t length : {6, 255, 256})
    {
        HostSession& editor = host(std::string(length, 'a'));
        char buffer[257];
        memset(buffer, 'x', sizeof(buffer));
        size = 255;
        EXPECT_EQ(PIUGetInfo(classLayer, keyName, buffer, &size),
                  length < 256 ? kSPNoError : kSPBadParameterError);
        EXPECT_EQ(size, length);
        EXPECT_EQ(std::string(buffer, sizeof(buffer)),
                  length < 256 ? std::string(length, 'a') + '\0' + std::string(256 - length, 'x')
                               : std::string(257, 'x'));
        EXPECT_EQ(editor.liveObjects(), 0u);
    }

    // No target layer: the host's error, the buffer untouched, the reference freed.
    HostSession& empty = host("Cube", true, false);
    char buffer[256] = "unchanged";
    EXPECT_EQ(PIUGetInfo(classLayer, keyName, buffer, &size), hostNoSuchObject);
    EXPECT_STREQ(buffer, "unchanged");
    EXPECT_TRUE(count(empty.calls(), "Reference.Free") == 1 && empty.liveObjects() == 0);

    // A reference is a chain, property first, then its container: the same
    // parts put the other way round name nothing.
    HostSession& strict = host("Cube");
    PIActionReference reversed = nullptr;
    PIActionDescriptor got = nullptr;
    ASSERT_EQ(sPSActionReference->Make(&reversed), 0);
    sPSActionReference->PutEnumerated(reversed, classLayer, typeOrdinal, enumTarget);
    sPSActionReference->PutProperty(reversed, classProperty, keyName);
    EXPECT_EQ(sPSActionControl->Get(&got, reversed), hostNoSuchObject);
    EXPECT_TRUE(got == nullptr && sPSActionReference->Free(reversed) == 0);
    EXPECT_EQ(strict.liveObjects(), 0u);

    // Key 0 hands the whole descriptor to the caller, who frees it.
    HostSession& editor = host("Cube");
    PIActionDescriptor descriptor = nullptr;
    ASSERT_EQ(PIUGetInfo(classLayer, 0, &descriptor, nullptr), kSPNoError);
    EXPECT_TRUE(count(editor.calls(), "Reference.PutProperty") == 0 && editor.liveObjects() == 1);
    char name[32] = {0};
    size = sizeof(name) - 1;
    EXPECT_EQ(PIUGetSingleItemFromDescriptor(descriptor, keyName, name, &size), kSPNoError);
    EXPECT_STREQ(name, "Cube");
    EXPECT_TRUE(sPSActionDescriptor->Free(descriptor) == 0 && editor.liveObjects() == 0);
    EXPECT_EQ(PIUGetSingleItemFromDescriptor(nullptr, keyName, name, &size), kSPBadParameterError);
}

TEST_F(PluginEntry, SuitesAreAcquiredOnceKeptAcrossRunsAndAskedForAgainWhenRefused)
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
        EXPECT_TRUE(editor.acquisitions().at(name) == 1 && editor.heldSuites().at(name) == 1)
            << name;
    EXPECT_TRUE(sPSActionReference.isAcquired() && !sPSHandle.isAcquired());

    // A refused suite throws the host's code and is asked for at the next use.
    // A user names it by its full name too, in any case.
    editor.denySuite(HostSession::offeredSuite("photoshop ALIAS utility suite"));
    const std::string path = testFolder() + "/Cube.obj";
    for (int attempt = 1; attempt <= 2; ++attempt)
    {
        EXPECT_EQ(exportThrows(path), uint32_t(hostSuiteNotOffered));
        EXPECT_EQ(editor.acquisitions().at(kPSAliasSuite), attempt);
    }
    EXPECT_TRUE(sPSAlias.getError() == hostSuiteNotOffered && !sPSAlias.isAcquired());
    // The descriptor made before the throw was freed.
    EXPECT_TRUE(editor.liveObjects() == 0 && editor.exports().empty());

    // Without a basic suite nothing more can be acquired: 'Parm', whatever the
    // suites already held could still do.
    sSPBasic = nullptr;
    EXPECT_EQ(exportThrows(path), uint32_t(kSPBadParameterError));
    EXPECT_TRUE(editor.acquisitions().at(kPSAliasSuite) == 2 && editor.liveObjects() == 0);
}

TEST_F(PluginEntry, ReleaseFollowsItsOwnOrderAndHappensOnce)
{
    HostSession& editor = host();
    editor.offerEverySuite();
    // In the order the globals are made.
    [](auto&... suite) {
        (suite.operator->(), ...);
    }(sPSActionDescriptor, sPSActionControl, sPSActionReference, sPSActionList, sPSRegistry,
      sPSUIHooks, sPSHandle, sASZString, sSPAccess, sPSFileList, sPSBuffer, sPSChannelProcs,
      sSPRuntime, sPSProperty, sPSAlias, sPSResource);
    std::vector<std::string> events = editor.events();
    ASSERT_EQ(events.size(), 16u) << testing::PrintToString(events);

    // Without the basic suite a release is skipped, silently: the suites stay held.
    sSPBasic = nullptr;
    PIUSuitesRelease();
    EXPECT_TRUE(editor.events().size() == 16u && sPSResource.isAcquired());
    sSPBasic = editor.basicSuite();
    PIUSuitesRelease();
    PIUSuitesRelease();
    for (std::string& event : events)
        event.replace(0, strlen("acquired"), "released");
    std::swap(events[5], events[6]); // the handle suite goes before the UI hooks
    EXPECT_EQ(std::vector<std::string>(editor.events().begin() + 16, editor.events().end()),
              events);
    for (const auto& held : editor.heldSuites())
        EXPECT_EQ(held.second, 0) << held.first; // and only once
}

TEST_F(PluginEntry, ExportIsPlayedSilentlyWithFileAndChoices)
{
    HostSession& editor = host("Cube");
    std::string folder = testFolder();
    std::string path = folder + "/Cube.obj", other = folder + "/Other.obj";
    EXPECT_EQ(Playexport3DModel(&path[0], 0), kSPNoError);
    EXPECT_EQ(Playexport3DModel(&other[0], 7), kSPNoError);

    ASSERT_EQ(editor.exports().size(), 2u);
    const HostExportRequest& first = editor.exports()[0];
    EXPECT_EQ(first.path, path);
    EXPECT_TRUE(first.ecmaChoice == 1 && first.formatChoice == 0 && first.written);
    EXPECT_TRUE(first.playOptions == plugInDialogSilent && editor.exports()[1].formatChoice == 7);
    // Result, descriptor and alias all given back, both times.
    EXPECT_EQ(count(editor.calls(), "Descriptor.Free"), 4);
    EXPECT_EQ(count(editor.calls(), "Handle.Dispose"), 2);
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
    EXPECT_EQ(count(editor.calls(), "Basic.IsEqual"), int(editor.calls().size()));

    EXPECT_EQ(AutoPluginMain("PS Photoshop", "Do It", nullptr), kSPBadParameterError);
    message.d.basic = nullptr;
    EXPECT_EQ(AutoPluginMain("PS Photoshop", "Do It", &message), kSPBadParameterError);
}
