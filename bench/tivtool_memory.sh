#!/usr/bin/env bash
# Peak memory of "tivtool info" on the host-style 1M-face OBJ file, against
# what the import has to hold: the final mesh arrays, the read buffer of one
# pass (16 MiB) and 10% on top.
#
#   bench/tivtool_memory.sh [BUILD_DIR]     (default: build)
set -euo pipefail
build=${1:-build}
bench=$build/bench/objimport_bench
tool=$build/tools/tivtool/tivtool
for f in "$bench" "$tool" /usr/bin/time; do
    [ -x "$f" ] || { echo "missing $f (build the benchmarks and the tool first)" >&2; exit 2; }
done

# Writes the generated files once, runs no benchmark.
"$bench" --benchmark_filter='^$' >/dev/null 2>&1 || true
obj=$build/bench/objbench-data/host_1M.obj
[ -f "$obj" ] || { echo "the benchmark did not write $obj" >&2; exit 2; }

report=$(mktemp)
trap 'rm -f "$report"' EXIT
/usr/bin/time -v "$tool" info "$obj" 2>"$report" | tee "$report.out"
peak_kb=$(awk -F': ' '/Maximum resident set size/ {print $2}' "$report")
field() { awk -v key="$1" -F': *' '$1 == key {split($2, w, " "); print w[1]}' "$report.out"; }
vertices=$(field vertices)
faces=$(field faces)
# The arrays hold a texture slot per face slot: the count in brackets, when
# the triangles' fourth slots make it differ from the corners.
slots() { awk -F': *' '$1 == "corner UVs" {n = split($2, w, /[ (]+/); print (n > 2 ? w[2] : w[1])}' "$report.out"; }
corner_uvs=$(slots)
unique_uvs=$(field "unique UVs")
rm -f "$report.out"

# Positions 12 bytes, 4 vertex slots per face and one texture slot per corner
# UV of 4 bytes, unique and corner coordinates 8 bytes.
arrays=$(( vertices * 12 + faces * 16 + corner_uvs * 4 + unique_uvs * 8 + corner_uvs * 8 ))
buffers=$(( 16 * 1024 * 1024 ))
limit=$(( (arrays + buffers) * 11 / 10 ))
peak=$(( peak_kb * 1024 ))
mib() { awk -v b="$1" 'BEGIN {printf "%.1f MiB", b / 1048576}'; }
echo
echo "final mesh arrays: $(mib $arrays)"
echo "read buffer:       $(mib $buffers)"
echo "limit (+10%):      $(mib $limit)"
echo "peak RSS:          $(mib $peak)"
if [ "$peak" -le "$limit" ]; then
    echo "within the limit"
else
    echo "OVER the limit" >&2
    exit 1
fi
