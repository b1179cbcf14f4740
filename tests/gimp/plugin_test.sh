#!/usr/bin/env bash
# The GIMP plug-in, headless through Script-Fu in a private profile, on the
# bundled sample: (1) from a trimap channel, a layer mask equal to the tool's
# alpha and colours changed only on edge pixels; (2) GrabCut from a rectangle
# to a trimap channel and the selection, then the edge refined from it; grey
# and 16-bit images get a mask too; (3) refusals in words that leave the image
# untouched; (4) a one-sided unknown region over the library's tile limit
# gets a mask at full size, the route said. gimp-console exits 0 even when a command fails, so every check
# reads the output text and the files written.
# Usage: plugin_test.sh PLUGIN CLI PNG_CHECK SAMPLES_DIR
set -euo pipefail
plugin=$(realpath "$1") cli=$(realpath "$2") check=$(realpath "$3") samples=$(realpath "$4")
work=$(mktemp -d /tmp/qxgimpXXXXXX)
# QX_KEEP_TEST_DIR=1 keeps the files for a look.
trap '[[ -n ${QX_KEEP_TEST_DIR:-} ]] && echo "kept $work" || rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
image=$samples/astronaut.png trimap=$samples/astronaut_trimap.png

# A private profile with the plug-in in a folder of its own, as installed.
profile=$work/profile
mkdir -p "$profile/plug-ins/qxmatte-gimp" "$profile/gradients"
cp "$plugin" "$profile/plug-ins/qxmatte-gimp/qxmatte-gimp"

# Runs gimp-console on the given commands (log in $work/$name.log). Scheme
# definitions do not outlive a command, so each gets the helpers below.
gimp_batch() {
  local name=$1; shift
  local args=()
  for command in "$@"; do args+=(-b "(begin $helpers $command)"); done
  GIMP2_DIRECTORY=$profile timeout 600 gimp-console-2.10 -i -d -f "${args[@]}" -b '(gimp-quit 0)' \
    >"$work/$name.log" 2>&1 </dev/null || { cat "$work/$name.log"; fail "$name: gimp-console did not finish"; }
}
say() { grep -o "script-fu-Warning: $1.*" "$work/$2.log" | head -1 || true; }

helpers='(define (open-image file) (car (gimp-file-load RUN-NONINTERACTIVE file file)))
(define (save img drawable file) (gimp-file-save RUN-NONINTERACTIVE img drawable file file))
(define (active img) (car (gimp-image-get-active-layer img)))
(define (trimap-channel img file)
  (let* ((src (open-image file)) (layer (active src))
         (ch (car (gimp-channel-new img (car (gimp-image-width img)) (car (gimp-image-height img)) "trimap" 50 (quote (0 0 0))))))
    (gimp-image-insert-channel img ch 0 0)
    (gimp-edit-copy layer)
    (gimp-floating-sel-anchor (car (gimp-edit-paste ch FALSE)))
    ch))
(define (first-image) (vector-ref (cadr (gimp-image-list)) 0))'

