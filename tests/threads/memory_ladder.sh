#!/usr/bin/env bash
# The tool's roads under a ladder of address-space limits (ulimit -v), from
# the least that lets the tool start to past each road's own peak, every run
# under a watchdog. A run may succeed or fail in words (exit 2 or 3 with a
# message); it must never hang (the watchdog fires) and never die without a
# word: by a signal, or with exit 1, which is what the OpenMP runtime gives
# when it cannot start a thread.
#
#   memory_ladder.sh QXMATTE SAMPLES_DIR
set -u
tool=$1 samples=$2
image=$samples/astronaut.png trimap=$samples/astronaut_trimap.png
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export OMP_NUM_THREADS=2

limited() {  # limited KB COMMAND...: exit code of COMMAND under the limit and the watchdog
    local kb=$1
    shift
    (timeout -k 5 60 bash -c 'ulimit -v "$0" && exec "$@"' "$kb" "$@" > "$work/out" 2>&1; exit $?) 2> /dev/null
}

# The floor: the least limit, in steps of 16 MB, at which the tool starts.
floor=65536
until limited $floor "$tool" --version || ((floor > 4194304)); do floor=$((floor + 16384)); done
((floor <= 4194304)) || { echo "the tool does not start under 4 GB"; exit 1; }

"$tool" matte "$image" "$trimap" -o "$work/alpha.png" -q || { echo "the matte fails without a limit"; exit 1; }
roads=(
    "matte $image $trimap -o $work/a.png --foreground $work/f.png"
    "cutout $image $trimap -o $work/c.png"
    "cutout $image $trimap -o $work/h.png --half --colours design"
    "foreground $image $work/alpha.png -o $work/g.png --colours cell"
)
ok=0 words=0 hangs=0 deaths=0
for road in "${roads[@]}"; do
    for step in 0 1 2 3 4 5 6 7 8 9 10 11; do
        kb=$((floor + step * 32768))
        # shellcheck disable=SC2086
        limited $kb "$tool" $road -q
        rc=$?
        if ((rc == 0)); then
            ok=$((ok + 1))
        elif ((rc == 124 || rc == 137)); then
            hangs=$((hangs + 1))
            echo "HANG at $kb KB: qxmatte $road"
        elif { ((rc == 2 || rc == 3)); } && grep -q '^qxmatte: ' "$work/out" && ! grep -qi -e libgomp -e openblas "$work/out"; then
            words=$((words + 1))
            grep -q -i "out of memory" "$work/out" || { echo "refused at $kb KB but not as out of memory: $(head -c 300 "$work/out")"; }
        else
            deaths=$((deaths + 1))
            echo "DEATH (exit $rc) at $kb KB: qxmatte $road: $(head -c 300 "$work/out")"
        fi
    done
done
echo "floor $floor KB; runs: $ok succeeded, $words failed in words, $hangs hung, $deaths died without a word"
((hangs == 0 && deaths == 0))
