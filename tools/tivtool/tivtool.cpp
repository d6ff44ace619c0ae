// tivtool: what a mesh file holds, and conversion between OBJ and Tiv mesh
// files with the same reader, writers, welding and axis conversion as a send.

#include "AbsolutePath.h"
#include "ColourMap.h"
#include "CompareCommand.h"
#include "FileFindings.h"
#include "MeshCompare.h"
#include "MeshRender.h"
#include "QDObjImport.h"
#include "QDTivMesh.h"
#include "TivPSServer.h"
#include "ToolMessages.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace
{
const char* const s_usage =
    "usage: tivtool info FILE\n"
    "       tivtool check FILE... [--json]\n"
    "       tivtool convert IN OUT [--weld] [--flip]\n"
    "       tivtool compare A B [--weld] [--flip] [--tolerance T] [--picture OUT.png] [--json]\n"
    "       tivtool render IN OUT.png [--size N] [--view VIEW] [--uv] [--no-texture]\n"
    "       tivtool --help\n"
    "\n"
    "FILE, IN and OUT are .obj or .tiv files (by extension).\n"
    "  info      vertices, faces, corners, texture coordinates, face groups,\n"
    "            texture name, bounding box and number of findings of the mesh\n"
    "  check     findings: what the plug-in reads in the files that a user would\n"
    "            not expect (every command says them on stderr)\n"
    "  convert   reads IN (an OBJ with its texture coordinates and the colour\n"
    "            map of its MTL file) and writes OUT\n"
    "  compare   whether B is A unchanged: counts, faces (rotated corners\n"
    "            allowed), texture seams, and how far vertices and texture\n"
    "            coordinates moved (more than T counts; T is 0 by default)\n"
    "  --weld    merges vertices at equal positions\n"
    "  --flip    negates y and z and flips texture v, as a send to the\n"
    "            sculpting application does (compare: OBJ files only)\n"
    "  render    draws IN into the PNG picture OUT.png: orthographic, fitted\n"
    "            to the mesh, N pixels square (default 512, at most 8192), with\n"
    "            its colour map; an OBJ as the editor shows it (y up), a .tiv\n"
    "            as the sculpting application does (y down, z into the screen)\n"
    "  --view    front (default), back, left, right, top, bottom or iso\n"
    "  --uv      draws the texture-coordinate layout in the unit square instead\n"
    "  --no-texture  draws the faces plain, without the colour map\n"
    "  --picture B coloured by how far its faces moved\n"
    "  --json    the comparison as one JSON object\n"
    "exit status: 0 done, 1 a file could not be read or written (or not enough\n"
    "memory for it), 2 usage error; compare: 0 same, 1 different, 2 usage error\n"
    "or a file that cannot be read or written; check: 0 no findings, 1 findings,\n"
    "2 usage error or a file that cannot be read\n";

enum Status
{
    s_done = 0,
    s_fileError = 1,
    s_usageError = 2
};

enum Kind
{
    s_unknownKind,
    s_objKind,
    s_tivKind
};

Kind kindOf(const std::string& path)
{
    QDString name(path.c_str());
    if (name.endsWith(".obj", true)) return s_objKind;
    if (name.endsWith(".tiv", true)) return s_tivKind;
    return s_unknownKind;
}

int usageError(const std::string& message)
{
    return reportUsageError(message, s_usageError);
}

int fileError(const std::string& path, const std::string& reason)
{
    return reportFileError(path, reason, s_fileError);
}

// Reads a mesh, welded when asked, and what the plug-in's reader made of the
// file that a user would not expect into `findings`; on failure returns the
// reason, else an empty string.
std::string readMesh(const std::string& path, QDTivMesh& mesh, bool weld, FileFindings& findings)
{
    beginStep("read", path);
    FILE* probe = fopen(path.c_str(), "rb");
    if (!probe) return strerror(errno);
    fclose(probe);
    if (std::filesystem::is_directory(path)) return "is a folder";
    const QDString library(libraryPath(path).c_str());
    if (kindOf(path) == s_objKind)
    {
        // The findings take a pass of their own over the file, as long as the
        // import: on a second core it costs no time.
        std::exception_ptr scanFailure;
        auto work = [&]
        {
            try
            {
                findObjReadings(path, findings);
            }
            catch (...)
            {
                scanFailure = std::current_exception();
            }
        };
        struct Joined
        {
            std::thread thread;
            ~Joined()
            {
                if (thread.joinable()) thread.join();
            }
        } scan;
        try
        {
            scan.thread = std::thread(work);
        }
        catch (const std::system_error&)
        {
            work(); // no second thread to be had
        }
        QDObjImport importer;
        if (!importer.importTivMesh(library, mesh, true, weld)) return "cannot be opened";
        if (scan.thread.joinable()) scan.thread.join();
        if (scanFailure) std::rethrow_exception(scanFailure);
        return "";
    }
    if (!mesh.loadFromTivFile(library)) return "not a Tiv mesh file";
    findTivReadings(path, mesh, findings);
    if (weld) mesh.mergeEqualVertices();
    return "";
}

// readMesh, the findings said on stderr.
std::string readMesh(const std::string& path, QDTivMesh& mesh, bool weld = false,
                     int* findingCount = nullptr)
{
    FileFindings findings;
    std::string failure = readMesh(path, mesh, weld, findings);
    fputs(findings.lines(path, "tivtool: ").c_str(), stderr);
    if (findingCount) *findingCount = findings.total();
    return failure;
}

std::string writeMesh(const std::string& path, const QDTivMesh& mesh)
{
    beginStep("write", path);
    bool written = kindOf(path) == s_objKind ? mesh.saveToObjFile(libraryPath(path).c_str(), true,
                                                                  false, true, false, false)
                                             : mesh.saveToTivFile(libraryPath(path).c_str(), true);
    if (written) return "";
    return errno != 0 ? strerror(errno) : "cannot be written";
}

int info(const std::string& path)
{
    QDTivMesh mesh;
    int findings = 0;
    std::string failure = readMesh(path, mesh, false, &findings);
    if (!failure.empty()) return fileError(path, failure);

    const MeshCounts n = countMesh(mesh);
    std::vector<bool> groupUsed(65536, false);
    int groups = 0;
    for (unsigned short g : mesh.m_faceGroups)
        if (!groupUsed[g])
        {
            groupUsed[g] = true;
            ++groups;
        }

    printf("file:         %s\n", path.c_str());
    printf("vertices:     %d\n", n.vertices);
    printf("faces:        %d (%d triangles, %d quads)\n", n.faces, n.triangles, n.quads);
    // A triangle's fourth slot is no corner.
    auto withSlots = [](int count, int slots)
    {
        return std::to_string(count) +
               (slots == count ? "" : " (" + std::to_string(slots) + " slots)");
    };
    printf("corners:      %s\n", withSlots(n.corners, n.cornerSlots).c_str());
    printf("corner UVs:   %s\n", withSlots(n.cornerUVs, n.cornerUVSlots).c_str());
    printf("unique UVs:   %d\n", mesh.getUniqueUVs().size());
    printf("face groups:  %d\n", groups);
    printf("texture:      %s\n",
           mesh.m_textureFileName.empty() ? "(none)" : mesh.m_textureFileName.c_str());
    const BBox& box = mesh.getBBox();
    if (box.isInitialized())
        printf("bounding box: (%g, %g, %g) to (%g, %g, %g)\n", box.getMin().x(), box.getMin().y(),
               box.getMin().z(), box.getMax().x(), box.getMax().y(), box.getMax().z());
    else
        printf("bounding box: (empty)\n");
    printf("findings:     %d\n", findings);
    return s_done;
}

// tivtool check FILE... [--json]: the findings of each file on stdout.
int check(const std::vector<std::string>& files, bool json)
{
    int status = 0;
    std::string report;
    for (const std::string& path : files)
    {
        QDTivMesh mesh;
        FileFindings findings;
        std::string failure = readMesh(path, mesh, false, findings);
        if (!failure.empty())
        {
            fileError(path, failure);
            status = 2;
            if (json)
                report += std::string(report.empty() ? "" : ",\n") +
                          "  {\"file\": " + jsonString(path) +
                          ", \"error\": " + jsonString(failure) + "}";
            continue;
        }
        if (findings.total() > 0 && status == 0) status = 1;
        if (json)
            report += std::string(report.empty() ? "" : ",\n") + "  " + findings.json(path);
        else
            report +=
                findings.lines(path) + path + ": " +
                (findings.total() == 0 ? std::string("no findings")
                                       : std::to_string(findings.total()) +
                                             (findings.total() == 1 ? " finding" : " findings")) +
                "\n";
    }
    if (json) report = "{\"files\": [\n" + report + "\n]}\n";
    fputs(report.c_str(), stdout);
    return status;
}

// Negates y and z and flips texture v, as a send does.
void flipToMorvel(QDTivMesh& mesh)
{
    doFlipAndSwitch_PhotoshopToMorvel(mesh.m_vertices);
    doFlipV_PhotoshopToMorvel(mesh.m_cornerUVs);
    doFlipV_PhotoshopToMorvel(mesh.m_uniqueUVs);
}

// A sent .tiv is already welded and flipped: only OBJ operands are.
std::string readCompareOperand(const std::string& path, QDTivMesh& mesh, bool weld, bool flip)
{
    const bool obj = kindOf(path) == s_objKind;
    std::string failure = readMesh(path, mesh, weld && obj);
    if (failure.empty() && obj && flip) flipToMorvel(mesh);
    return failure;
}

int convert(const std::string& in, const std::string& out, bool weld, bool flip)
{
    QDTivMesh mesh;
    std::string failure = readMesh(in, mesh, weld);
    if (!failure.empty()) return fileError(in, failure);
    if (flip) flipToMorvel(mesh);
    errno = 0;
    failure = writeMesh(out, mesh);
    if (!failure.empty()) return fileError(out, failure);
    return s_done;
}

// The mesh's colour map into `map` for its picture, unless told not to; one
// line when it cannot be read, and the picture is then plain.
void loadColourMap(const std::string& meshPath, const QDTivMesh& mesh, bool wanted, RgbImage& map,
                   RenderOptions& options)
{
    if (!wanted) return;
    beginStep("read", colourMapPath(meshPath, mesh.m_textureFileName.empty()
                                                  ? std::string()
                                                  : mesh.m_textureFileName.c_str()));
    std::string message;
    ColourMapLoad load = loadMeshColourMap(mesh, meshPath, map, message);
    if (load == ColourMapLoad::loaded) options.texture = &map;
    if (load == ColourMapLoad::failed)
        fprintf(stderr, "tivtool: %s: %s\n", meshPath.c_str(), message.c_str());
}

// tivtool render IN OUT.png [--size N] [--view VIEW] [--uv] [--no-texture]; `args`
// follow "render".
int render(const std::vector<std::string>& args)
{
    RenderOptions options;
    std::vector<std::string> files;
    bool texture = true;
    for (size_t i = 0; i < args.size(); ++i)
    {
        const bool valued = args[i] == "--size" || args[i] == "--view";
        if (valued && i + 1 == args.size()) return usageError(args[i] + " needs a value");
        if (args[i] == "--uv")
            options.uvLayout = true;
        else if (args[i] == "--no-texture")
            texture = false;
        else if (args[i] == "--view" && !parseRenderView(args[++i], options.view))
            return usageError("unknown view " + args[i]);
        else if (args[i] == "--size")
        {
            const std::string& n = args[++i];
            if (n.empty() || n.size() > 9 || n.find_first_not_of("0123456789") != n.npos ||
                std::stoi(n) < 1)
                return usageError("--size takes a number of pixels, not " + n);
            options.size = std::min(std::stoi(n), s_maxRenderSize);
        }
        else if (!valued && args[i].size() > 1 && args[i][0] == '-')
            return usageError("unknown option " + args[i]);
        else if (!valued)
            files.push_back(args[i]);
    }
    if (files.size() != 2) return usageError("render takes an input file and an output picture");
    if (kindOf(files[0]) == s_unknownKind)
        return usageError(files[0] + " is neither .obj nor .tiv");
    if (!QDString(files[1].c_str()).endsWith(".png", true))
        return usageError(files[1] + " is not a .png picture");

    QDTivMesh mesh;
    std::string failure = readMesh(files[0], mesh);
    if (!failure.empty()) return fileError(files[0], failure);
    options.frame = meshFrameOf(files[0]);
    RgbImage map, image;
    loadColourMap(files[0], mesh, texture, map, options);
    beginStep("draw", files[0]);
    // Nothing to draw is said, and still gives a (plain) picture.
    if (!renderMesh(mesh, options, image, failure))
        fprintf(stderr, "tivtool: %s: nothing to draw: %s\n", files[0].c_str(), failure.c_str());
    beginStep("write", files[1]);
    if (!writePng(files[1], image, failure)) return fileError(files[1], failure);
    return s_done;
}
} // namespace

