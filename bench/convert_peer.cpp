// The work of "tivtool convert IN.obj OUT --weld --flip" assembled from the
// peers, for bench/convert_compare.sh: fast_obj parses the OBJ, meshoptimizer
// finds the distinct positions and remaps them, y and z are negated and v is
// flipped, and the arrays (positions, four vertex slots per face, four
// coordinates per face) are written with fwrite.
//
//   convert_peer IN.obj OUT

#include <fast_obj.h>
#include <meshoptimizer.h>

#include <cstdio>
#include <vector>

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        fprintf(stderr, "usage: convert_peer IN.obj OUT\n");
        return 2;
    }
    fastObjMesh* obj = fast_obj_read(argv[1]);
    if (!obj)
    {
        fprintf(stderr, "convert_peer: cannot read %s\n", argv[1]);
        return 1;
    }
    // fast_obj keeps a dummy entry 0 in front of every attribute array.
    const std::size_t positionCount = obj->position_count - 1;
    const float* positions = obj->positions + 3;
    std::vector<unsigned int> remap(positionCount);
    const std::size_t unique = meshopt_generateVertexRemap(remap.data(), nullptr, positionCount,
                                                           positions, positionCount, 12);
    std::vector<float> welded(unique * 3);
    meshopt_remapVertexBuffer(welded.data(), positions, positionCount, 12, remap.data());
    for (std::size_t i = 0; i < unique; ++i)
    {
        welded[3 * i + 1] = -welded[3 * i + 1];
        welded[3 * i + 2] = -welded[3 * i + 2];
    }

    // Polygons of five or more corners become fans of triangles.
    std::vector<int> slots;
    std::vector<float> uvs;
    slots.reserve(std::size_t(obj->face_count) * 4);
    uvs.reserve(std::size_t(obj->face_count) * 8);
    auto corner = [&](const fastObjIndex& index)
    {
        slots.push_back(index.p ? int(remap[index.p - 1]) : -1);
        uvs.push_back(obj->texcoords[2 * index.t]);
        uvs.push_back(1.0f - obj->texcoords[2 * index.t + 1]);
    };
    auto empty = [&]()
    {
        slots.push_back(-1);
        uvs.push_back(0.0f);
        uvs.push_back(0.0f);
    };
    const fastObjIndex* indices = obj->indices;
    for (unsigned int f = 0; f < obj->face_count; ++f)
    {
        const unsigned int n = obj->face_vertices[f];
        if (n == 3 || n == 4)
        {
            for (unsigned int k = 0; k < n; ++k)
                corner(indices[k]);
            if (n == 3) empty();
        }
        else
            for (unsigned int k = 2; k < n; ++k)
            {
                corner(indices[0]);
                corner(indices[k - 1]);
                corner(indices[k]);
                empty();
            }
        indices += n;
    }
    fast_obj_destroy(obj);

    FILE* out = fopen(argv[2], "wb");
    if (!out)
    {
        fprintf(stderr, "convert_peer: cannot write %s\n", argv[2]);
        return 1;
    }
    bool ok = fwrite(welded.data(), sizeof(float), welded.size(), out) == welded.size() &&
              fwrite(slots.data(), sizeof(int), slots.size(), out) == slots.size() &&
              fwrite(uvs.data(), sizeof(float), uvs.size(), out) == uvs.size();
    ok = fclose(out) == 0 && ok;
    return ok ? 0 : 1;
}
