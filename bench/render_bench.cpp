#include "MeshRender.h"
#include "QDTivMesh.h"

#include <benchmark/benchmark.h>

#include <cmath>

// Pictures of a welded sphere of 1,000,000 triangles (500 rings of 1000 quads,
// two triangles each), with texture coordinates: the shaded views, whose cost
// is one projection per vertex and one small raster per face, and the layout,
// three lines per face.

namespace
{
const QDTivMesh& sphere()
{
    static const QDTivMesh mesh = []
    {
        const int rings = 500, segments = 1000;
        QDTivMesh m;
        auto index = [&](int r, int s) { return r * (segments + 1) + s; };
        for (int r = 0; r <= rings; ++r)
            for (int s = 0; s <= segments; ++s)
            {
                const double polar = M_PI * r / rings, around = 2 * M_PI * s / segments;
                m.m_vertices.push_back(QDVector3f(float(std::sin(polar) * std::cos(around)),
                                                  float(std::cos(polar)),
                                                  float(std::sin(polar) * std::sin(around))));
            }
        auto uv = [&](int r, int s)
        { return QDVector2f(float(s) / segments, 1.0f - float(r) / rings); };
        auto triangle = [&](int r0, int s0, int r1, int s1, int r2, int s2)
        {
            for (int k : {index(r0, s0), index(r1, s1), index(r2, s2), -1})
                m.m_faceVertexIndices.push_back(k);
            for (const QDVector2f& t : {uv(r0, s0), uv(r1, s1), uv(r2, s2), uv(r2, s2)})
                m.m_cornerUVs.push_back(t);
        };
        for (int r = 0; r < rings; ++r)
            for (int s = 0; s < segments; ++s)
            {
                triangle(r, s, r + 1, s, r + 1, s + 1);
                triangle(r, s, r + 1, s + 1, r, s + 1);
            }
        return m;
    }();
    return mesh;
}

void render(benchmark::State& state, RenderView view, bool uvLayout)
{
    const QDTivMesh& mesh = sphere();
    RenderOptions options;
    options.size = int(state.range(0));
    options.view = view;
    options.uvLayout = uvLayout;
    RgbImage image;
    std::string message;
    for (auto _ : state)
    {
        bool drawn = renderMesh(mesh, options, image, message);
        benchmark::DoNotOptimize(drawn);
        benchmark::DoNotOptimize(image.pixels.data());
    }
    state.counters["triangles"] = double(mesh.getFaceCount());
}

void BM_RenderFront(benchmark::State& state)
{
    render(state, RenderView::front, false);
}
void BM_RenderIso(benchmark::State& state)
{
    render(state, RenderView::iso, false);
}
void BM_RenderLayout(benchmark::State& state)
{
    render(state, RenderView::front, true);
}
} // namespace

BENCHMARK(BM_RenderFront)->Arg(512)->Arg(2048)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RenderIso)->Arg(512)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RenderLayout)->Arg(512)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