static int runCommand(int argc, char** argv)
{
    if (argc > 1 && strcmp(argv[1], "render") == 0)
        return render(std::vector<std::string>(argv + 2, argv + argc));
    // compare has options of its own and exit statuses of its own.
    if (argc > 1 && std::string(argv[1]) == "compare")
        return compareCommand(std::vector<std::string>(argv + 2, argv + argc), readCompareOperand);
    std::vector<std::string> words;
    bool weld = false, flip = false, json = false;
    for (int i = 1; i < argc; ++i)
    {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h")
        {
            fputs(s_usage, stdout);
            return s_done;
        }
        if (arg == "--weld")
            weld = true;
        else if (arg == "--flip")
            flip = true;
        else if (arg == "--json")
            json = true;
        else if (arg.size() > 1 && arg[0] == '-')
            return usageError("unknown option " + arg);
        else
            words.push_back(arg);
    }
    if (words.empty()) return usageError("no command");
    const std::string& command = words[0];
    if (json && command != "check") return usageError("--json is an option of check and compare");
    if (command == "check")
    {
        if (words.size() < 2 || weld || flip)
            return usageError("check takes one or more files and no option but --json");
        for (size_t k = 1; k < words.size(); ++k)
            if (kindOf(words[k]) == s_unknownKind)
                return usageError(words[k] + " is neither .obj nor .tiv");
        return check(std::vector<std::string>(words.begin() + 1, words.end()), json);
    }
    if (command == "info")
    {
        if (words.size() != 2 || weld || flip)
            return usageError("info takes one file and no option");
        if (kindOf(words[1]) == s_unknownKind)
            return usageError(words[1] + " is neither .obj nor .tiv");
        return info(words[1]);
    }
    if (command == "convert")
    {
        if (words.size() != 3) return usageError("convert takes an input and an output file");
        for (int k = 1; k <= 2; ++k)
            if (kindOf(words[k]) == s_unknownKind)
                return usageError(words[k] + " is neither .obj nor .tiv");
        return convert(words[1], words[2], weld, flip);
    }
    return usageError("unknown command " + command);
}

// Memory that runs out stops the command with what it could not do and for
// which file; the file being written is left as it was.
int main(int argc, char** argv)
{
    try
    {
        return runCommand(argc, argv);
    }
    catch (const std::bad_alloc&)
    {
        const bool twoForFiles =
            argc > 1 && (strcmp(argv[1], "compare") == 0 || strcmp(argv[1], "check") == 0);
        return reportOutOfMemory(twoForFiles ? 2 : s_fileError);
    }
}
