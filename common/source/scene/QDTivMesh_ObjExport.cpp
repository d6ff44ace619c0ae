#include "QDTivMesh.h"

#include "QDBinaryFile.h"
#include "QDDiskServer.h"

#include <charconv>
#include <cstring>
#include <memory>

namespace
{
// Formats into a buffer flushed to the stream in large writes. Numbers go
// through std::to_chars, which always writes a point, whatever the process
// locale says about decimal separators.
class ObjTextWriter
{
public:
    explicit ObjTextWriter(FILE* file) : m_file(file), m_buffer(new char[s_size]) {}
    ~ObjTextWriter() { flush(); }
    ObjTextWriter(const ObjTextWriter&) = delete;
    ObjTextWriter& operator=(const ObjTextWriter&) = delete;

    ObjTextWriter& operator<<(const char* text) { return append(text, strlen(text)); }
    ObjTextWriter& operator<<(const QDString& text)
    {
        return text.isNull() ? *this : append(text.c_str(), size_t(text.length()));
    }
    ObjTextWriter& operator<<(long long value)
    {
        room(32);
        m_used = size_t(std::to_chars(m_buffer.get() + m_used, m_buffer.get() + s_size, value).ptr -
                        m_buffer.get());
        return *this;
    }
    // printf's "%.<decimals>f" of the value widened to double.
    void fixed(float value, int decimals)
    {
        room(64);
        m_used = size_t(std::to_chars(m_buffer.get() + m_used, m_buffer.get() + s_size,
                                      double(value), std::chars_format::fixed, decimals)
                            .ptr -
                        m_buffer.get());
    }

    void flush()
    {
        if (m_used > 0) QDDiskServer::fileWrite(m_file, m_buffer.get(), m_used);
        m_used = 0;
    }

private:
    static const size_t s_size = 1 << 16;

    void room(size_t n)
    {
        if (s_size - m_used < n) flush();
    }
    ObjTextWriter& append(const char* text, size_t n)
    {
        if (n > s_size - m_used)
        {
            flush();
            if (n > s_size)
            {
                QDDiskServer::fileWrite(m_file, text, n);
                return *this;
            }
        }
        memcpy(m_buffer.get() + m_used, text, n);
        m_used += n;
        return *this;
    }

    FILE* m_file;
    std::unique_ptr<char[]> m_buffer;
    size_t m_used = 0;
};

// The path without its last n characters (all of them when shorter).
QDString withoutTail(const QDString& path, int n)
{
    QDString cut(path);
    int length = cut.length();
    cut.cutFrom(length > n ? length - n : 0);
    return cut;
}

// Writes the one material that names the colour map, beside the OBJ file.
void writeDefaultMaterial(ObjTextWriter& obj, const QDString& objPath, const QDString& textureName,
                          bool withTexture)
{
    QDString mtlPath = withoutTail(objPath, 4) + ".mtl";
    FILE* file = QDDiskServer::fileOpen(mtlPath, "w");
    if (file == QDDiskServer::s_invalidFile) return;
    QDString fileName(mtlPath);
    QDDiskServer::removePathFromFilename(fileName);
    obj << "mtllib " << fileName << "\n"
        << "usemtl defaultMat\n"
        << "\n";
    {
        ObjTextWriter mtl(file);
        mtl << "newmtl defaultMat\n";
        if (withTexture) mtl << "map_Kd " << textureName << "\n";
    }
    QDDiskServer::fileClose(file);
}

// One plain white material per group used; replaces the default material's
// file when the OBJ path ends in ".obj".
void writeGroupMaterials(ObjTextWriter& obj, const QDString& objPath, const QDBoolArray& used)
{
    QDString mtlPath = withoutTail(objPath, 3) + "mtl";
    FILE* file = QDDiskServer::fileOpen(mtlPath, "w");
    if (file == QDDiskServer::s_invalidFile) return;
    obj << "mtllib " << mtlPath << "\n";
    {
        ObjTextWriter mtl(file);
        for (int g = used.findFirst(true, 0); g >= 0; g = used.findFirst(true, g + 1))
            mtl << "newmtl Mat" << (long long)g << "\n"
                << "Kd 1.0 1.0 1.0\n";
    }
    QDDiskServer::fileClose(file);
}
} // namespace

