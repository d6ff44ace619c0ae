#include "QDTivFile.h"
#include "QDTivMesh.h"

#include <climits>
#include <cstring>

namespace
{
const unsigned int s_verticesTag = 10001;
const unsigned int s_facesTag = 20001;
const unsigned int s_cornerUVsTag = 25001;
const unsigned int s_faceGroupsTag = 40001;
const unsigned int s_textureNameTag = 45001;
const unsigned int s_secondMapTag = 50001;
const unsigned int s_thirdMapTag = 55001;

// The texture block is assembled in a buffer of this size; longer names are not
// written at all rather than cut.
const int s_textureNameBufferSize = 512;

// A cut file may announce more than it holds and still load with zero-filled
// tails, but what one load allocates stays within this many times the file's
// size plus a fixed allowance; a claim beyond that marks the file as damaged.
const unsigned long long s_budgetPerFileByte = 4;
const unsigned long long s_budgetAllowance = 16ull * 1024 * 1024;

bool writeArrayBlock(QDTivFile& file, unsigned int tag, unsigned long long count,
                     unsigned long long dataBytes, const void* data)
{
    if (count > UINT_MAX || dataBytes > UINT_MAX)
    {
        file.abandon();
        return false;
    }
    return file.writeTivBlock(tag, 0.0f, (unsigned int)count, (unsigned int)dataBytes, data);
}

// Fails silently: a texture name that cannot be written leaves a mesh without one.
void writeTextureNameBlock(QDTivFile& file, const QDString& name)
{
    int n = name.length();
    if (n >= s_textureNameBufferSize) return;
    char buffer[s_textureNameBufferSize] = {};
    memcpy(buffer, name.c_str(), size_t(n) + 1);
    int padded = (n + 4) & ~3;
    for (int i = 0; i < padded; ++i)
        if (buffer[i] == '\\') buffer[i] = '/';
    file.writeTivBlock(s_textureNameTag, 0.0f, unsigned(n) + 1, unsigned(padded), buffer);
}

class LoadBudget
{
public:
    explicit LoadBudget(long fileSize)
        : m_left(s_budgetAllowance +
                 (fileSize > 0 ? s_budgetPerFileByte * (unsigned long long)fileSize : 0))
    {
    }
    bool take(unsigned long long bytes)
    {
        if (bytes > m_left) return false;
        m_left -= bytes;
        return true;
    }

private:
    unsigned long long m_left;
};

// Fills up to `capacity` bytes at `target` from the block's data and moves to
// the block's end. The read's result is not checked: what a cut file lacks
// stays zero. A block larger than its count says has its excess skipped.
void readBlockData(const QDTivFile& file, const Tiv_Header& header, void* target,
                   unsigned long long capacity)
{
    unsigned long long stored = header.size - QDTivFile::s_blockHeaderBytes;
    unsigned long long n = stored < capacity ? stored : capacity;
    if (n > 0) QDDiskServer::fileRead(file.getFile(), target, (unsigned long)n);
    if (stored > n) file.skipBytes(stored - n);
}

template <typename T>
bool readArrayBlock(const QDTivFile& file, const Tiv_Header& header, LoadBudget& budget,
                    unsigned long long elements, QDArray<T>& array)
{
    if (elements > (unsigned long long)INT_MAX || !budget.take(elements * sizeof(T))) return false;
    array.reinit(int(elements));
    readBlockData(file, header, array.begin(), elements * sizeof(T));
    return true;
}

bool readNameBlock(const QDTivFile& file, const Tiv_Header& header, LoadBudget& budget,
                   QDString& name)
{
    unsigned long long n = header.size - QDTivFile::s_blockHeaderBytes;
    if (n >= (unsigned long long)INT_MAX || !budget.take(n + 1)) return false;
    name.create(int(n), 0);
    readBlockData(file, header, name.c_str(), n);
    return true;
}

// The group block is read by its count, not its size: an odd count leaves its
// two padding bytes unread, so the next header is taken two bytes early. Files
// have always been read this way; the end block still reads as tag 0 after it.
bool readFaceGroups(const QDTivFile& file, const Tiv_Header& header, LoadBudget& budget,
                    QDArray<unsigned short>& groups)
{
    unsigned long long count = header.count;
    if (count > (unsigned long long)INT_MAX || !budget.take(count * 2)) return false;
    groups.reinit(int(count));
    if (count > 0)
        QDDiskServer::fileRead(file.getFile(), groups.begin(), (unsigned long)(count * 2));
    return true;
}

bool readBlock(QDTivMesh& mesh, const QDTivFile& file, const Tiv_Header& header, LoadBudget& budget)
{
    // Every block but the group block is read or skipped by its size, and a
    // size below the header's own would step backwards.
    if (header.tag != s_faceGroupsTag && header.size < QDTivFile::s_blockHeaderBytes) return false;
    const unsigned long long count = header.count;
    switch (header.tag)
    {
    case s_verticesTag:
        return readArrayBlock(file, header, budget, count, mesh.m_vertices);
    case s_facesTag:
        return readArrayBlock(file, header, budget, count * 4, mesh.m_faceVertexIndices);
    case s_cornerUVsTag:
        return readArrayBlock(file, header, budget, count * 4, mesh.m_cornerUVs);
    case s_faceGroupsTag:
        return readFaceGroups(file, header, budget, mesh.m_faceGroups);
    case s_textureNameTag:
        return readNameBlock(file, header, budget, mesh.m_textureFileName);
    case s_secondMapTag:
        return readNameBlock(file, header, budget, mesh.m_secondMapFileName);
    case s_thirdMapTag:
        mesh.m_thirdMapFactor = header.param;
        return readNameBlock(file, header, budget, mesh.m_thirdMapFileName);
    default:
        file.skipTivBlock(header);
        return true;
    }
}
} // namespace

