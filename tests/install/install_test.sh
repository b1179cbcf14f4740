#!/usr/bin/env bash
# Installs the build as a packager and a host would: a DESTDIR install stays
# under DESTDIR; a staged prefix holds the library with its soname, the tool
# and the plug-in loading it, and two small hosts (pkg-config and
# find_package(qxmatte)) build against it and run.
# Usage: install_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$(cd "$2" && pwd)
work=$(mktemp -d /tmp/qxinstallXXXXXX)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
# The program loads the staged libqxmatte.so.0 (links resolved).
loads_staged() {
  [[ $(realpath "$(ldd "$1" | awk '$1 == "libqxmatte.so.0" {print $3}')") == "$(realpath "$libdir/libqxmatte.so.0")" ]] ||
    fail "$1 does not load the staged library"
}
expected='box x=5 y=25 111x31, 2852 cut pixels in it'

# 1. A packager's install: the manifest names files without DESTDIR, all under the prefix.
DESTDIR=$work/dest cmake --install "$build" --prefix /opt/qx >"$work/destdir.log"
while read -r f; do
  [[ $f == /opt/qx/* && -e $work/dest$f ]] || fail "installed outside DESTDIR and prefix: $f"
done <"$build/install_manifest.txt"
grep -rqx 'prefix=/opt/qx' "$work/dest/opt/qx" --include=qxmatte.pc || fail "qxmatte.pc does not name prefix /opt/qx"

# 2. A staged prefix.
stage=$work/stage
cmake --install "$build" --prefix "$stage" >"$work/stage.log"
pc=$(find "$stage" -name qxmatte.pc)
[[ -n $pc ]] || fail "no qxmatte.pc installed"
libdir=$(dirname "$(dirname "$pc")")
for f in "$stage/include/qxmatte.h" "$stage/share/man/man1/qxmatte.1" "$libdir/cmake/qxmatte/qxmatteConfigVersion.cmake"; do
  [[ -e $f ]] || fail "missing $f"
done
[[ -L $libdir/libqxmatte.so && -L $libdir/libqxmatte.so.0 ]] || fail "libqxmatte.so and .so.0 are not links"
soname=$(objdump -p "$libdir/libqxmatte.so" | awk '$1 == "SONAME" {print $2}')
[[ $soname == libqxmatte.so.0 ]] || fail "SONAME is '$soname'"
grep -q "Version: " "$pc" || fail "qxmatte.pc has no version"
"$stage/bin/qxmatte" --version | grep -q '^qxmatte ' || fail "staged qxmatte --version"
loads_staged "$stage/bin/qxmatte"
# The staged tool finds its codec module relative to itself: it reads and writes images.
[[ -f $libdir/qxmatte/qxmatte-codecs.so ]] || fail "no codec module in $libdir/qxmatte"
"$stage/bin/qxmatte" -q stretch "$source/samples/astronaut_trimap.png" --low 10 --high 200 -o "$work/stretched.png" &&
  [[ -s $work/stretched.png ]] || fail "staged qxmatte cannot read or write an image"
# The GIMP plug-in, where built, sits in a folder of its own in GIMP's plug-in folder.
if grep -q qxmatte-gimp "$build/install_manifest.txt"; then
  loads_staged "$stage/lib/gimp/2.0/plug-ins/qxmatte-gimp/qxmatte-gimp"
fi

# 3. A host through pkg-config, and 4. one through find_package(qxmatte).
# shellcheck disable=SC2046
cc -Wall -Werror -o "$work/pc_consumer" "$source/tests/install/consumer.c" \
  $(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --cflags --libs qxmatte) -Wl,-rpath,"$libdir"
cmake -S "$source/tests/install/find_package" -B "$work/fp" -DCMAKE_PREFIX_PATH="$stage" \
  -DCMAKE_BUILD_TYPE=Release >"$work/fp.log" 2>&1 && cmake --build "$work/fp" >>"$work/fp.log" 2>&1 ||
  { cat "$work/fp.log"; fail "find_package host: configure or build"; }
for host in "$work/pc_consumer" "$work/fp/consumer"; do
  loads_staged "$host"
  out=$("$host")
  [[ $out == "$expected" ]] || fail "$host printed '$out'"
done
# The version file refuses another major version.
if cmake -S "$source/tests/install/find_package" -B "$work/fp2" -DCMAKE_PREFIX_PATH="$stage" \
     -DQX_WANT=1.0 >"$work/fp2.log" 2>&1; then
  fail "find_package(qxmatte 1.0) accepted version 0.x"
fi
echo "install test: staged at $stage, soname $soname, both hosts print: $out"
