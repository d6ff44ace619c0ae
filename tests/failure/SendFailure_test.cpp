// Whole sends, in this process through the simulated editor, with one
// allocation made to fail in turn, or every write past a size refused: each
// run must end as the undisturbed send or as a clean failure, never as a
// shorter mesh announced to the sculpting application.

#include "FailingAllocator.h"
#include "HostSession.h"
#include "PIUSuites.h"
#include "QDLogServer.h"
#include "QDTimeService.h"
#include "SandboxSupport.h"
#include "TivPSServer.h"
#include "TivPhotoshopPlugIn.h"

#include <climits>
#include <cstring>
#include <dirent.h>
#include <memory>

namespace
{
const SPErr s_parm = SPErr(0x5061726D);

// What the send did, told by its log and its one wait, noted without
// allocating so that the notes never change what is counted.
bool s_launched = false;
bool s_scriptOpened = false;
bool s_notA3DLayer = false;
bool s_scriptAsked = false;

void noteLine(const char* line)
{
    if (strncmp(line, "Error on loading obj file", 25) == 0) s_notA3DLayer = true;
    if (strncmp(line, "  QDDiskServer::openFileInApplication(", 38) == 0) s_scriptAsked = true;
    if (strcmp(line, " -> OK") == 0) s_scriptOpened = true;
}

void noteWait(unsigned int)
{
    s_launched = true;
}

void resetNotes()
{
    s_launched = s_scriptOpened = s_notA3DLayer = s_scriptAsked = false;
}

// A cube of twelve textured triangles: small, so that runs are many and short.
HostModel cube()
{
    HostModel model;
    for (int i = 0; i < 8; ++i)
        model.positions.push_back({float(i & 1) + 2, float((i >> 1) & 1), float(i >> 2)});
    model.uvs = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    const uint32_t quads[6][4] = {{0, 1, 3, 2}, {4, 6, 7, 5}, {0, 4, 5, 1},
                                  {2, 3, 7, 6}, {0, 2, 6, 4}, {1, 5, 7, 3}};
    for (const auto& q : quads)
    {
        model.triangles.push_back({{{q[0], 0}, {q[1], 1}, {q[2], 2}}});
        model.triangles.push_back({{{q[0], 0}, {q[2], 2}, {q[3], 3}}});
    }
    return model;
}

int openDescriptors()
{
    int n = 0;
    if (DIR* dir = opendir("/proc/self/fd"))
    {
        while (readdir(dir))
            ++n;
        closedir(dir);
    }
    return n;
}

// Files a send left under a temporary name.
std::vector<std::string> leftovers(const std::string& root)
{
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
        if (entry.path().filename().string().find(".part") != std::string::npos)
            found.push_back(entry.path().string());
    return found;
}

class SendFailure : public testing::Test
{
protected:
    SendFailure() : m_root(testFolder()), m_tree(m_root)
    {
        m_layer = m_tree.project + "/Cube";
        QDTimeService::setSleeper(noteWait);
        QDLogServer::setLineObserver(noteLine);
    }
    ~SendFailure() override
    {
        QDTimeService::setSleeper(nullptr);
        QDLogServer::setLineObserver(nullptr);
    }

    // The exchange folder as an earlier send left it. A return finds the
    // layer's OBJ of that send there, and the geometry that came from the
    // sculpting side beside it.
    void setStage(bool isReturn) const
    {
        std::filesystem::remove(m_layer + ".obj");
        writeBytes(m_layer + ".tiv", "earlier mesh");
        writeBytes(m_root + "/TivMorvel/Tiv_ObjectList.txt", "earlier list\n");
        writeBytes(m_root + "/TivMorvel/Tiv_Application.txt", "Earlier");
        if (!isReturn) return;
        writeBytes(m_layer + ".obj", m_earlierExport);
        writeBytes(m_layer + ".obj.prevMV2PS.obj", sandbox::trianglesObj(12, 4));
    }

    // One run of the plug-in by the editor, as the host would make it, with
    // the nth allocation of the call failing (none for 0).
    SPErr run(long failAt = 0)
    {
        HostDocument document;
        document.layerName = "Cube";
        document.model = cube();
        auto host = std::make_unique<HostSession>(document);
        PIActionParameters parameters = {plugInDialogDisplay, 0, nullptr};
        PSActionsPlugInMessage message = {{kSPCheck, nullptr, nullptr, host->basicSuite()},
                                          &parameters};
        resetNotes();
        failing::failAt(failAt);
        SPErr result = AutoPluginMain("PS Photoshop", "Do It", &message);
        m_made = failing::allocationsMade();
        m_failed = failing::failed();
        failing::failAt(0);
        m_exported = !host->exports().empty() && host->exports().back().written;
        sSPBasic = host->basicSuite();
        PIUSuitesRelease();
        sSPBasic = nullptr;
        return result;
    }

