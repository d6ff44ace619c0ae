#include "TivPhotoshopPlugIn_Common.h"

#include "PIUActions.h"
#include "PIUGet.h"
#include "QDArray.h"
#include "QDDiskServer.h"
#include "QDLogServer.h"
#include "QDString.h"
#include "QDTiv.h"
#include "TivPSServer.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

#ifndef TIV_PUBLIC_FOLDER
#define TIV_PUBLIC_FOLDER "/Users/Shared/Quendaric"
#endif

namespace
{
// A path that could not be read (getcwd failed) is logged as empty text rather
// than handed to the formatter as a null pointer.
const char* text(const QDString& s)
{
    return s.isNull() ? "" : s.c_str();
}

bool endsWith(const char* name, const char* ending)
{
    size_t n = strlen(name), e = strlen(ending);
    return n >= e && memcmp(name + n - e, ending, e) == 0;
}

// What "rm *<ending>" does in the folder: names the shell's "*" would match
// (not starting with "."), ending exactly so, and not folders. Failures ignored.
// Names come from the listing itself, so they are joined to the cleaned folder
// as they are: cleaning them again would cut a name that holds a ':'.
void removeFilesEndingWith(const QDString& folder, const char* ending)
{
    QDString cleanFolder(folder.getValidFilePath());
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(cleanFolder.c_str()), closedir);
    // A folder that cannot be listed is left as it is; want of memory stops the run.
    if (!dir && errno == ENOMEM) throw std::bad_alloc();
    if (!dir) return;
    // Listed first, removed after: a listing that changes under readdir may
    // skip entries.
    QDArray<QDString> doomed;
    while (dirent* entry = readdir(dir.get()))
    {
        const char* name = entry->d_name;
        if (name[0] != '.' && endsWith(name, ending)) doomed.push_back(cleanFolder + "/" + name);
    }
    dir.reset();
    for (const QDString& path : doomed)
    {
        struct stat info;
        if (lstat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode)) unlink(path.c_str());
    }
}

// Puts the host's working folder back however the tidying ends: a throw
// half-way must not leave the host working in our project folder.
class WorkingFolderRestorer
{
public:
    explicit WorkingFolderRestorer(const QDString& saved) : m_saved(saved) {}
    ~WorkingFolderRestorer() { QDDiskServer::setCurrentPath(m_saved); }
    WorkingFolderRestorer(const WorkingFolderRestorer&) = delete;
    WorkingFolderRestorer& operator=(const WorkingFolderRestorer&) = delete;

private:
    const QDString& m_saved;
};

void tidyDefaultProjectFolder(const QDString& savedPath)
{
    WorkingFolderRestorer restorer(savedPath);
    bool inProjectFolder = QDDiskServer::setCurrentPath(QDTiv::s_TivDefaultProjectFolder);
    QDLogServer::printLine("    (newCurPath = %s)", text(QDDiskServer::getCurrentPath()));
    // Removing after a failed change of folder would remove in the wrong one.
    if (inProjectFolder)
    {
        removeFilesEndingWith(QDTiv::s_TivDefaultProjectFolder, ".bmp");
        removeFilesEndingWith(QDTiv::s_TivDefaultProjectFolder, ".psd");
    }
}
} // namespace

SPErr DoIt(PSActionsPlugInMessage*)
{
    QDLogServer::setLogFile(TIV_PUBLIC_FOLDER "/TivProjects/Default/Tiv_PhotoshopPlugin.txt");
    QDLogServer::init(true);
    QDLogServer::printLine("PhotoshopTivPlugin executed!");
    QDLogServer::printLine("[RELEASE]");

    QDLogServer::printLine(" curPath = %s", text(QDDiskServer::getCurrentPath()));
    QDString savedPath = QDDiskServer::getCurrentPath();
    tidyDefaultProjectFolder(savedPath);

    // Cleared first: a failed query leaves the buffer as it was, and the run
    // then goes on with an empty name. The byte past the announced capacity
    // holds the terminator of a name of full capacity.
    char layerNameBuffer[256] = {0};
    uint32_t layerNameSize = 255;
    SPErr queryError = PIUGetInfo(classLayer, keyName, layerNameBuffer, &layerNameSize);
    (void)queryError;
    layerNameBuffer[255] = 0;
    QDString layerName(layerNameBuffer);
    QDLogServer::printLine("Layer Name = %s", text(layerName));

    QDString projectFile = QDTiv::getDefaultProjectFile(layerName);
    QDString objPath = projectFile + ".obj";
    TivPSServer::hackBeforePhotoshopExport3DModel(objPath);

    QDLogServer::printLine("exporting 3D model....(.PSD)!");
    // Not tested here: a layer that could not be exported shows up as a
    // missing OBJ when the send reads it.
    Playexport3DModel(objPath.c_str(), 0);

    QDArray<QDString> objectNames;
    objectNames.push_back(projectFile);
    TivPSServer::initialize();
    bool ok = TivPSServer::goToMorvel(objectNames);
    if (ok) QDLogServer2::deleteLogFile();
    return kSPNoError;
}
