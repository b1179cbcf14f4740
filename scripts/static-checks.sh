#!/usr/bin/env bash
# cppcheck and clang-tidy over the library, host layer and tool sources.
# Usage: static-checks.sh BUILD_DIR [cppcheck|clang-tidy] (a configured build:
# clang-tidy reads its compile_commands.json; both tools without a second
# argument). Fails on any finding not in the suppression lists:
# .cppcheck-suppressions and the Checks line of .clang-tidy, each entry with
# its reason.
set -euo pipefail
build=$1 only=${2:-}
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
dirs=()
for d in frame primitives matting foreground selection utilities host cli; do [[ -d $d ]] && dirs+=("$d"); done

if [[ $only != clang-tidy ]]; then
echo "== cppcheck"
cppcheck --enable=warning,performance,portability --std=c++17 --language=c++ --inline-suppr --quiet \
  --error-exitcode=1 --suppressions-list=.cppcheck-suppressions -I . -I include \
  --template='{file}:{line}: {severity} [{id}] {message}' "${dirs[@]}"
fi
[[ $only == cppcheck ]] && { echo "static checks: cppcheck clean"; exit 0; }

echo "== clang-tidy"
# Sub-folders count too (host/codecs is a module of its own).
pattern="$root/($(IFS='|'; echo "${dirs[*]}"))/.*\\.cpp\$"
# run-clang-tidy prints colour codes; strip them so the log reads plainly.
if ! run-clang-tidy-14 -p "$build" -j "${JOBS:-2}" -quiet "$pattern" >"$build/clang-tidy.log" 2>&1; then
  sed 's/\x1b\[[0-9;]*m//g' "$build/clang-tidy.log" | grep -E 'error:|warning:' | sort -u
  echo "clang-tidy: findings above (full log: $build/clang-tidy.log)" >&2
  exit 1
fi
echo "static checks: clean"