    // The state that every run leaves the same way, whatever it reached.
    void settle() const
    {
        TivPSServer::initialize();
        QDLogServer::setLogFile("settled");
    }

    // What one run with a failed allocation left, against the whole send.
    void checkRun(SPErr result, const std::string& whole)
    {
        const std::string tiv = readBytes(m_layer + ".tiv");
        const std::string list = readBytes(m_root + "/TivMorvel/Tiv_ObjectList.txt");
        const std::string app = readBytes(m_root + "/TivMorvel/Tiv_Application.txt");
        EXPECT_TRUE(list == "earlier list\n" || list == m_layer + "\n") << list;
        EXPECT_TRUE(app == "Earlier" || app == "Photoshop") << app;
        EXPECT_EQ(leftovers(m_root), std::vector<std::string>());
        EXPECT_EQ(std::filesystem::current_path().string(), m_savedFolder);
        if (result == kSPNoError && list == m_tree.project + "/\n")
        {
            // The editor could not say the layer's name: the send goes on
            // with an empty one, as it always has, and leaves this layer's
            // files alone.
            EXPECT_EQ(tiv, "earlier mesh");
            return;
        }
        if (result == kSPNoError && !m_exported && !s_launched)
        {
            // The editor's own export failed (a file of its could not be
            // opened): the send reads what stands at the OBJ path, as it
            // always has, and finds no layer to send.
            EXPECT_EQ(tiv, "earlier mesh");
            EXPECT_TRUE(s_notA3DLayer);
            return;
        }
        EXPECT_FALSE(s_notA3DLayer) << "want of memory shown as a layer that is not 3D";
        if (result == kSPNoError)
        {
            // Absorbed where the system can do without (a stream's buffer,
            // the editor's texture): then the send is whole.
            EXPECT_TRUE(s_launched && s_scriptOpened);
            EXPECT_EQ(tiv, whole);
            return;
        }
        EXPECT_EQ(result, s_parm);
        // Stopped before the launch, or in the script step after it; either
        // way the mesh on disk is the earlier one or the whole new one.
        if (s_launched)
            EXPECT_EQ(tiv, whole) << "launched with another mesh";
        else
            EXPECT_TRUE(tiv == "earlier mesh" || tiv == whole) << "a cut mesh left behind";
    }

    // Each run with one allocation failing ends as the whole send or a clean
    // failure; the launches and scripts are counted at the end, since the
    // stand-ins record them from processes of their own.
    void everyAllocationFails(bool isReturn)
    {
        setStage(false);
        ASSERT_EQ(run(), kSPNoError);
        m_earlierExport = readBytes(m_layer + ".obj");
        setStage(isReturn);
        ASSERT_EQ(run(LONG_MAX), kSPNoError);
        const long total = m_made;
        const std::string whole = readBytes(m_layer + ".tiv");
        ASSERT_TRUE(s_launched && s_scriptOpened && whole.size() > 500);
        // A script asked for whose "OK" could not be logged may have started.
        size_t launches = 2, scripts = 2, maybeScripts = 0, runs = 0;

        for (long n = 1;; ++n)
        {
            ASSERT_LE(n, 2 * total) << "the send keeps allocating";
            setStage(isReturn);
            settle();
            const long liveBefore = failing::liveBlocks();
            const int descriptorsBefore = openDescriptors();
            SPErr result = run(n);
            settle();
            const long liveAfter = failing::liveBlocks();
            const int descriptorsAfter = openDescriptors();
            SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(total));
            EXPECT_EQ(liveAfter, liveBefore) << "leaked";
            EXPECT_EQ(descriptorsAfter, descriptorsBefore) << "left a file open";
            checkRun(result, whole);
            launches += s_launched;
            scripts += s_scriptOpened;
            maybeScripts += s_scriptAsked && !s_scriptOpened;
            if (HasFailure()) return;
            if (!m_failed) break; // past the send's last allocation: the whole send
            ++runs;
        }
        EXPECT_GE(runs + 8, size_t(total));
        // Only the runs that reached the launch started anything.
        EXPECT_EQ(settledRuns(m_tree.launcherRecord, launches), launches);
        const size_t opened = settledRuns(m_tree.morvelRecord, scripts);
        EXPECT_TRUE(opened >= scripts && opened <= scripts + maybeScripts)
            << opened << " scripts opened, " << scripts << " known";
    }

    // The runs a record holds once `count` have come and stragglers had time.
    static size_t settledRuns(const std::string& record, size_t count)
    {
        sandbox::waitForRuns(record, count);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        return sandbox::waitForRuns(record).size();
    }

