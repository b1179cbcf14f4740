#!/usr/bin/env bash
# The man page keeps up with the tool: it is lint-clean, and every subcommand
# that `qxmatte --help` lists has its section, every long option of each
# subcommand's --help is described, and so are the exit codes.
# Usage: man_test.sh QXMATTE MANPAGE
set -euo pipefail
cli=$1 page=$2
missing=()
lint=$(mandoc -T lint "$page" 2>&1 || true)
[[ -z $lint ]] && echo "mandoc -T lint: clean" || missing+=("lint: $lint")
# Subcommands: the indented words under "Subcommands:".
subs=$("$cli" --help | awk '/^Subcommands:/ {on = 1; next} on && /^  [a-z]/ {print $1}')
[[ -n $subs ]] || missing+=("no subcommands in qxmatte --help")
for sub in $subs; do
  grep -qx "\.SS $sub" "$page" || missing+=("subcommand $sub has no .SS section")
  for option in $("$cli" "$sub" --help | grep -oE '(^|[ ,])--[a-z][a-z-]*' | grep -oE -- '--[a-z-]+' | sort -u); do
    [[ $option == --help ]] && continue
    escaped=$(sed 's/-/\\\\-/g' <<<"$option")
    grep -q -- "$escaped" "$page" || missing+=("$sub $option is not described")
  done
done
for code in 0 1 2 3; do
  sed -n '/^\.SH EXIT STATUS/,/^\.SH /p' "$page" | grep -qx "\.B $code" || missing+=("exit code $code")
done
if (( ${#missing[@]} )); then
  printf 'man page %s is missing:\n' "$page" >&2
  printf '  %s\n' "${missing[@]}" >&2
  exit 1
fi
echo "man page covers $(wc -w <<<"$subs") subcommands: $(tr '\n' ' ' <<<"$subs")"
