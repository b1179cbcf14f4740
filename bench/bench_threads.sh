#!/usr/bin/env bash
# Threads, BLAS builds and memory of the tool's two solving roads: a matte of
# 0.48 megapixels and cut-outs of 12 megapixels with a narrow (3%) and a wide
# (10%) unknown band, at 1 and 2 threads, under each BLAS build Debian ships
# (the library links the single-threaded OpenBLAS; the others are put in its
# place with LD_PRELOAD). Per run: wall, user and kernel CPU seconds, the
# kernel's share of the CPU, voluntary and involuntary context switches, minor
# page faults, peak resident memory and megabytes per megapixel. Prints the machine's load
# before and after: on a shared machine read the CPU and switch columns.
#
#   bench/bench_threads.sh BUILD_DIR [quick|cutout]    quick: the matte only;
#   cutout: the cut-outs under the linked BLAS only
set -u
build=${1:-build} quick=${2:-}
tool=$build/qxmatte
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
lib=/usr/lib/x86_64-linux-gnu

# Discs on 400-pixel cells over a textured background with noise; the band is
# every pixel within r of an edge, r chosen for the asked share of pixels.
/usr/bin/python3 - "$work" "$quick" <<'PY'
import sys, numpy as np
from PIL import Image
def photo(w, h, band, name):
    cell, radius = 400.0, 140.0
    r = band * cell * cell / (4 * np.pi * radius)
    y, x = np.mgrid[0:h, 0:w].astype(np.float32)
    cy, cx = (np.floor(y / cell) + 0.5) * cell, (np.floor(x / cell) + 0.5) * cell
    d = radius + 6 * np.sin(np.arctan2(y - cy, x - cx) * 7) - np.hypot(x - cx, y - cy)
    a = np.clip(0.5 + d / 2, 0, 1)[..., None]
    bg = np.stack([60 + 40 * np.sin(x * 0.013), 90 + 30 * np.cos(y * 0.011), 120 + 0 * x], -1)
    fg = np.stack([200 + 0 * x, 150 + 40 * np.sin((x + y) * 0.007), 40 + 0 * x], -1)
    noise = np.random.default_rng(1).normal(0, 4, (h, w, 3))
    Image.fromarray(np.clip(a * fg + (1 - a) * bg + noise + 0.5, 0, 255).astype(np.uint8)).save(f"{sys.argv[1]}/{name}.png")
    marks = np.where(np.abs(d) <= r, 128, np.where(d > 0, 255, 0)).astype(np.uint8)
    Image.fromarray(marks).save(f"{sys.argv[1]}/{name}_marks.png")
if sys.argv[2] != "cutout":
    photo(800, 600, 0.16, "small")
if sys.argv[2] != "quick":
    photo(4000, 3000, 0.03, "narrow")
    photo(4000, 3000, 0.10, "wide")
PY

blas_preload() {
    case $1 in
        serial) echo "" ;;
        pthread | openmp) echo "$lib/openblas-$1/libopenblas.so.0:$lib/openblas-$1/libblas.so.3:$lib/openblas-$1/liblapack.so.3" ;;
        reference) echo "$lib/blas/libblas.so.3:$lib/lapack/liblapack.so.3" ;;
    esac
}

echo "load before: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"
printf '| road | BLAS | threads | wall s | user s | kernel s | kernel %% | voluntary cs | involuntary cs | minor faults | peak MB | MB/MP |\n'
printf '|---|---|---|---|---|---|---|---|---|---|---|---|\n'
run() {  # run NAME MEGAPIXELS BLAS THREADS ARGS...
    local name=$1 mp=$2 blas=$3 threads=$4
    shift 4
    local preload
    preload=$(blas_preload "$blas")
    [[ -z $preload || -e ${preload%%:*} ]] || return 0
    LD_PRELOAD=$preload OMP_NUM_THREADS=$threads timeout 300 /usr/bin/time -o "$work/time" \
        -f '%e %U %S %w %c %R %M' "$tool" "$@" -q > /dev/null 2>&1 || { echo "| $name | $blas | $threads | failed |"; return 0; }
    read -r wall user sys vcs ics minor kb < "$work/time"
    awk -v n="$name" -v b="$blas" -v t="$threads" -v w="$wall" -v u="$user" -v s="$sys" -v v="$vcs" -v i="$ics" -v f="$minor" \
        -v k="$kb" -v mp="$mp" 'BEGIN { printf "| %s | %s | %d | %.2f | %.2f | %.2f | %.0f | %d | %d | %d | %.0f | %.0f |\n",
        n, b, t, w, u, s, 100 * s / (u + s + 1e-9), v, i, f, k / 1024, k / 1024 / mp }'
}
for blas in serial pthread openmp reference; do
    for threads in 1 2; do
        [[ $quick == cutout && $blas != serial ]] && continue
        [[ $quick == cutout ]] || run "matte 0.48 MP" 0.48 $blas $threads matte "$work/small.png" "$work/small_marks.png" -o "$work/a.png"
        [[ $quick == quick ]] && continue
        [[ $blas == serial || $blas == pthread ]] || continue
        run "cutout 12 MP, 3% band" 12 $blas $threads cutout "$work/narrow.png" "$work/narrow_marks.png" -o "$work/c.png" --no-colours
        run "cutout 12 MP, 10% band" 12 $blas $threads cutout "$work/wide.png" "$work/wide_marks.png" -o "$work/c.png" --no-colours
    done
done
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