    std::string m_root;
    sandbox::ExchangeTree m_tree;
    std::string m_layer;
    std::string m_earlierExport;
    long m_made = 0;
    bool m_failed = false;
    bool m_exported = false;
    const std::string m_savedFolder = std::filesystem::current_path().string();
};
} // namespace

TEST_F(SendFailure, EveryAllocationOfAFirstSend)
{
    everyAllocationFails(false);
}

TEST_F(SendFailure, EveryAllocationOfAReturnSend)
{
    everyAllocationFails(true);
}

TEST_F(SendFailure, EveryWriteOfTheMeshAndTheExchangeFiles)
{
    // The editor's export, kept to stand at the OBJ path before each send.
    setStage(false);
    ASSERT_EQ(run(), kSPNoError);
    const std::string exported = readBytes(m_layer + ".obj");
    const std::string whole = readBytes(m_layer + ".tiv");
    ASSERT_GT(whole.size(), 500u);
    QDArray<QDString> objects;
    objects.push_back(m_layer.c_str());
    size_t launches = 1, sends = 0;

    // Each limit cuts one file at another byte: the text files first, the
    // mesh last, since it is the largest.
    for (size_t limit = 0;; ++limit)
    {
        setStage(false);
        TivPSServer::hackBeforePhotoshopExport3DModel((m_layer + ".obj").c_str());
        writeBytes(m_layer + ".obj", exported);
        TivPSServer::initialize();
        resetNotes();
        bool sent;
        {
            FileSizeLimit cut(limit);
            sent = TivPSServer::goToMorvel(objects);
        }
        SCOPED_TRACE("writes limited to " + std::to_string(limit) + " bytes");
        const std::string tiv = readBytes(m_layer + ".tiv");
        const std::string list = readBytes(m_root + "/TivMorvel/Tiv_ObjectList.txt");
        const std::string app = readBytes(m_root + "/TivMorvel/Tiv_Application.txt");
        EXPECT_EQ(leftovers(m_root), std::vector<std::string>());
        EXPECT_EQ(sent, s_launched);
        if (sent)
        {
            EXPECT_EQ(tiv, whole);
            EXPECT_EQ(list, m_layer + "\n");
            EXPECT_EQ(app, "Photoshop");
            EXPECT_GE(limit, whole.size());
            ++launches;
            break;
        }
        ++sends;
        EXPECT_EQ(tiv, "earlier mesh") << "a cut mesh left behind";
        EXPECT_TRUE(list == "earlier list\n" || list == m_layer + "\n") << list;
        EXPECT_TRUE(app == "Earlier" || app == "Photoshop") << app;
        if (HasFailure() || limit > whole.size()) return;
    }
    EXPECT_EQ(sends, whole.size());
    EXPECT_EQ(settledRuns(m_tree.launcherRecord, launches), launches);
}

// The exchange folder as it stands on a shared Mac: sticky folders open to
// all, holding files that another user's send made. A send by nobody writes
// those files where they are (renaming over them is refused) and launches.
TEST_F(SendFailure, StickyExchangeFolderOfAnotherUser)
{
    setStage(false);
    ASSERT_EQ(run(), kSPNoError);
    const std::string whole = readBytes(m_layer + ".tiv");
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_root))
        if (geteuid() == 0 && !entry.is_symlink())
            ownAs(entry.path().string(), false,
                  entry.is_directory() ? 01777 : entry.path().extension() == "" ? 0755 : 0666);
    if (geteuid() == 0) ownAs(m_root, false, 01777);
    writeBytes(m_layer + ".tiv", "earlier mesh");
    std::string skipped;
    const std::string said = runAsNobody(
        m_root,
        [this]
        {
            SPErr result = run();
            return std::to_string(result) + (s_launched ? " launched" : "") +
                   (s_scriptOpened ? " opened" : "");
        },
        skipped);
    if (!skipped.empty()) GTEST_SKIP() << skipped;
    EXPECT_EQ(said, "0 launched opened");
    EXPECT_EQ(readBytes(m_layer + ".tiv"), whole);
    EXPECT_EQ(readBytes(m_root + "/TivMorvel/Tiv_ObjectList.txt"), m_layer + "\n");
    struct stat info;
    ASSERT_EQ(stat((m_layer + ".tiv").c_str(), &info), 0);
    EXPECT_TRUE(info.st_uid == 0 && (info.st_mode & 07777) == 0666);
    EXPECT_EQ(leftovers(m_root), std::vector<std::string>());
    EXPECT_EQ(settledRuns(m_tree.launcherRecord, 2), 2u);
}
