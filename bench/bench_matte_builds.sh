#!/usr/bin/env bash
# The tool's `matte` of two builds, or two methods of one, photograph by
# photograph: the accuracy bench's 640x480 composites (hair, fur, foliage)
# through each, best of five runs of the whole process. Per composite: CPU
# seconds (user + kernel) held to one thread, and wall seconds at the default
# thread count. To set today's road beside an earlier one, build that commit
# in a worktree of its own:
#
#   git worktree add /tmp/then REV && cmake -S /tmp/then -B /tmp/then/build \
#       -DCMAKE_BUILD_TYPE=Release && cmake --build /tmp/then/build --target qxmatte_cli
#   bench/bench_matte_builds.sh build "/tmp/then/build/qxmatte matte" \
#       "build/qxmatte matte --method design" "build/qxmatte matte"
#
# BUILD_DIR holds bench_host_accuracy; each further argument is one road: a
# command line that takes IMAGE TRIMAP -o OUT after it.
set -u
build=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
OMP_NUM_THREADS=1 "$build/bench_host_accuracy" --small --road "sampling" --write "$work" > /dev/null

best() {  # best of five: $1 threads ("" for the default), $2 format, the rest the command
    local threads=$1 format=$2 least= t
    shift 2
    local setting=()
    [ -n "$threads" ] && setting=("OMP_NUM_THREADS=$threads")
    for _ in 1 2 3 4 5; do
        env "${setting[@]}" /usr/bin/time -o "$work/time" -f "$format" "$@" > /dev/null 2>&1
        t=$(awk '{print $1 + $2}' "$work/time")
        least=$(awk -v a="$least" -v b="$t" 'BEGIN { print (a == "" || b < a) ? b : a }')
    done
    echo "$least"
}

echo "load average $(cut -d' ' -f1 /proc/loadavg) at the start"
echo
printf '| composite |'
for road in "$@"; do printf ' %s: CPU-s at 1 thread / wall s |' "$road"; done
printf '\n|---|'
for _ in "$@"; do printf -- '---|'; done
printf '\n'
for image in "$work"/scene*_image.png; do
    scene=${image%_image.png}
    printf '| %s |' "$(basename "$scene")"
    for road in "$@"; do
        read -r -a command <<< "$road"
        cpu=$(best 1 "%U %S" "${command[@]}" "$image" "${scene}_trimap.png" -o "$work/out.png")
        wall=$(best "" "%e 0" "${command[@]}" "$image" "${scene}_trimap.png" -o "$work/out.png")
        printf ' %.2f / %.2f |' "$cpu" "$wall"
    done
    printf '\n'
done
echo
echo "load average $(cut -d' ' -f1 /proc/loadavg) at the end"
