#!/usr/bin/env bash
# Wall time of "tivtool convert --weld --flip" on the host-style 1M-face OBJ
# file against convert_peer (the same work done with fast_obj, meshoptimizer
# and fwrite), alternating the two, best of N rounds each; then the peak memory
# of the tool against the mesh arrays it ends with, its read buffer (16 MiB) and
# 10% on top.
#
#   bench/convert_compare.sh [BUILD_DIR] [ROUNDS]     (defaults: build, 7)
#
# Targets: the tool at most 0.5x the peer's time, and within the memory limit.
set -euo pipefail
build=${1:-build}
rounds=${2:-7}
bench=$build/bench/objimport_bench
tool=$build/tools/tivtool/tivtool
peer=$build/bench/convert_peer
for f in "$bench" "$tool" "$peer" /usr/bin/time; do
    [ -x "$f" ] || { echo "missing $f (build the benchmarks and the tool first)" >&2; exit 2; }
done

# Writes the generated files once, runs no benchmark.
"$bench" --benchmark_filter='^$' >/dev/null 2>&1 || true
obj=$build/bench/objbench-data/host_1M.obj
[ -f "$obj" ] || { echo "the benchmark did not write $obj" >&2; exit 2; }

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
cat "$obj" >/dev/null # from the page cache for both

now() { date +%s%N; }
best_tool=0
best_peer=0
for ((round = 0; round < rounds; ++round)); do
    start=$(now)
    "$tool" convert "$obj" "$out/tool.tiv" --weld --flip
    t=$(( $(now) - start ))
    start=$(now)
    "$peer" "$obj" "$out/peer.bin"
    p=$(( $(now) - start ))
    (( best_tool == 0 || t < best_tool )) && best_tool=$t
    (( best_peer == 0 || p < best_peer )) && best_peer=$p
done
ms() { awk -v n="$1" 'BEGIN {printf "%.0f ms", n / 1e6}'; }
echo "tivtool convert --weld --flip: $(ms $best_tool) (best of $rounds)"
echo "fast_obj + meshoptimizer + fwrite: $(ms $best_peer) (best of $rounds)"
awk -v t="$best_tool" -v p="$best_peer" 'BEGIN {printf "time ratio: %.2fx (target at most 0.5x)\n", t / p}'

/usr/bin/time -v "$tool" convert "$obj" "$out/tool.tiv" --weld --flip 2>"$out/time.txt"
peak_kb=$(awk -F': ' '/Maximum resident set size/ {print $2}' "$out/time.txt")
echo "system time: $(awk -F': ' '/System time/ {print $2}' "$out/time.txt") s," \
     "user time: $(awk -F': ' '/User time/ {print $2}' "$out/time.txt") s"
field() { awk -v key="$2" -F': *' '$1 == key {split($2, w, " "); print w[1]}' "$1"; }
"$tool" info "$obj" >"$out/in.txt"
"$tool" info "$out/tool.tiv" >"$out/out.txt"
welded=$(field "$out/out.txt" vertices)
faces=$(field "$out/in.txt" faces)
# The arrays hold a texture slot per face slot: the count in brackets, when
# the triangles' fourth slots make it differ from the corners.
slots() { awk -F': *' '$1 == "corner UVs" {n = split($2, w, /[ (]+/); print (n > 2 ? w[2] : w[1])}' "$1"; }
corner_uvs=$(slots "$out/in.txt")
unique_uvs=$(field "$out/in.txt" "unique UVs")
# The mesh the tool ends with: welded positions (12 bytes), four vertex slots
# per face (4 bytes), and per corner a texture slot (4) and a coordinate (8),
# and the file's coordinates (8).
arrays=$(( welded * 12 + faces * 16 + corner_uvs * 12 + unique_uvs * 8 ))
buffers=$(( 16 * 1024 * 1024 ))
limit=$(( (arrays + buffers) * 11 / 10 ))
peak=$(( peak_kb * 1024 ))
mib() { awk -v b="$1" 'BEGIN {printf "%.1f MiB", b / 1048576}'; }
echo "final mesh arrays: $(mib $arrays)"
echo "limit (+16 MiB, +10%): $(mib $limit)"
echo "peak RSS:          $(mib $peak)"
ratio_ok=$(awk -v t="$best_tool" -v p="$best_peer" 'BEGIN {print (t <= 0.5 * p) ? 1 : 0}')
status=0
if [ "$peak" -gt "$limit" ]; then echo "memory OVER the limit" >&2; status=1; fi
if [ "$ratio_ok" != 1 ]; then echo "time OVER the target" >&2; status=1; fi
exit $status
