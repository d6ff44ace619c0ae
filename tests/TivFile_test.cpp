#include "QDTivMesh.h"
#include "TestSupport.h"

namespace
{
const std::string header = "Tivb" + zeros(28);
const std::string endBlock = zeros(16);

// A quad (0 1 3 2) and a triangle (0 3 2) over the corners of a unit square.
QDTivMesh squareMesh()
{
    return makeMesh({{0, 0, 0.5f}, {1, 0, 0.5f}, {0, 1, 0.5f}, {1, 1, 0.5f}},
                    {0, 1, 3, 2, 0, 3, 2, -1});
}
const std::string squareVertices = f32(0) + f32(0) + f32(0.5f) + f32(1) + f32(0) + f32(0.5f) +
                                   f32(0) + f32(1) + f32(0.5f) + f32(1) + f32(1) + f32(0.5f);
const std::string squareBlocks =
    block(10001, 64, 4, squareVertices) +
    block(20001, 48, 2,
          le32(0) + le32(1) + le32(3) + le32(2) + le32(0) + le32(3) + le32(2) + le32(-1));

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
    EXPECT_EQ(saved(mesh), header + squareBlocks + endBlock);
    mesh.m_faceVertexIndices.resize(4);
    EXPECT_EQ(saved(mesh).size(), 144u); // 4 vertices, one quad

    // UVs, three faces' groups (odd: two padding bytes), a Windows texture path.
    mesh.m_faceVertexIndices.reinit(12, 0);
    for (int i = 0; i < 12; ++i)
        mesh.m_cornerUVs.push_back(QDVector2f(float(i), 0.25f));
    mesh.m_faceGroups.reinit(3, 7);
    mesh.m_textureFileName = "C:\\tex\\a.png";
    mesh.m_creaseFlags.reinit(12, true); // never stored
    std::string uvs;
    for (int i = 0; i < 12; ++i)
        uvs += f32(float(i)) + f32(0.25f);
    std::string blocks = header + block(10001, 64, 4, squareVertices) +
                         block(20001, 64, 3, zeros(48)) + block(25001, 112, 3, uvs) +
                         block(40001, 24, 3, std::string("\7\0\7\0\7\0", 6) + zeros(2));
    EXPECT_EQ(saved(mesh), blocks + block(45001, 32, 13, "C:/tex/a.png" + zeros(4)) + endBlock);
    EXPECT_EQ(saved(mesh, false), blocks + endBlock);

    // 511 characters fill the 512-byte name buffer; 512 do not fit and are left out.
    mesh.m_textureFileName.create(511, 'n');
    EXPECT_EQ(saved(mesh).substr(blocks.size(), 16), block(45001, 528, 512, ""));
    mesh.m_textureFileName.create(512, 'n');
    EXPECT_EQ(saved(mesh), blocks + endBlock);
}

TEST(TivMeshFile, RoundTripAndTolerantReading)
{
    QDTivMesh mesh = squareMesh();
    for (int i = 0; i < 8; ++i)
        mesh.m_cornerUVs.push_back(QDVector2f(0.5f, float(i)));
    mesh.m_faceGroups.reinit(2, 4);
    mesh.m_textureFileName = "maps\\skin.png";
    QDTivMesh back = loaded(saved(mesh));
    EXPECT_TRUE(back.m_vertices.size() == 4 && back.m_vertices[3].y() == 1.0f &&
                back.m_faceVertexIndices[7] == -1);
    EXPECT_TRUE(back.m_cornerUVs[7] == QDVector2f(0.5f, 7.0f) && back.m_faceGroups[1] == 4);
    EXPECT_STREQ(back.m_textureFileName.c_str(), "maps/skin.png");

    // Only header and end block: an empty mesh. An unknown block is skipped.
    EXPECT_EQ(loaded(header + endBlock).m_vertices.size(), 0);
    back = loaded(header + squareBlocks.substr(0, 64) + block(777, 20, 0, "abcd") +
                  squareBlocks.substr(64));
    EXPECT_TRUE(back.m_faceVertexIndices.size() == 8 && back.m_faceVertexIndices[2] == 3);

    // Maps the writer never emits; the factor travels in the header's param and
    // outlives clear().
    back = loaded(header + block(55001, 24, 0, "bump" + zeros(4), 0.75f) +
                  block(50001, 20, 0, std::string("sec", 4)) + endBlock);
    EXPECT_EQ(toStd(back.m_thirdMapFileName) + "|" + toStd(back.m_secondMapFileName), "bump|sec");
    back.clear();
    EXPECT_EQ(back.m_thirdMapFactor, 0.75f);

    // A cut file keeps the announced sizes, zero past the cut, and still loads.
    back = loaded(header + squareBlocks.substr(0, 16 + 20));
    ASSERT_EQ(back.m_vertices.size(), 4);
    EXPECT_TRUE(back.m_vertices[1].x() == 1.0f && back.m_vertices[1].z() == 0.0f);
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
    // 2^31-1 vertices in a 100-byte file; corners that overflow an int; a 4 GiB
    // name; a size that would step backwards; small claims adding up.
    EXPECT_EQ(loaded(header + block(10001, 16, 0x7FFFFFFF, zeros(52)), false).m_vertices.size(), 0);
    loaded(header + block(20001, 16, 0xFFFFFFFF, "") + endBlock, false);
    loaded(header + block(45001, 0xFFFFFFF0, 0, "name") + endBlock, false);
    loaded(header + block(777, 8, 0, "") + endBlock, false);
    std::string claims = block(10001, 16, 1 << 20, "");
    loaded(header + claims + claims + endBlock, false);

    // Sizes that disagree with the count: the array keeps its count, the next
    // header is found at the block's end (groups: count x 2 bytes, whatever the
    // size says, even one below the header's own).
    QDTivMesh back =
        loaded(header + block(10001, 40, 1, f32(1) + f32(2) + f32(3) + "extraextraex") +
               block(20001, 16, 1, "") + endBlock);
    EXPECT_TRUE(back.m_vertices.size() == 1 && back.m_vertices[0].z() == 3.0f);
    EXPECT_EQ(back.m_faceVertexIndices.size(), 4);
    back = loaded(header + block(10001, 20, 2, f32(9)) + block(40001, 4, 1, std::string("\1", 2)) +
                  endBlock);
    EXPECT_TRUE(back.m_vertices.size() == 2 && back.m_vertices[1].x() == 0.0f);
    EXPECT_EQ(back.m_faceGroups[0], 1);
    // An unknown block claiming 4 GiB ends the file instead of wrapping around.
    EXPECT_EQ(loaded(header + squareBlocks + block(9, 0xFFFFFFFF, 0, "")).m_vertices.size(), 4);
}

TEST(TivMeshFile, MissingFilesAndFailedWrites)
{
    QDTivMesh mesh = squareMesh();
    std::string folder = testFolder();
    // The mesh is cleared all the same.
    EXPECT_FALSE(mesh.loadFromTivFile((folder + "/none.tiv").c_str()) || mesh.m_vertices.size());
    mesh = squareMesh();
    writeBytes(folder + "/bad.tiv", "TIVB" + zeros(28) + squareBlocks + endBlock);
    EXPECT_FALSE(mesh.loadFromTivFile((folder + "/bad.tiv").c_str()) ||
                 mesh.m_faceVertexIndices.size());

    // Buffered: the full disk shows only when the file is closed.
    mesh = squareMesh();
    EXPECT_FALSE(mesh.saveToTivFile((folder + "/bad.tiv/under-a-file.tiv").c_str(), true) ||
                 mesh.saveToTivFile("/dev/full", true));
}
