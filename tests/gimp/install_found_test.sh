#!/usr/bin/env bash
# The plug-in after a plain `cmake --install` (the configured prefix, staged
# under DESTDIR): it lands where GIMP looks, GIMP registers both procedures for
# RGB and grey images only (read back from the profile's pluginrc), and a copy
# of the installed binary carries the installed library's folder in its run
# path, so a copy in a user's profile loads too.
# Usage: install_found_test.sh BUILD_DIR
set -euo pipefail
build=$(realpath "$1")
work=$(mktemp -d /tmp/qxgimpinstallXXXXXX)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
prefix=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt")
libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:PATH=//p' "$build/CMakeCache.txt")
system=$(pkg-config --variable=gimplibdir gimp-2.0)/plug-ins
dest=$work/dest

DESTDIR=$dest cmake --install "$build" >"$work/install.log" || { cat "$work/install.log"; fail "install"; }
plugin=$dest$system/qxmatte-gimp/qxmatte-gimp
[[ -x $plugin ]] || { cat "$work/install.log"; fail "nothing in GIMP's own plug-in folder $system"; }
[[ $(realpath "$plugin") == "$dest$prefix"/* ]] || fail "$plugin is not the copy installed under $prefix"
runpath=$(readelf -d "$plugin" | sed -n 's/.*R.*PATH.*\[\(.*\)\]/\1/p')
[[ ":$runpath:" == *":$prefix/$libdir:"* ]] || fail "run path '$runpath' lacks $prefix/$libdir"

# GIMP with its own folders plus the staged system folder (a real install is
# in the system folder itself).
profile=$work/profile
mkdir -p "$profile/gradients"
echo "(plug-in-path \"$(pkg-config --variable=gimplibdir gimp-2.0)/plug-ins:$dest$system\")" >"$profile/gimprc"
GIMP2_DIRECTORY=$profile timeout 300 gimp-console-2.10 -i -d -f -b '(gimp-quit 0)' >"$work/gimp.log" 2>&1 </dev/null ||
  { cat "$work/gimp.log"; fail "gimp-console did not finish"; }
for proc in plug-in-qxmatte-refine-edge plug-in-qxmatte-grabcut; do
  types=$(grep -A12 "(proc-def \"$proc\"" "$profile/pluginrc" | grep -o '"[A-Z*, ]\+"' | head -1 || true)
  [[ $types == '"RGB*, GRAY*"' ]] || { cat "$work/gimp.log"; fail "$proc: image types $types (not registered?)"; }
done
echo "GIMP finds the installed plug-in in $system; RGB and grey images only; run path $runpath"
