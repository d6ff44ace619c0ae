#pragma once

// `tivtool compare A B [--weld] [--flip] [--tolerance T] [--picture OUT.png] [--json]`.

#include <string>
#include <vector>

class QDTivMesh;

// Reads one operand as `convert` reads its input, welded and flipped as asked
// when it is an OBJ; returns why it could not be read, or an empty string.
typedef std::string (*OperandReader)(const std::string& path, QDTivMesh& mesh, bool weld,
                                     bool flip);

// The words after "compare"; returns the exit status: 0 the same within the
// tolerance, 1 different, 2 a usage error or a file that cannot be read or written.
int compareCommand(const std::vector<std::string>& arguments, OperandReader read);

// Writes B's picture, drawn in its frame: faces coloured by how far their
// vertices moved, or B plain with the first differing face marked. False with
// a message on failure.
struct MeshComparison;
enum class MeshFrame;
bool writeComparisonPicture(const std::string& path, const QDTivMesh& a, const QDTivMesh& b,
                            MeshFrame frame, const MeshComparison& comparison,
                            std::string& message);
