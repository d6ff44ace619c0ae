#pragma once

#include "QDArray.h"
#include "QDString.h"
#include "QDVector2f.h"
#include "QDVector3f.h"

class QDTivMesh;

// The send to the sculpting application: exchange files, mesh conversion,
// launch and the loading script.
class TivPSServer
{
public:
    static QDString s_projectPathFile;
    static QDString s_objectPathFile;
    static QDString s_objectListFile;
    static QDString s_publicFolder;
    static QDString s_photoshopApp;
    static bool s_isInitialized;

    static void initialize();
    static bool goToMorvel(const QDArray<QDString>& objectNames);
    static void hackBeforePhotoshopExport3DModel(QDString objPath);
    static void hackAfterExported3DModelRead(QDString objPath, QDTivMesh& mesh);
    static void executeMvScript(QDString scriptPath);
};

// Host axes to the sculpting application's: y and z negated.
void doFlipAndSwitch_PhotoshopToMorvel(QDArray<QDVector3f>& positions);
// Texture v flipped: v becomes 1 - v.
void doFlipV_PhotoshopToMorvel(QDArray<QDVector2f>& uvs);
void showNotAn3DLayerErrorMsg();
