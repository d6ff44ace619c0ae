#pragma once

#include "QDString.h"

// The exchange folder tree shared with the sculpting application, and the
// builders of every path in it.
class QDTiv
{
public:
    static QDString s_publicFolder;
    static QDString s_folderSeparator;
    static QDString s_TivAppsFolder;
    static QDString s_TivMorvelFolder;
    static QDString s_TivProjectsFolder;
    static QDString s_TivDefaultProjectFolder;
    // Exchange settings of the other side; declared here, unused by the plug-in.
    static int s_ioPref;
    static bool s_importReverse;
    static bool s_exportReverse;
    static double s_scale, s_offsetX, s_offsetY, s_offsetZ;

    static QDString getAppFolder(const QDString& app);
    static QDString getAppFile(const QDString& app, const QDString& file);
    static QDString getMorvelFile(const QDString& file);
    static QDString getDefaultProjectFile(const QDString& name);
    static QDString getObjectListFile();
    static QDString getObjectPathFile();
    static QDString getProjectPathFile();
    static QDString getApplicationFile();
    static QDString getMorvelPath();
    static bool setMorvelPath(const QDString& path);
    static QDString readAppPath(const QDString& app, bool* found);
    static bool writeAppPath(const QDString& app, const QDString& path);
};
