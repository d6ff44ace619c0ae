#include "SendVerdict.h"

#include <cstdio>
#include <sstream>

namespace
{
const std::string s_stopped = "tiv-host: the send stopped ";

std::string fileName(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// The rest of the first report line that starts so; false when none does.
bool reportLine(const std::string& report, const std::string& start, std::string& rest)
{
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);)
        if (line.compare(0, start.size(), start) == 0)
        {
            rest = line.substr(start.size());
            return true;
        }
    return false;
}

SendVerdict notA3DLayer(const SendFacts& facts)
{
    std::string message, loaded;
    if (reportLine(facts.report, "shows: ", message))
        return {0, "tiv-host: nothing to send, the layer is not a 3D layer; the sculpting "
                   "application showed \"" +
                       message + "\""};
    // An OBJ left by an earlier export is read as if this layer had been exported.
    if (!facts.tivPath.empty() && reportLine(facts.report, fileName(facts.tivPath) + ": ", loaded))
        return {1, s_stopped +
                       "at the sculpting application: the layer is not a 3D layer, yet "
                       "it loaded " +
                       fileName(facts.tivPath) + " (" + loaded.substr(0, loaded.find(" (")) +
                       "), made from the OBJ an earlier export left"};
    return {1, s_stopped + "at the sculpting application: the layer is not a 3D layer, and it "
                           "did not show the message that says so"};
}

SendVerdict arrival(const SendFacts& facts)
{
    std::string name = fileName(facts.tivPath), loaded, message;
    if (!reportLine(facts.report, name + ": ", loaded))
    {
        std::string instead =
            reportLine(facts.report, "shows: ", message) ? ": it showed \"" + message + "\"" : "";
        return {1, s_stopped + "at the sculpting application: it did not load " + name + instead};
    }
    long vertices = -1, faces = -1;
    if (sscanf(loaded.c_str(), "%ld vertices, %ld faces", &vertices, &faces) != 2)
        return {1, s_stopped + "at the sculpting application: " + name + " " + loaded};
    // An empty mesh announced for a layer that has faces is the one result a
    // send must never give.
    if (faces == 0 && facts.layerTriangles > 0)
        return {1, s_stopped + "at the sculpting application: " + name +
                       " arrived without a face, where the layer has " +
                       std::to_string(facts.layerTriangles) + " triangles"};
    return {0, "tiv-host: sent; the sculpting application loaded " + name + " (" +
                   std::to_string(vertices) + " vertices, " + std::to_string(faces) + " faces)"};
}
} // namespace

std::string resultCodeText(SPErr code)
{
    char text[64];
    unsigned u = unsigned(code);
    char c[4] = {char(u >> 24), char(u >> 16), char(u >> 8), char(u)};
    bool printable = true;
    for (char ch : c)
        printable = printable && ch >= 32 && ch <= 126;
    if (printable)
        snprintf(text, sizeof(text), "'%c%c%c%c' (0x%08X)", c[0], c[1], c[2], c[3], u);
    else
        snprintf(text, sizeof(text), "%d", int(code));
    return text;
}

bool stoppedBeforeLoading(const SendFacts& facts)
{
    return facts.layerIs3D && (!facts.exportWritten || !facts.tivWritten);
}

bool applicationAsked(const SendFacts& facts)
{
    return facts.result == kSPNoError && facts.exportAsked && !facts.application.empty() &&
           facts.executableFound;
}

SendVerdict judgeSend(const SendFacts& facts)
{
    if (facts.result != kSPNoError)
        return {1, s_stopped + "in the plug-in: it failed with " + resultCodeText(facts.result)};
    if (!facts.exportAsked)
        return {1, "tiv-host: nothing sent: the plug-in did not ask for the layer's export"};
    if (facts.layerIs3D && !facts.exportWritten)
        return {1, s_stopped + "at the export: " + facts.exportError};
    if (facts.layerIs3D && !facts.tivWritten)
        return {1, s_stopped + "after the export: no " + facts.tivPath + " was written"};
    if (facts.application.empty())
        return {1, s_stopped + "before the sculpting application: none is configured in " +
                       facts.configFile};
    if (!facts.executableFound)
        return {1, s_stopped + "before the sculpting application: no launch, " + facts.application +
                       " has no executable " + facts.executable};
    if (!facts.reportCame)
        return {1, s_stopped + "at the sculpting application: no report from it within " +
                       std::to_string(facts.waitedSeconds) + " s"};
    return facts.layerIs3D ? arrival(facts) : notA3DLayer(facts);
}
