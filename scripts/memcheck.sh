#!/usr/bin/env bash
# Runs the command-line tool under Valgrind's memcheck along the demo road and
# one failure path per command family. Any invalid read or write, use of an
# uninitialised value, or definitely or indirectly lost block fails the run
# (OpenMP's per-thread storage shows as "possibly lost" and is not counted).
# Usage: memcheck.sh BUILD_DIR   (a build without -march=native: Valgrind
# cannot decode AVX-512)
set -euo pipefail
build=$1
root=$(cd "$(dirname "$0")/.." && pwd)
tool=$build/qxmatte
samples=$root/samples
work=$build/memcheck-work
rm -rf "$work" && mkdir -p "$work"
failed=0

# check NAME EXPECTED_EXIT ARGS...: one run of the tool under memcheck.
check() {
  local name=$1 expected=$2
  shift 2
  local log=$work/$name.log rc=0
  OMP_NUM_THREADS=2 valgrind --tool=memcheck --leak-check=full --show-leak-kinds=definite,indirect \
    --errors-for-leak-kinds=definite,indirect --error-exitcode=99 --track-origins=yes \
    --log-file="$log" "$tool" -q "$@" >"$work/$name.out" 2>&1 || rc=$?
  local summary
  summary=$(grep -E 'ERROR SUMMARY' "$log" | tail -1 | sed 's/^==[0-9]*== //')
  if [[ $rc -eq 99 ]]; then
    echo "memcheck: $name: memory errors ($summary), see $log"
    failed=1
  elif [[ $rc -ne $expected ]]; then
    echo "memcheck: $name: exit $rc, expected $expected"; cat "$work/$name.out"
    failed=1
  else
    echo "memcheck: $name: exit $rc as expected, $summary"
  fi
}

# A small image and trimap, and files that are wrong in known ways.
python3 - "$work" <<'PY'
import random, sys
d = sys.argv[1]
random.seed(1)
w, h = 60, 40
open(f"{d}/small.ppm", "wb").write(b"P6 %d %d 255\n" % (w, h) + bytes(random.randrange(256) for _ in range(w * h * 3)))
trimap = bytes(128 if 25 <= x < 35 else (255 if x >= 30 else 0) for y in range(h) for x in range(w))
open(f"{d}/trimap.pgm", "wb").write(b"P5 %d %d 255\n" % (w, h) + trimap)
open(f"{d}/other_size.pgm", "wb").write(b"P5 %d %d 255\n" % (w - 1, h) + trimap[: (w - 1) * h])
open(f"{d}/no_keep.pgm", "wb").write(b"P5 %d %d 255\n" % (w, h) + bytes(128 if x >= 25 else 0 for y in range(h) for x in range(w)))
# A bright block on a dark ground, large enough for GrabCut.
sw, sh = 160, 120
open(f"{d}/scene.ppm", "wb").write(b"P6 %d %d 255\n" % (sw, sh) + bytes(
    (200 if 50 <= x < 110 and 30 <= y < 90 else 40) + random.randrange(40) for y in range(sh) for x in range(sw) for c in range(3)))
open(f"{d}/broken.png", "wb").write(b"\x89PNG\r\n\x1a\n" + b"\0" * 40)
PY

# The demo road, on the sample.
check demo-matte 0 matte "$samples/astronaut.png" "$samples/astronaut_trimap.png" -o "$work/alpha.png" \
  --preview "$work/preview.png" --over 2E7D32 --foreground "$work/foreground.png" --cutout "$work/cutout.png"
check demo-composite 0 composite "$work/cutout.png" "$samples/coffee.png" -o "$work/composite.png"
check foreground-cell 0 foreground "$work/small.ppm" "$work/trimap.pgm" -o "$work/fg.png" --cell
check stroke 0 stroke "$work/trimap.pgm" --from 5,5 --to 50,30 --radius 3 --mode unknown -o "$work/stroke.png"
check bbox 0 bbox "$work/trimap.pgm"
# The cut-out roads: tiles from a trimap, a local edit of the result, and
# GrabCut marks finished at half size.
check cutout 0 cutout "$work/small.ppm" "$work/trimap.pgm" -o "$work/cut.png"
check cutout-edit 0 cutout "$work/small.ppm" "$work/trimap.pgm" -o "$work/cut-edit.png" \
  --edit 20,5,20,20 --border 4 --previous "$work/cut.png" --only add
check grabcut 0 grabcut "$work/scene.ppm" --rect 20,10,120,100 -o "$work/grabcut.png"
check cutout-half 0 cutout "$work/scene.ppm" "$work/grabcut.png" -o "$work/cut-half.png" --half

# One failure path per family.
check matte-sizes-differ 2 matte "$work/small.ppm" "$work/other_size.pgm" -o "$work/x.png"
check foreground-broken-alpha 2 foreground "$work/small.ppm" "$work/broken.png" -o "$work/x.png"
check composite-no-alpha 2 composite "$work/small.ppm" --over 000000 -o "$work/x.png"
check stroke-unwritable 2 stroke "$work/trimap.pgm" --from 1,1 --to 9,9 --radius 1 --mode keep \
  -o "$work/no/such/folder/x.png"
check bbox-missing 2 bbox "$work/missing.pgm"
check matte-trimap-refused 1 matte "$work/small.ppm" "$work/small.ppm" -o "$work/x.png"
check cutout-no-keep 3 cutout "$work/small.ppm" "$work/no_keep.pgm" -o "$work/x.png"
check grabcut-too-small 1 grabcut "$work/small.ppm" --rect 0,0,60,40 -o "$work/x.png"

# A batch with one good and one broken job (the jobs run outside Valgrind).
mkdir -p "$work/images" "$work/trimaps"
cp "$work/small.ppm" "$work/images/good.ppm" && cp "$work/trimap.pgm" "$work/trimaps/good.pgm"
cp "$work/broken.png" "$work/images/bad.png" && cp "$work/trimap.pgm" "$work/trimaps/bad.pgm"
check batch 4 batch matte "$work/images" "$work/trimaps" --out "$work/batch" --jobs 2

exit $failed