bool QDTivMesh::saveToTivFile(const QDString& path, bool writeTextureName) const
{
    QDTivFile file;
    if (!file.open(path, "wb") || !file.writeTivFileHeader()) return false;
    const unsigned long long indexCount = (unsigned long long)m_faceVertexIndices.size();
    if (!writeArrayBlock(file, s_verticesTag, (unsigned long long)m_vertices.size(),
                         (unsigned long long)m_vertices.size() * sizeof(QDVector3f),
                         m_vertices.begin()))
        return false;
    if (!writeArrayBlock(file, s_facesTag, indexCount / 4, indexCount * sizeof(int),
                         m_faceVertexIndices.begin()))
        return false;
    if (!m_cornerUVs.empty())
    {
        const unsigned long long uvCount = (unsigned long long)m_cornerUVs.size();
        if (!writeArrayBlock(file, s_cornerUVsTag, uvCount / 4, uvCount * sizeof(QDVector2f),
                             m_cornerUVs.begin()))
            return false;
    }
    if (!m_faceGroups.empty())
    {
        const unsigned long long groupCount = (unsigned long long)m_faceGroups.size();
        if (!writeArrayBlock(file, s_faceGroupsTag, groupCount, groupCount * 2,
                             m_faceGroups.begin()))
            return false;
    }
    if (writeTextureName && !m_textureFileName.empty())
        writeTextureNameBlock(file, m_textureFileName);
    bool written = file.writeEndTivBlock();
    // Closing flushes what the stream still buffers: a full disk may refuse it.
    bool closed = file.close();
    return written && closed;
}

bool QDTivMesh::loadFromTivFile(const QDString& path)
{
    clear();
    QDTivFile file;
    if (!file.open(path, "rb") || !file.readTivFileHeader()) return false;
    LoadBudget budget(QDDiskServer::fileSize(file.getFile()));
    Tiv_Header header;
    while (file.readTivBlockHeader(header) && header.tag != 0)
    {
        // A claim beyond the budget would allocate far more than the file could fill.
        if (!readBlock(*this, file, header, budget))
        {
            clear();
            return false;
        }
    }
    file.close();

    // Expands unique texture coordinates to corners; no block of this version
    // fills the unique set, so nothing happens today.
    if (m_cornerUVs.empty() && !m_uniqueUVs.empty())
    {
        m_cornerUVs.resize(m_cornerUVIndices.size());
        for (int i = 0; i < m_cornerUVIndices.size(); ++i)
        {
            int index = m_cornerUVIndices[i];
            if (index >= 0 && index < m_uniqueUVs.size()) m_cornerUVs[i] = m_uniqueUVs[index];
        }
    }
    return true;
}
