#include "TivPSServer.h"
#include "sandbox/SandboxSupport.h"

TEST(QDTiv, FolderTreeAndPathBuildersHangOffTheConfiguredRoot)
{
    // Sends and runs check the other names; these are built nowhere else.
    const std::string root = TIV_PUBLIC_FOLDER;
    EXPECT_EQ(toStd(QDTiv::s_TivProjectsFolder), root + "/TivProjects");
    EXPECT_EQ(toStd(QDTiv::getAppFile("PS", "Tiv_Config.txt")),
              root + "/TivApps/PS/Tiv_Config.txt");
    EXPECT_EQ(toStd(QDTiv::getObjectPathFile()), root + "/TivMorvel/Tiv_ObjectPath.txt");
    QDString saved = QDTiv::s_folderSeparator; // every builder joins with it
    QDTiv::s_folderSeparator = ":";
    EXPECT_EQ(toStd(QDTiv::getDefaultProjectFile("a/b")), root + "/TivProjects/Default:a/b");
    QDTiv::s_folderSeparator = saved;
    EXPECT_EQ(QDTiv::s_scale + QDTiv::s_offsetX + QDTiv::s_offsetY + QDTiv::s_offsetZ, 0.0);
}

TEST(QDTiv, ApplicationPathsRoundTripThroughTheConfigurationFiles)
{
    sandbox::ExchangeTree tree(testFolder());
    const std::string morvelConfig = tree.root + "/TivMorvel/Tiv_Config.txt";
    const std::string photoshopConfig = tree.photoshopFile("Tiv_Config.txt");
    std::filesystem::remove(morvelConfig);
    EXPECT_TRUE(QDTiv::getMorvelPath().empty()); // no file yet
    ASSERT_TRUE(QDTiv::setMorvelPath("/Applications/Morvel 2.app"));
    EXPECT_EQ(readBytes(morvelConfig), "PATH = \"/Applications/Morvel 2.app\"\n");
    EXPECT_EQ(toStd(QDTiv::getMorvelPath()), "/Applications/Morvel 2.app");
    // A path that carries its own quotes loses them on the way back.
    ASSERT_TRUE(QDTiv::setMorvelPath("\"/q.app\""));
    EXPECT_EQ(toStd(QDTiv::getMorvelPath()), "/q.app");

    bool found = true;
    EXPECT_TRUE(QDTiv::readAppPath("Photoshop", &found).empty());
    EXPECT_FALSE(found);
    writeBytes(photoshopConfig, "OTHER = 1\nPATH = /old\n");
    ASSERT_TRUE(QDTiv::writeAppPath("Photoshop", "/Apps/PS.app"));
    EXPECT_EQ(readBytes(photoshopConfig), "PATH = \"/Apps/PS.app\"\nOTHER = 1\n");
    EXPECT_EQ(toStd(QDTiv::readAppPath("Photoshop", &found)), "/Apps/PS.app");
    EXPECT_TRUE(found);
    // No folder for the application: the rewrite cannot create the file.
    EXPECT_FALSE(QDTiv::writeAppPath("Missing", "/x"));
}

TEST(QDTiv, InitializeReadsTheProjectPathAndCreatesItsFolder)
{
    sandbox::ExchangeTree tree(testFolder());
    const std::string project = tree.root + "/Project", pathFile = tree.root + "/TivMorvel/Tiv_";
    writeBytes(tree.photoshopFile("Tiv_Config.txt"), "PATH = \"/Apps/PS.app\"\n");
    writeBytes(pathFile + "ProjectPath.txt", project + "\n");

    TivPSServer::initialize();
    EXPECT_EQ(toStd(TivPSServer::s_publicFolder), project);
    EXPECT_TRUE(std::filesystem::is_directory(project));
    EXPECT_EQ(toStd(TivPSServer::s_projectPathFile), pathFile + "ProjectPath.txt");
    EXPECT_EQ(toStd(TivPSServer::s_objectPathFile), pathFile + "ObjectPath.txt");
    EXPECT_EQ(toStd(TivPSServer::s_photoshopApp), "/Apps/PS.app");
    EXPECT_TRUE(TivPSServer::s_isInitialized);

    // Whatever the last character is, it goes: a path without a line end
    // loses its own last letter.
    writeBytes(pathFile + "ProjectPath.txt", project + "X");
    TivPSServer::initialize();
    EXPECT_EQ(toStd(TivPSServer::s_publicFolder), project);

    // Missing path file, no configuration: empty values, and every run
    // initializes again.
    std::filesystem::remove(pathFile + "ProjectPath.txt");
    std::filesystem::remove(tree.photoshopFile("Tiv_Config.txt"));
    TivPSServer::initialize();
    EXPECT_TRUE(TivPSServer::s_publicFolder.empty());
    EXPECT_TRUE(TivPSServer::s_photoshopApp.empty());
}
