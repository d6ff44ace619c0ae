#pragma once

#include "PIHostInterface.h"

#include <string>

// What the editor saw of one run of the plug-in: gathered after the plug-in
// returned and, when the sculpting application was asked for something, after
// its report came or the wait for it ended.
struct SendFacts
{
    SPErr result = kSPNoError;
    bool layerIs3D = true; // the document has a current layer, and it is a 3D one
    size_t layerTriangles = 0;
    bool exportAsked = false; // the plug-in played the export
    bool exportWritten = false;
    std::string exportError; // why it was not written
    std::string tivPath;     // the mesh file the send writes beside the export
    bool tivWritten = false; // written during the run
    std::string configFile;  // where the sculpting application is configured
    std::string application; // the one configured there; empty when none is
    std::string executable;  // its executable
    bool executableFound = false;
    int waitedSeconds = 0;
    bool reportCame = false;
    std::string report; // the sculpting application's report
};

// The exit status and the last line: 0 when the sculpting application loaded
// the layer's mesh, or showed the not-a-3D-layer message for a layer that is
// not 3D; 1 with where and why the send stopped otherwise.
struct SendVerdict
{
    int status;
    std::string line;
};

SendVerdict judgeSend(const SendFacts& facts);

// Whether a run that got this far can have had the sculpting application
// start (so that its report is worth waiting for).
bool applicationAsked(const SendFacts& facts);
// Whether the send stopped before the sculpting application had anything to
// load (it may still have been asked to show a message).
bool stoppedBeforeLoading(const SendFacts& facts);

// 'Parm' (0x5061726D), or the number when the code is not four characters.
std::string resultCodeText(SPErr code);
