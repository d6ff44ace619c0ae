#include "QDTiv.h"

#include "QDGenericConfigFileParser.h"

#ifndef TIV_PUBLIC_FOLDER
#define TIV_PUBLIC_FOLDER "/Users/Shared/Quendaric"
#endif

// Defined in dependency order: each folder is built from the ones above it.
QDString QDTiv::s_publicFolder(TIV_PUBLIC_FOLDER);
QDString QDTiv::s_folderSeparator("/");
QDString QDTiv::s_TivAppsFolder(s_publicFolder + s_folderSeparator + "TivApps");
QDString QDTiv::s_TivMorvelFolder(s_publicFolder + s_folderSeparator + "TivMorvel");
QDString QDTiv::s_TivProjectsFolder(s_publicFolder + s_folderSeparator + "TivProjects");
QDString QDTiv::s_TivDefaultProjectFolder(s_publicFolder + s_folderSeparator + "TivProjects" +
                                          s_folderSeparator + "Default");
int QDTiv::s_ioPref = 0;
bool QDTiv::s_importReverse = false;
bool QDTiv::s_exportReverse = false;
double QDTiv::s_scale = 0.0;
double QDTiv::s_offsetX = 0.0;
double QDTiv::s_offsetY = 0.0;
double QDTiv::s_offsetZ = 0.0;

namespace
{
const char* const s_configFileName = "Tiv_Config.txt";
const char* const s_pathKey = "PATH";
} // namespace

QDString QDTiv::getAppFolder(const QDString& app)
{
    return s_TivAppsFolder + s_folderSeparator + app;
}

QDString QDTiv::getAppFile(const QDString& app, const QDString& file)
{
    return s_TivAppsFolder + s_folderSeparator + app + s_folderSeparator + file;
}

QDString QDTiv::getMorvelFile(const QDString& file)
{
    return s_TivMorvelFolder + s_folderSeparator + file;
}

QDString QDTiv::getDefaultProjectFile(const QDString& name)
{
    return s_TivDefaultProjectFolder + s_folderSeparator + name;
}

QDString QDTiv::getObjectListFile()
{
    return getMorvelFile("Tiv_ObjectList.txt");
}

QDString QDTiv::getObjectPathFile()
{
    return getMorvelFile("Tiv_ObjectPath.txt");
}

QDString QDTiv::getProjectPathFile()
{
    return getMorvelFile("Tiv_ProjectPath.txt");
}

QDString QDTiv::getApplicationFile()
{
    return getMorvelFile("Tiv_Application.txt");
}

QDString QDTiv::getMorvelPath()
{
    return QDGenericConfigFileParser::findTokenInConfigFile(getMorvelFile(s_configFileName),
                                                            s_pathKey, nullptr)
        .unquoted();
}

bool QDTiv::setMorvelPath(const QDString& path)
{
    return QDGenericConfigFileParser::replaceTokenInConfigFile(getMorvelFile(s_configFileName),
                                                               s_pathKey, path.quoted(), nullptr);
}

QDString QDTiv::readAppPath(const QDString& app, bool* found)
{
    return QDGenericConfigFileParser::findTokenInConfigFile(getAppFile(app, s_configFileName),
                                                            s_pathKey, found)
        .unquoted();
}

bool QDTiv::writeAppPath(const QDString& app, const QDString& path)
{
    return QDGenericConfigFileParser::replaceTokenInConfigFile(getAppFile(app, s_configFileName),
                                                               s_pathKey, path.quoted(), nullptr);
}
