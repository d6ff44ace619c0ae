#include "CompareCommand.h"

// Placeholder until the mesh renderer is part of the build.
bool writeComparisonPicture(const std::string&, const QDTivMesh&, const QDTivMesh&,
                            const MeshComparison&, std::string& message)
{
    message = "pictures are not built into this tivtool";
    return false;
}
