// Stand-in for the sculpting application. Asked to open a script, it does what
// the real application's scripts do as far as the exchange goes: the loading
// script reads the object list and loads every listed mesh file; the
// not-a-3D-layer script shows its message. It draws every mesh it loads as the
// sculpting application shows it (y down, z into the screen), with its colour
// map, into a picture beside the mesh file. It reports in a summary file
// beside its bundle, written whole and then renamed into place so that a reader
// never sees half of it. It prints nothing: started from a plug-in, it may share the
// editor's output, and would break into the middle of it.

#include "AbsolutePath.h"
#include "ArrivalCheck.h"
#include "ColourMap.h"
#include "MeshCompare.h"
#include "MeshRender.h"
#include "QDString.h"
#include "QDTivMesh.h"
#include "ReplaceFile.h"
#include "StandInRecord.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#ifndef TIV_SANDBOX_ROOT
#define TIV_SANDBOX_ROOT ""
#endif

namespace
{
std::string readText(const std::string& path, size_t limit = 1 << 20)
{
    std::ifstream in(path, std::ios::binary);
    std::string text(limit, '\0');
    in.read(&text[0], std::streamsize(limit));
    text.resize(size_t(in.gcount()));
    return text;
}

std::string parentOf(const std::string& path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string nameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// Scripts live in <root>/TivApps/<application>/; elsewhere, the sandbox's root.
std::string exchangeRootOf(const std::string& script)
{
    std::string appsFolder = parentOf(parentOf(script));
    if (nameOf(appsFolder) == "TivApps") return parentOf(appsFolder);
    return TIV_SANDBOX_ROOT;
}

bool fileExists(const std::string& path)
{
    return std::ifstream(path).good();
}

std::string describeMesh(const std::string& tivPath)
{
    QDTivMesh mesh;
    if (!mesh.loadFromTivFile(libraryPath(tivPath).c_str()))
        return nameOf(tivPath) + ": cannot be read\n";
    const MeshCounts n = countMesh(mesh);
    char text[1024];
    std::string out = nameOf(tivPath) + ": " + std::to_string(n.vertices) + " vertices, " +
                      std::to_string(n.faces) + " faces (" + std::to_string(n.triangles) +
                      " triangles, " + std::to_string(n.quads) + " quads), " +
                      countWithSlots(n.cornerUVs, n.cornerUVSlots, "corner UV", "corner UVs") +
                      "\n";
    std::string texture = mesh.m_textureFileName.isNull() ? "" : mesh.m_textureFileName.c_str();
    out += "  texture: " +
           (texture.empty()
                ? std::string("none")
                : texture +
                      (fileExists(colourMapPath(tivPath, texture)) ? " (found)" : " (missing)")) +
           "\n";
    const BBox& box = mesh.getBBox();
    if (box.isInitialized())
    {
        // Adding 0 turns a negated zero into a plain one: "-0.000" reads as a fault.
        const QDVector3f &lo = box.getMin(), &hi = box.getMax();
        snprintf(text, sizeof(text), "  bounding box: (%.3f, %.3f, %.3f) to (%.3f, %.3f, %.3f)\n",
                 lo.x() + 0.0f, lo.y() + 0.0f, lo.z() + 0.0f, hi.x() + 0.0f, hi.y() + 0.0f,
                 hi.z() + 0.0f);
        out += text;
    }
    std::string picture = tivPath.substr(0, tivPath.size() - 4) + ".png", failure;
    RenderOptions options;
    options.frame = MeshFrame::sculpting;
    RgbImage map;
    if (loadMeshColourMap(mesh, tivPath, map, failure) == ColourMapLoad::loaded)
        options.texture = &map;
    else if (!failure.empty())
        out += "  " + failure + "\n";
    if (renderMeshToPng(mesh, options, picture, failure))
        out += "  picture: " + picture + "\n";
    else
        out += "  picture: " + picture + " not drawn: " + failure + "\n";
    return out;
}

std::string loadObjects(const std::string& root, const std::string& stem)
{
    std::string out;
    std::string from = readText(root + "/TivMorvel/Tiv_Application.txt", 4096);
    out += "sent from: " + (from.empty() ? std::string("(unknown)") : from) + "\n";
    std::istringstream list(readText(root + "/TivMorvel/Tiv_ObjectList.txt"));
    std::string object;
    int loaded = 0;
    while (std::getline(list, object))
    {
        if (!object.empty() && object.back() == '\r') object.pop_back();
        if (object.empty()) continue;
        out += describeMesh(object + ".tiv");
        out += checkArrival(stem, object + ".tiv");
        ++loaded;
    }
    if (loaded == 0) out += "the object list names no object\n";
    return out;
}

// The message is the first double-quoted text of the script.
std::string scriptMessage(const std::string& script)
{
    std::string text = readText(script, 65536);
    size_t open = text.find('"');
    size_t close = open == std::string::npos ? open : text.find('"', open + 1);
    if (close == std::string::npos) return "(the script holds no message)";
    return text.substr(open + 1, close - open - 1);
}

void writeSummary(const std::string& stem, const std::string& summary)
{
    replaceFileWith(stem + "_Summary.txt", summary);
}
} // namespace

int main(int argc, char** argv)
{
    std::string stem = recordStem(argv[0]);
    recordArguments(stem, argc, argv);
    if (argc < 2) return 0; // started without a document: nothing to report

    std::string script = absolutePath(argv[1]);
    std::string summary = "Morvel (stand-in) opened " + script + "\n";
    std::string name = nameOf(script);
    if (!fileExists(script))
        summary += "the script does not exist\n";
    else if (name == "Tiv_LoadTextures.mvs")
        summary += loadObjects(exchangeRootOf(script), stem);
    else if (name == "Tiv_NotA3DLayer.mvs")
        summary += "shows: " + scriptMessage(script) + "\n";
    else
        summary += "ran the script\n";
    writeSummary(stem, summary);
    return 0;
}