bool QDTivMesh::saveToObjFile(const QDString& path, bool writeGroups, bool writeSmoothingGroups,
                              bool writeTextureMap, bool writeSecondMap, bool writeThirdMap) const
{
    // Kept in the interface; smoothing groups are never written.
    writeSmoothingGroups = false;
    (void)writeSmoothingGroups;

    FILE* file = QDDiskServer::fileOpen(path, "w");
    if (file == QDDiskServer::s_invalidFile) return false;
    if (m_textureFileName.empty()) writeTextureMap = false;
    if (m_secondMapFileName.empty()) writeSecondMap = false;
    if (m_thirdMapFileName.empty()) writeThirdMap = false;
    {
        ObjTextWriter obj(file);
        if (writeTextureMap || writeSecondMap || writeThirdMap)
            writeDefaultMaterial(obj, path, m_textureFileName, writeTextureMap);

        for (const QDVector3f& v : m_vertices)
        {
            obj << "v ";
            obj.fixed(v.x(), 15);
            obj << " ";
            obj.fixed(v.y(), 15);
            obj << " ";
            obj.fixed(v.z(), 15);
            obj << "\n";
        }

        const QDArray<QDVector2f>& uvs = getUniqueUVs();
        const QDArray<int>& uvIndices = getUniqueUVIndices();
        const bool hasUVs = uvIndices.size() == m_faceVertexIndices.size();
        if (hasUVs)
            for (const QDVector2f& uv : uvs)
            {
                obj << "vt ";
                obj.fixed(uv.x(), 9);
                obj << " ";
                obj.fixed(uv.y(), 9);
                obj << "\n";
            }

        // Faces beyond the group list (a mesh read from a damaged file) keep
        // the current material.
        const int faceCount = m_faceVertexIndices.size() / 4;
        const int groupCount = m_faceGroups.size() < faceCount ? m_faceGroups.size() : faceCount;
        bool groups = writeGroups && groupCount > 0;
        if (groups)
        {
            groups = false;
            for (int f = 1; f < groupCount && !groups; ++f)
                groups = m_faceGroups[f] != m_faceGroups[0];
        }
        QDBoolArray usedGroups;
        int currentGroup = -1;
        if (groups)
        {
            currentGroup = m_faceGroups[0] + 1;
            usedGroups.reinit(65536, false);
            usedGroups.set(m_faceGroups[0]);
        }

        const int* corner = m_faceVertexIndices.begin();
        const int* uvCorner = hasUVs ? uvIndices.begin() : nullptr;
        for (int f = 0; f < faceCount; ++f, corner += 4)
        {
            if (groups && f < groupCount && m_faceGroups[f] != currentGroup)
            {
                currentGroup = m_faceGroups[f];
                obj << "usemtl Mat" << (long long)currentGroup << "\n";
                usedGroups.set(currentGroup);
            }
            const int corners = corner[3] == -1 ? 3 : 4;
            obj << "f";
            for (int k = 0; k < corners; ++k)
            {
                obj << " " << (long long)corner[k] + 1;
                if (uvCorner) obj << "/" << (long long)uvCorner[4 * f + k] + 1;
            }
            obj << "\n";
        }

        if (groups) writeGroupMaterials(obj, path, usedGroups);
    }
    QDDiskServer::fileClose(file);
    return true;
}

bool QDTivMesh::saveMapsToXMaxFile(const QDString& path) const
{
    QDBinaryFile file;
    if (!file.open(path, "wb")) return false;
    if (!m_textureFileName.empty())
    {
        file.write(8);
        if (!file.write(m_textureFileName)) return false;
    }
    if (!m_secondMapFileName.empty())
    {
        file.write(9);
        if (!file.write(m_secondMapFileName)) return false;
    }
    if (!m_thirdMapFileName.empty())
    {
        file.write(10);
        file.write(m_thirdMapFactor);
        if (!file.write(m_thirdMapFileName)) return false;
    }
    return true;
}
