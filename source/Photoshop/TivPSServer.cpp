#include "TivPSServer.h"

#include "QDDiskServer.h"
#include "QDLogServer.h"
#include "QDTiv.h"

QDString TivPSServer::s_projectPathFile;
QDString TivPSServer::s_objectPathFile;
QDString TivPSServer::s_objectListFile;
QDString TivPSServer::s_publicFolder;
QDString TivPSServer::s_photoshopApp;
bool TivPSServer::s_isInitialized = false;

namespace
{
// printf must never see a null string.
inline const char* text(const QDString& s)
{
    return s.isNull() ? "" : s.c_str();
}
} // namespace

void TivPSServer::initialize()
{
    s_projectPathFile = QDTiv::getProjectPathFile();
    s_objectPathFile = QDTiv::getObjectPathFile();
    s_objectListFile = QDTiv::getObjectListFile();

    // The other side writes the folder followed by one line end; no check is
    // made that the last character really is one.
    QDDiskServer::readFileAsString(s_projectPathFile, s_publicFolder);
    s_publicFolder.cutFrom(s_publicFolder.length() - 1);
    if (!QDDiskServer::folderExists(s_publicFolder)) QDDiskServer::createFolder(s_publicFolder);

    s_photoshopApp = QDTiv::readAppPath("Photoshop", nullptr);
    s_isInitialized = true;
}

void TivPSServer::executeMvScript(QDString scriptPath)
{
    QDString appPath = QDTiv::getMorvelPath();
    if (appPath.empty()) return;
    scriptPath = scriptPath.quoted();

    // Name and folder of the application, kept for the log of a future version.
    int separator = appPath.findLastCharOf("/\\");
    QDString appName(appPath), appFolder(appPath);
    appName.cutTo(separator + 1);
    appFolder.cutFrom(separator);

    QDLogServer::printLine(". Executing MvScript:");
    QDLogServer::printLine("  -> %s", text(scriptPath));
    QDLogServer::printLine("  QDDiskServer::openFileInApplication(%s, %s)", text(appPath),
                           text(scriptPath));
    bool ok = QDDiskServer::openFileInApplication(appPath, scriptPath.unquoted());
    QDLogServer::printLine(ok ? " -> OK" : " -> FAILED!");
    QDLogServer::printLine("  curPath = %s", text(QDDiskServer::getCurrentPath()));
}
