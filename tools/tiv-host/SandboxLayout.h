#pragma once

#include <string>
#include <vector>

// The build's sandbox exchange folder tree and where its parts come from: the
// stand-in sculpting application and launcher the build made, the editor
// itself (which the exchange names as the Photoshop side) and the scripts.
struct SandboxParts
{
    std::string root;         // the exchange root the sandbox plug-in works in
    std::string applications; // where the stand-in sculpting application lives
    std::string morvelExe, launcherExe, hostExe, scriptsFolder;
};

// Lays out what is missing of the sandbox, the way the build's layout script
// does: folders, configuration files, scripts, and the stand-ins, which are
// also replaced when the build made other ones. What is there otherwise stays
// as it is. `made` lists what was written; false with a reason when something
// could not be.
bool layOutSandbox(const SandboxParts& parts, std::vector<std::string>& made, std::string& error);
