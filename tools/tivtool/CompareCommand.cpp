#include "CompareCommand.h"

#include "MeshCompare.h"
#include "MeshRender.h"
#include "QDString.h"
#include "QDTivMesh.h"
#include "ToolMessages.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace
{
enum Status
{
    s_same = 0,
    s_different = 1,
    s_failed = 2
};

int usageError(const std::string& message)
{
    return reportUsageError(message, s_failed);
}

int fileError(const std::string& path, const std::string& reason)
{
    return reportFileError(path, reason, s_failed);
}

bool isMeshFile(const std::string& path)
{
    QDString name(path.c_str());
    return name.endsWith(".obj", true) || name.endsWith(".tiv", true);
}

bool parseTolerance(const std::string& text, double& tolerance)
{
    char* end = nullptr;
    tolerance = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && std::isfinite(tolerance) && tolerance >= 0;
}

struct CompareOptions
{
    std::vector<std::string> files;
    bool weld = false, flip = false, json = false;
    double tolerance = 0;
    std::string picture;
};

// Returns an empty string, or what is wrong with the words.
std::string parseOptions(const std::vector<std::string>& words, CompareOptions& options)
{
    for (size_t i = 0; i < words.size(); ++i)
    {
        const std::string& word = words[i];
        const bool hasValue = i + 1 < words.size();
        if (word == "--weld")
            options.weld = true;
        else if (word == "--flip")
            options.flip = true;
        else if (word == "--json")
            options.json = true;
        else if (word == "--tolerance")
        {
            if (!hasValue || !parseTolerance(words[++i], options.tolerance))
                return "--tolerance takes a number of at least 0";
        }
        else if (word == "--picture")
        {
            if (!hasValue) return "--picture takes a file";
            options.picture = words[++i];
        }
        else if (word.size() > 1 && word[0] == '-')
            return "unknown option " + word;
        else
            options.files.push_back(word);
    }
    if (options.files.size() != 2) return "compare takes two files";
    for (const std::string& file : options.files)
        if (!isMeshFile(file)) return file + " is neither .obj nor .tiv";
    if (!options.picture.empty() && !QDString(options.picture.c_str()).endsWith(".png", true))
        return options.picture + " is not a .png picture";
    return "";
}
} // namespace

int compareCommand(const std::vector<std::string>& arguments, OperandReader read)
{
    CompareOptions options;
    std::string problem = parseOptions(arguments, options);
    if (!problem.empty()) return usageError(problem);

    QDTivMesh meshes[2];
    for (int k = 0; k < 2; ++k)
    {
        std::string failure = read(options.files[k], meshes[k], options.weld, options.flip);
        if (!failure.empty()) return fileError(options.files[k], failure);
    }
    const QDTivMesh& a = meshes[0];
    QDTivMesh& b = meshes[1];
    beginStep("compare", options.files[1]);
    MeshComparison comparison = compareMeshes(a, b, options.tolerance);
    const std::string report = options.json
                                   ? comparisonJson(comparison, options.files[0], options.files[1])
                                   : comparisonText(comparison, options.files[0], options.files[1]);
    fputs(report.c_str(), stdout);
    fflush(stdout);

    if (!options.picture.empty())
    {
        std::string message;
        // A flipped OBJ is in the sculpting application's frame, as a .tiv is.
        const MeshFrame frame = options.flip ? MeshFrame::sculpting : meshFrameOf(options.files[1]);
        if (!writeComparisonPicture(options.picture, a, b, frame, comparison, message))
            return fileError(options.picture, message);
    }
    return comparison.same() ? s_same : s_different;
}
