#pragma once

// A host plug-in bundle as the host sees it before loading its code:
//   NAME.plugin/Contents/Info.plist        names the executable (CFBundleExecutable)
//   NAME.plugin/Contents/MacOS/EXE         the code
//   NAME.plugin/Contents/Resources/EXE.rsrc the resource file with the 'PiPL'
// Every reader here is bounded: a damaged or hostile file is refused with a
// reason, never read past its end, and never makes a large allocation.

#include <cstdint>
#include <string>
#include <vector>

// One property of a plug-in property list, as the file has it.
struct PiPLProperty
{
    uint32_t vendor = 0;
    uint32_t key = 0;
    std::string data; // without its padding
};

struct PlugInBundle
{
    std::string path;       // the .plugin folder
    std::string executable; // its Contents/MacOS/EXE
    int16_t piplID = 0;
    std::vector<PiPLProperty> pipl;
    std::string entry; // the entry point that this host's code property names
    // The exchange root its code works in, empty when its code names none.
    std::string exchangeRoot;
};

// The code property for this host's architecture: 'mi64' on x86-64, 'mi32' on i386.
uint32_t hostCodeKey();

// Reads the bundle's Info.plist and PiPL and checks what the host checks: an
// automation kind and a code property for this architecture. False, with the
// reason, for a bundle the host would not list.
bool examineBundle(const std::string& path, PlugInBundle& bundle, std::string& reason);

// The exchange root that a Tiv plug-in's code is built for: the folder its log
// file's path starts with (ROOT/TivProjects/Default/Tiv_PhotoshopPlugin.txt).
// Empty when the code names no such path. Reads the file in bounded pieces.
std::string exchangeRootOf(const std::string& executable);

// The .plugin bundles in a Plug-ins folder and its subfolders, in name order.
// Names that start with "~" are skipped, as the host skips them.
std::vector<std::string> findBundles(const std::string& folder);

// The property list, one line per property.
std::string describePiPL(const PlugInBundle& bundle);

// The first resource of the type in a resource file's bytes.
bool readResource(const std::string& file, uint32_t type, int16_t& id, std::string& data,
                  std::string& error);
bool parsePiPL(const std::string& bytes, std::vector<PiPLProperty>& properties, std::string& error);
