#!/usr/bin/env bash
# Installs the build into staging places and uses it as a packager and a host
# would: the DESTDIR install stays under DESTDIR; the staged library has its
# soname; the tool and the man page work; two small hosts, one through
# pkg-config and one through find_package(qxmatte), build and run.
# Usage: install_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$(cd "$2" && pwd)
work=$(mktemp -d /tmp/qxinstallXXXXXX)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
# The file a program loads as libqxmatte.so.0, with links resolved.
loaded() { realpath "$(ldd "$1" | awk '$1 == "libqxmatte.so.0" {print $3}')"; }
expected='box x=5 y=25 111x31, 2852 cut pixels in it'

# 1. A packager's install: everything lands under DESTDIR + prefix.
DESTDIR=$work/dest cmake --install "$build" --prefix /opt/qx >"$work/destdir.log"
while read -r f; do
  # The manifest names the files without DESTDIR.
  [[ $f == /opt/qx/* && -e $work/dest$f ]] || fail "installed outside DESTDIR and prefix: $f"
done <"$build/install_manifest.txt"
grep -rqx 'prefix=/opt/qx' "$work/dest/opt/qx" --include=qxmatte.pc || fail "qxmatte.pc does not name prefix /opt/qx"

# 2. A staged prefix.
stage=$work/stage
cmake --install "$build" --prefix "$stage" >"$work/stage.log"
pc=$(find "$stage" -name qxmatte.pc)
[[ -n $pc ]] || fail "no qxmatte.pc installed"
libdir=$(dirname "$(dirname "$pc")")
for f in "$libdir/libqxmatte.so" "$libdir/libqxmatte.so.0" "$stage/include/qxmatte.h" "$stage/bin/qxmatte" \
         "$stage/share/man/man1/qxmatte.1" "$libdir/cmake/qxmatte/qxmatteConfig.cmake" \
         "$libdir/cmake/qxmatte/qxmatteConfigVersion.cmake" "$libdir/cmake/qxmatte/qxmatteTargets.cmake"; do
  [[ -e $f ]] || fail "missing $f"
done
[[ -L $libdir/libqxmatte.so && -L $libdir/libqxmatte.so.0 ]] || fail "libqxmatte.so and .so.0 are not links"
soname=$(objdump -p "$libdir/libqxmatte.so" | awk '$1 == "SONAME" {print $2}')
[[ $soname == libqxmatte.so.0 ]] || fail "SONAME is '$soname'"
grep -q "Version: " "$pc" || fail "qxmatte.pc has no version"

# The installed tool runs from the staged prefix (it finds the staged library).
"$stage/bin/qxmatte" --version | grep -q '^qxmatte ' || fail "staged qxmatte --version"
[[ $(loaded "$stage/bin/qxmatte") == "$(realpath "$libdir/libqxmatte.so.0")" ]] || fail "staged qxmatte does not load the staged library"
# The GIMP plug-in, where it was built, sits in GIMP's plug-in folder under the
# prefix, in a folder of its own, and loads the staged library.
plugin=$(find "$stage" -type f -name qxmatte-gimp)
if grep -q qxmatte-gimp "$build/install_manifest.txt"; then
  [[ $plugin == "$stage"/lib/gimp/2.0/plug-ins/qxmatte-gimp/qxmatte-gimp ]] || fail "plug-in installed as '$plugin'"
  [[ $(loaded "$plugin") == "$(realpath "$libdir/libqxmatte.so.0")" ]] || fail "the plug-in does not load the staged library"
fi
# The man page is clean.
lint=$(mandoc -T lint "$stage/share/man/man1/qxmatte.1" 2>&1 || true)
[[ -z $lint ]] || fail "mandoc -T lint: $lint"

# 3. A host through pkg-config.
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
cc -Wall -Werror -o "$work/pc_consumer" "$source/tests/install/consumer.c" $(pkg-config --cflags --libs qxmatte) \
  -Wl,-rpath,"$libdir"
[[ $(loaded "$work/pc_consumer") == "$(realpath "$libdir/libqxmatte.so.0")" ]] || fail "pkg-config host does not load the staged library"
out=$("$work/pc_consumer")
[[ $out == "$expected" ]] || fail "pkg-config host printed '$out'"

# 4. A host through find_package(qxmatte).
unset PKG_CONFIG_PATH
cmake -S "$source/tests/install/find_package" -B "$work/fp" -DCMAKE_PREFIX_PATH="$stage" \
  -DCMAKE_BUILD_TYPE=Release >"$work/fp.log" 2>&1 || { cat "$work/fp.log"; fail "find_package host: configure"; }
cmake --build "$work/fp" >>"$work/fp.log" 2>&1 || { cat "$work/fp.log"; fail "find_package host: build"; }
[[ $(loaded "$work/fp/consumer") == "$(realpath "$libdir/libqxmatte.so.0")" ]] || fail "find_package host does not load the staged library"
out=$("$work/fp/consumer")
[[ $out == "$expected" ]] || fail "find_package host printed '$out'"
# The version file refuses another major version.
if cmake -S "$source/tests/install/find_package" -B "$work/fp2" -DCMAKE_PREFIX_PATH="$stage" \
     -DQX_WANT=1.0 >"$work/fp2.log" 2>&1; then
  fail "find_package(qxmatte 1.0) accepted version 0.x"
fi
echo "install test: staged at $stage, soname $soname, both hosts print: $out"
