#pragma once

// The two OBJ files the import benchmarks read, written once into the build
// tree beside the benchmark executable and reused by later runs.

#include <cmath>
#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace objbench
{
const int s_faceTarget = 1000000;

inline std::string executableFolder()
{
    char path[4096];
    ssize_t n = readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (n <= 0) return ".";
    path[n] = 0;
    std::string s(path);
    return s.substr(0, s.find_last_of('/'));
}

inline std::string dataFolder()
{
    return executableFolder() + "/objbench-data";
}
inline std::string hostFile()
{
    return dataFolder() + "/host_1M.obj";
}
inline std::string plainFile()
{
    return dataFolder() + "/plain_1M.obj";
}
inline std::string mixedFile()
{
    return dataFolder() + "/mixed_1M.obj";
}

inline long fileSize(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? long(st.st_size) : -1;
}

// A wavy height field, so that the numbers have varied digits and signs.
inline void surfacePoint(int i, int j, double& x, double& y, double& z)
{
    x = i * 0.01 - 5.0;
    z = j * 0.01 - 2.5;
    y = 0.3 * std::sin(x * 1.7) * std::cos(z * 2.3);
}

// Written by a second file and renamed, so an interrupted run never leaves a
// partial file that would be taken for a complete one.
class Writer
{
public:
    explicit Writer(const std::string& path)
        : m_path(path), m_file(fopen((path + ".part").c_str(), "w"))
    {
    }
    FILE* file() const { return m_file; }
    bool finish()
    {
        if (!m_file) return false;
        bool ok = fclose(m_file) == 0;
        m_file = nullptr;
        return ok && rename((m_path + ".part").c_str(), m_path.c_str()) == 0;
    }

private:
    std::string m_path;
    FILE* m_file;
};

// One "v" line per point of a grid of (columns + 1) x (rows + 1) points, row by
// row: the shared positions of the plain and mixed files.
inline void writeGridPositions(FILE* f, int columns, int rows)
{
    for (int j = 0; j <= rows; ++j)
        for (int i = 0; i <= columns; ++i)
        {
            double x, y, z;
            surfacePoint(i, j, x, y, z);
            fprintf(f, "v %.6f %.6f %.6f\n", x, y, z);
        }
}

// Host export style: counts in header comments, one "v" and one "vt" per face
// corner, every face a triangle "f a/a b/b c/c".
inline bool writeHostFile(const std::string& path)
{
    Writer w(path);
    FILE* f = w.file();
    if (!f) return false;
    const int columns = 1000, rows = s_faceTarget / (2 * columns);
    const int faces = columns * rows * 2;
    fprintf(f, "#\n# Exported 3D layer\n#\n#Vertex Count %d\n#UV Vertex Count %d\n#Face Count %d\n",
            faces * 3, faces * 3, faces);
    fprintf(f, "\nmtllib host_1M.mtl\nusemtl layer_material\n\n");
    for (int j = 0; j < rows; ++j)
        for (int i = 0; i < columns; ++i)
        {
            const int corners[2][3][2] = {{{0, 0}, {1, 0}, {1, 1}}, {{0, 0}, {1, 1}, {0, 1}}};
            for (const auto& tri : corners)
                for (const auto& c : tri)
                {
                    double x, y, z;
                    surfacePoint(i + c[0], j + c[1], x, y, z);
                    fprintf(f, "v %.6f %.6f %.6f\n", x, y, z);
                }
        }
    for (int j = 0; j < rows; ++j)
        for (int i = 0; i < columns; ++i)
        {
            const int corners[6][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 0}, {1, 1}, {0, 1}};
            for (const auto& c : corners)
                fprintf(f, "vt %.6f %.6f\n", double(i + c[0]) / columns, double(j + c[1]) / rows);
        }
    for (int k = 0; k < faces; ++k)
    {
        int a = 3 * k + 1;
        fprintf(f, "f %d/%d %d/%d %d/%d\n", a, a, a + 1, a + 1, a + 2, a + 2);
    }
    if (!w.finish()) return false;
    FILE* mtl = fopen((dataFolder() + "/host_1M.mtl").c_str(), "w");
    if (!mtl) return false;
    fprintf(mtl, "newmtl layer_material\nKd 1 1 1\nmap_Kd layer_texture.png\n");
    return fclose(mtl) == 0;
}