# The edge refined from the trimap channel after a conversion of the image.
variant() {
  echo "(let* ((img (open-image \"$image\")) (layer (active img)) (ch (trimap-channel img \"$trimap\")))
  $2 (plug-in-qxmatte-refine-edge RUN-NONINTERACTIVE img layer $3 ch)
  (gimp-message (string-append \"$1-mask \" (number->string (car (gimp-layer-get-mask layer))))))"
}
# A one-sided unknown region over the library's tile limit (see png_check strip).
"$check" strip "$work/strip.png" "$work/strip_trimap.png" || fail "png_check strip"
strip_case="(let* ((img (open-image \"$work/strip.png\")) (layer (active img)) (ch (trimap-channel img \"$work/strip_trimap.png\")))
  (plug-in-qxmatte-refine-edge RUN-NONINTERACTIVE img layer 16 0 1 ch)
  (gimp-message (string-append \"strip-mask \" (number->string (car (gimp-layer-get-mask layer))))))"

# 1 and 2 in one run; 3 in another, whose failing command ends its batch.
gimp_batch road "$strip_case" "
(let* ((img (open-image \"$image\")) (layer (active img)) (ch (trimap-channel img \"$trimap\")))
  (plug-in-qxmatte-refine-edge RUN-NONINTERACTIVE img layer 16 1 1 ch)
  (gimp-message (string-append \"trimap-mask \" (number->string (car (gimp-layer-get-mask layer)))))
  (gimp-layer-remove-mask layer MASK-APPLY)
  (save img layer \"$work/trimap_cutout.png\"))" "
(let* ((img (open-image \"$image\")) (layer (active img)))
  (gimp-image-select-rectangle img CHANNEL-OP-REPLACE 60 20 400 480)
  (let ((ch (car (plug-in-qxmatte-grabcut RUN-NONINTERACTIVE img layer 0 1 16))))
    (gimp-message (string-append \"grabcut-channel \" (number->string ch)))
    (save img ch \"$work/grabcut_trimap.png\"))
  (plug-in-qxmatte-grabcut RUN-NONINTERACTIVE img layer 0 0 0)
  (plug-in-qxmatte-grabcut RUN-NONINTERACTIVE img layer 1 0 0)
  (gimp-message (string-append \"grabcut-selection-empty \" (number->string (car (gimp-selection-is-empty img)))))
  (plug-in-qxmatte-refine-edge RUN-NONINTERACTIVE img layer 12 1 0 -1)
  (gimp-layer-remove-mask layer MASK-APPLY)
  (save img layer \"$work/grabcut_cutout.png\"))" \
  "$(variant grey '(gimp-image-convert-grayscale img)' '16 1 1')" \
  "$(variant u16 '(gimp-image-convert-precision img PRECISION-U16-GAMMA)' '16 2 0')"

grep -q 'batch command experienced an execution error' "$work/road.log" && { cat "$work/road.log"; fail "a command failed"; }
for case in trimap grey u16 strip; do
  [[ -n $(say "$case-mask [0-9]" road) ]] || { cat "$work/road.log"; fail "$case: the layer got no mask"; }
done

grep -q 'Refine Selection Edge: route pieces' "$work/road.log" || { cat "$work/road.log"; fail "strip: no route reported"; }

# 1. The mask against the alpha the command-line tool's cutout makes from the
# same image and trimap read from the files.
"$cli" -q cutout "$image" "$trimap" -o "$work/cli_cutout.png" --alpha "$work/cli_alpha.png" ||
  fail "qxmatte cutout failed"
"$check" alpha-equal "$work/trimap_cutout.png" "$work/cli_alpha.png" ||
  fail "the layer mask differs from the alpha of qxmatte cutout"
"$check" colours "$work/trimap_cutout.png" "$image" || fail "colours were written off the edge, or not at all"

# 2. GrabCut's trimap holds all three classes; the selection was replaced and refined.
levels=$("$check" levels "$work/grabcut_trimap.png")
echo "$levels"
[[ $levels =~ levels:\ 0\ ([0-9]+),\ 128\ ([0-9]+),\ 255\ ([0-9]+),\ other\ 0 ]] || fail "GrabCut trimap: $levels"
(( BASH_REMATCH[1] > 0 && BASH_REMATCH[2] > 0 && BASH_REMATCH[3] > 10000 )) || fail "GrabCut trimap: $levels"
[[ -n $(say 'grabcut-selection-empty 0' road) ]] || fail "GrabCut left no selection"
"$check" colours "$work/grabcut_cutout.png" "$image" || fail "the refined GrabCut selection: colours"

# 3. A selection narrower than the band: nothing is kept, the call fails in
# words, and the image is as it was (no mask, no alpha, the same pixels).
gimp_batch failure "(let* ((img (open-image \"$image\")))
  (gimp-image-select-rectangle img CHANNEL-OP-REPLACE 200 150 6 200))" \
  "(let* ((img (first-image))) (plug-in-qxmatte-refine-edge RUN-NONINTERACTIVE img (active img) 16 1 1 -1))" "
(let* ((img (first-image)) (layer (active img)))
  (gimp-message (string-append \"after-failure mask \" (number->string (car (gimp-layer-get-mask layer)))
    \" alpha \" (number->string (car (gimp-drawable-has-alpha layer)))
    \" selection \" (number->string (car (gimp-selection-is-empty img)))))
  (save img layer \"$work/after_failure.png\"))" "
(let* ((img (open-image \"$image\")))
  (gimp-image-convert-indexed img CONVERT-DITHER-NONE CONVERT-PALETTE-GENERATE 64 FALSE FALSE \"\")
  (gimp-image-select-rectangle img CHANNEL-OP-REPLACE 100 100 300 300)
  (plug-in-qxmatte-refine-edge RUN-NONINTERACTIVE img (active img) 16 1 1 -1))"
grep -q 'batch command experienced an execution error' "$work/failure.log" || { cat "$work/failure.log"; fail "no error reported"; }
grep -q 'plug-in-qxmatte-refine-edge.*Nothing is left to keep' "$work/failure.log" || { cat "$work/failure.log"; fail "the error does not say what is wrong"; }
[[ -n $(say 'after-failure mask -1 alpha 0 selection 0' failure) ]] || { cat "$work/failure.log"; fail "the failed call changed the image"; }
"$check" same "$work/after_failure.png" "$image" || fail "the failed call changed pixels"
grep -q 'plug-in-qxmatte-refine-edge.*indexed' "$work/failure.log" || { cat "$work/failure.log"; fail "an indexed image was not refused in words"; }
grep -o 'Procedure execution of plug-in-qxmatte-refine-edge failed.*' "$work/failure.log"
echo "plug-in test: all checks hold"
