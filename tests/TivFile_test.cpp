#include "QDTivMesh.h"
#include "TestSupport.h"

#include <cstring>
#include <unistd.h>

namespace
{
std::string le32(unsigned int v)
{
    return {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
}
std::string f32(float f)
{
    unsigned int bits;
    memcpy(&bits, &f, 4);
    return le32(bits);
}
std::string zeros(size_t n)
{
    return std::string(n, '\0');
}
std::string block(unsigned tag, unsigned size, unsigned count, const std::string& data)
{
    return le32(tag) + le32(size) + le32(count) + le32(0) + data;
}
const std::string header = "Tivb" + zeros(28);
const std::string endBlock = zeros(16);

// One quad (0 1 2 3) and one triangle (0 2 3) over four corners of a unit square.
QDTivMesh squareMesh()
{
    QDTivMesh mesh;
    for (int i = 0; i < 4; ++i)
        mesh.m_vertices.push_back(QDVector3f(float(i & 1), float(i >> 1), 0.5f));
    for (int index : {0, 1, 3, 2, 0, 3, 2, -1})
        mesh.m_faceVertexIndices.push_back(index);
    return mesh;
}
std::string squareBlocks()
{
    std::string vertices, faces;
    for (int i = 0; i < 4; ++i)
        vertices += f32(float(i & 1)) + f32(float(i >> 1)) + f32(0.5f);
    for (int index : {0, 1, 3, 2, 0, 3, 2, -1})
        faces += le32(unsigned(index));
    return block(10001, 64, 4, vertices) + block(20001, 48, 2, faces);
}
std::string saved(const QDTivMesh& mesh, bool withTexture = true)
{
    std::string path = testFolder() + "/saved.tiv";
    EXPECT_TRUE(mesh.saveToTivFile(path.c_str(), withTexture));
    return readBytes(path);
}
QDTivMesh loaded(const std::string& bytes, bool expected = true)
{
    std::string path = testFolder() + "/loaded.tiv";
    writeBytes(path, bytes);
    QDTivMesh mesh;
    EXPECT_EQ(mesh.loadFromTivFile(path.c_str()), expected);
    return mesh;
}
} // namespace

TEST(TivMeshFile, WrittenBytes)
{
    QDTivMesh mesh = squareMesh();
    EXPECT_EQ(saved(mesh), header + squareBlocks() + endBlock);
    QDTivMesh quad;
    quad.m_vertices = mesh.m_vertices;
    quad.m_faceVertexIndices.reinit(4, 1);
    EXPECT_EQ(saved(quad).size(), 144u);

    // UVs, three faces' groups (odd: two padding bytes), a Windows texture path.
    mesh.m_faceVertexIndices.reinit(12, 0);
    for (int i = 0; i < 12; ++i)
        mesh.m_cornerUVs.push_back(QDVector2f(float(i), 0.25f));
    for (unsigned short group : {7, 8, 9})
        mesh.m_faceGroups.push_back(group);
    mesh.m_textureFileName = "C:\\tex\\a.png";
    mesh.m_creaseFlags.reinit(12, true); // never stored
    std::string uvs;
    for (int i = 0; i < 12; ++i)
        uvs += f32(float(i)) + f32(0.25f);
    std::string expected = header + block(10001, 64, 4, squareBlocks().substr(16, 48)) +
                           block(20001, 64, 3, zeros(48)) + block(25001, 112, 3, uvs) +
                           block(40001, 24, 3, std::string("\7\0\10\0\11\0", 6) + zeros(2)) +
                           block(45001, 32, 13, std::string("C:/tex/a.png") + zeros(4));
    EXPECT_EQ(saved(mesh), expected + endBlock);
    EXPECT_EQ(saved(mesh, false), expected.substr(0, expected.size() - 32) + endBlock);

    // 511 characters fill the 512-byte name buffer; 512 do not fit and are left out.
    mesh.m_textureFileName.create(511, 'n');
    std::string bytes = saved(mesh);
    EXPECT_EQ(bytes.substr(bytes.size() - 16 - 528, 16),
              le32(45001) + le32(528) + le32(512) + le32(0));
    mesh.m_textureFileName.create(512, 'n');
    EXPECT_EQ(saved(mesh), expected.substr(0, expected.size() - 32) + endBlock);
}

TEST(TivMeshFile, RoundTripAndTolerantReading)
{
    QDTivMesh mesh = squareMesh();
    for (int i = 0; i < 8; ++i)
        mesh.m_cornerUVs.push_back(QDVector2f(0.5f, float(i)));
    mesh.m_faceGroups.push_back(3);
    mesh.m_faceGroups.push_back(4);
    mesh.m_textureFileName = "maps\\skin.png";
    QDTivMesh back = loaded(saved(mesh));
    EXPECT_EQ(back.m_vertices.size(), 4);
    EXPECT_TRUE(back.m_vertices[3].x() == 1.0f && back.m_vertices[3].y() == 1.0f);
    EXPECT_EQ(back.m_faceVertexIndices[7], -1);
    EXPECT_TRUE(back.m_cornerUVs[7] == QDVector2f(0.5f, 7.0f));
    EXPECT_EQ(back.m_faceGroups[1], 4);
    EXPECT_STREQ(back.m_textureFileName.c_str(), "maps/skin.png");

    // Only header and end block: an empty mesh. An unknown block is skipped.
    EXPECT_EQ(loaded(header + endBlock).m_vertices.size(), 0);
    std::string unknown = block(777, 20, 0, "abcd");
    back = loaded(header + squareBlocks().substr(0, 64) + unknown + squareBlocks().substr(64));
    EXPECT_EQ(back.m_faceVertexIndices.size(), 8);
    EXPECT_EQ(back.m_faceVertexIndices[2], 3);

    // Maps the writer never emits; the factor travels in the header's param.
    std::string third = le32(55001) + le32(24) + le32(0) + f32(0.75f) + "bump" + zeros(4);
    back = loaded(header + third + block(50001, 20, 0, std::string("sec", 4)) + endBlock);
    EXPECT_EQ(back.m_thirdMapFactor, 0.75f);
    EXPECT_STREQ(back.m_thirdMapFileName.c_str(), "bump");
    EXPECT_STREQ(back.m_secondMapFileName.c_str(), "sec");
    back.clear();
    EXPECT_EQ(back.m_thirdMapFactor, 0.75f);

    // A cut file keeps the announced sizes, zero past the cut, and still loads.
    back = loaded(header + squareBlocks().substr(0, 16 + 20));
    ASSERT_EQ(back.m_vertices.size(), 4);
    EXPECT_EQ(back.m_vertices[1].x(), 1.0f);
    EXPECT_EQ(back.m_vertices[1].z(), 0.0f);
    EXPECT_EQ(back.m_vertices[3].y(), 0.0f);
}

TEST(TivMeshFile, OddGroupCountShiftsTheNextHeader)
{
    QDTivMesh mesh = squareMesh();
    mesh.m_faceVertexIndices.reinit(12, 0);
    mesh.m_faceGroups.reinit(3, 5);
    EXPECT_EQ(loaded(saved(mesh, false)).m_faceGroups[2], 5); // end block still read as tag 0
    mesh.m_textureFileName = "t.png";
    QDTivMesh back = loaded(saved(mesh));
    EXPECT_EQ(back.m_faceGroups.size(), 3);
    EXPECT_TRUE(back.m_textureFileName.isNull()); // its header was misread two bytes early
    mesh.m_faceVertexIndices.reinit(16, 0);
    mesh.m_faceGroups.reinit(4, 5);
    EXPECT_STREQ(loaded(saved(mesh)).m_textureFileName.c_str(), "t.png");
}

TEST(TivMeshFile, HostileFilesFailOrStayInBounds)
{
    // 2^31-1 vertices in a 100-byte file; a face count whose corners overflow an int.
    EXPECT_EQ(loaded(header + block(10001, 16, 0x7FFFFFFF, zeros(52)), false).m_vertices.size(), 0);
    loaded(header + block(20001, 16, 0xFFFFFFFF, "") + endBlock, false);
    loaded(header + block(45001, 0xFFFFFFF0, 0, "name") + endBlock, false);
    // A size below the header's own would step backwards forever.
    loaded(header + block(777, 8, 0, "") + endBlock, false);
    // Many small claims add up past the budget of one load.
    std::string many = header;
    for (int i = 0; i < 3; ++i)
        many += block(10001, 16, 1 << 20, "");
    loaded(many + endBlock, false);
    // Sizes that disagree with the count: the array keeps its count, the next
    // header is found at the block's end.
    QDTivMesh back =
        loaded(header + block(10001, 40, 1, f32(1) + f32(2) + f32(3) + "extraextraex") +
               block(20001, 16, 1, "") + endBlock);
    EXPECT_EQ(back.m_vertices.size(), 1);
    EXPECT_EQ(back.m_vertices[0].z(), 3.0f);
    EXPECT_EQ(back.m_faceVertexIndices.size(), 4);
    back = loaded(header + block(10001, 20, 2, f32(9)) + block(40001, 16, 1, std::string("\1", 2)) +
                  endBlock);
    EXPECT_EQ(back.m_vertices.size(), 2);
    EXPECT_EQ(back.m_vertices[1].x(), 0.0f);
    EXPECT_EQ(back.m_faceGroups[0], 1);
    // An unknown block claiming 4 GiB ends the file instead of wrapping around.
    EXPECT_EQ(loaded(header + squareBlocks() + block(9, 0xFFFFFFFF, 0, "")).m_vertices.size(), 4);
}

TEST(TivMeshFile, MissingFilesAndFailedWrites)
{
    QDTivMesh mesh = squareMesh();
    std::string folder = testFolder();
    EXPECT_FALSE(mesh.loadFromTivFile((folder + "/none.tiv").c_str()));
    EXPECT_EQ(mesh.m_vertices.size(), 0);
    mesh = squareMesh();
    writeBytes(folder + "/bad.tiv", "TIVB" + zeros(28) + squareBlocks() + endBlock);
    EXPECT_FALSE(mesh.loadFromTivFile((folder + "/bad.tiv").c_str()));
    EXPECT_EQ(mesh.m_faceVertexIndices.size(), 0);

    mesh = squareMesh();
    EXPECT_FALSE(mesh.saveToTivFile((folder + "/bad.tiv/under-a-file.tiv").c_str(), true));
    if (std::filesystem::exists("/dev/full")) // the disk is full: refused on flush
    {
        EXPECT_FALSE(mesh.saveToTivFile("/dev/full", true));
    }
}

TEST(TivMeshFile, ReadOnlyFolderRefusesTheSave)
{
    std::string readOnly = testFolder() + "/readonly";
    std::filesystem::create_directory(readOnly);
    std::filesystem::permissions(readOnly, std::filesystem::perms::owner_read |
                                               std::filesystem::perms::owner_exec);
    if (access(readOnly.c_str(), W_OK) == 0)
        GTEST_SKIP() << "permissions are not enforced for this user";
    EXPECT_FALSE(squareMesh().saveToTivFile((readOnly + "/m.tiv").c_str(), true));
}