// A general modelling package's style: shared vertices, normals, no header
// counts, quads mixed with triangle pairs, corners written "v//n".
inline bool writePlainFile(const std::string& path)
{
    Writer w(path);
    FILE* f = w.file();
    if (!f) return false;
    const int columns = 1000, rows = (s_faceTarget * 2 / 3) / columns;
    fprintf(f, "# plain mesh\no grid\n");
    writeGridPositions(f, columns, rows);
    for (int j = 0; j <= rows; ++j)
        for (int i = 0; i <= columns; ++i)
            fprintf(f, "vn %.4f %.4f %.4f\n", 0.1 * std::sin(i * 0.3), 0.98,
                    0.1 * std::cos(j * 0.2));
    fprintf(f, "s 1\n");
    for (int j = 0; j < rows; ++j)
        for (int i = 0; i < columns; ++i)
        {
            int a = j * (columns + 1) + i + 1, b = a + 1, c = b + columns + 1, d = a + columns + 1;
            if ((i + j) % 2 == 0)
                fprintf(f, "f %d//%d %d//%d %d//%d %d//%d\n", a, a, b, b, c, c, d, d);
            else
                fprintf(f, "f %d//%d %d//%d %d//%d\nf %d//%d %d//%d %d//%d\n", a, a, b, b, c, c, a,
                        a, c, c, d, d);
        }
    return w.finish();
}

// What other programs write: shared positions with "vt" and "vn" lines, no
// header counts, faces of three, four and five corners mixed, blocks of faces
// in turn written "a//n" and "a/b/c", each block opened by a comment, a blank
// line, "g", "usemtl" and "s" lines.
inline bool writeMixedFile(const std::string& path)
{
    Writer w(path);
    FILE* f = w.file();
    if (!f) return false;
    const int columns = 1000, rows = s_faceTarget * 3 / 4 / columns, blockRows = 25;
    fprintf(f, "mtllib mixed_1M.mtl\no mixed\n");
    writeGridPositions(f, columns, rows);
    fprintf(f, "\n");
    for (int j = 0; j <= rows; ++j)
        for (int i = 0; i <= columns; ++i)
            fprintf(f, "vt %.6f %.6f\n", double(i) / columns, double(j) / rows);
    fprintf(f, "\n");
    for (int j = 0; j <= rows; ++j)
        for (int i = 0; i <= columns; ++i)
            fprintf(f, "vn %.4f %.4f %.4f\n", 0.1 * std::sin(i * 0.3), 0.98,
                    0.1 * std::cos(j * 0.2));
    for (int j = 0; j < rows; ++j)
    {
        const int block = j / blockRows;
        const bool textured = block % 2 == 1;
        if (j % blockRows == 0)
            fprintf(f, "\n# block %d\ng block_%d\nusemtl material_%d\ns %d\n", block, block,
                    block % 3, block % 2 == 0 ? 1 : 0);
        for (int i = 0; i < columns; ++i)
        {
            const int a = j * (columns + 1) + i + 1, b = a + 1, c = b + columns + 1,
                      d = a + columns + 1, e = i + 1 < columns ? b + 1 : c;
            int polygons[2][5], sizes[2] = {0, 0};
            switch ((i + j) % 3)
            {
            case 0: // a quad
                sizes[0] = 4;
                polygons[0][0] = a, polygons[0][1] = b, polygons[0][2] = c, polygons[0][3] = d;
                break;
            case 1: // two triangles
                sizes[0] = sizes[1] = 3;
                polygons[0][0] = a, polygons[0][1] = b, polygons[0][2] = c;
                polygons[1][0] = a, polygons[1][1] = c, polygons[1][2] = d;
                break;
            default: // a pentagon
                sizes[0] = 5;
                polygons[0][0] = a, polygons[0][1] = b, polygons[0][2] = e, polygons[0][3] = c,
                polygons[0][4] = d;
                break;
            }
            for (int p = 0; p < 2 && sizes[p] > 0; ++p)
            {
                fputc('f', f);
                for (int k = 0; k < sizes[p]; ++k)
                {
                    const int v = polygons[p][k];
                    if (textured)
                        fprintf(f, " %d/%d/%d", v, v, v);
                    else
                        fprintf(f, " %d//%d", v, v);
                }
                fputc('\n', f);
            }
        }
    }
    return w.finish();
}

inline bool ensureFiles()
{
    mkdir(dataFolder().c_str(), 0755);
    bool ok = true;
    if (fileSize(hostFile()) <= 0) ok = writeHostFile(hostFile()) && ok;
    if (fileSize(plainFile()) <= 0) ok = writePlainFile(plainFile()) && ok;
    if (fileSize(mixedFile()) <= 0) ok = writeMixedFile(mixedFile()) && ok;
    return ok;
}
} // namespace objbench
