#!/usr/bin/env bash
# check_symbols.sh LIBRARY [--update]: the symbols that the shared library exports are exactly those of exports.txt
# and exactly the functions that tarvo.h declares. --update rewrites exports.txt from the library.
set -u
folder=$(cd "$(dirname "$0")" && pwd)
library=${1:?usage: check_symbols.sh LIBRARY [--update]}
list=$folder/exports.txt
exported=$("${NM:-nm}" -D --defined-only "$library" | awk '{print $3}' | LC_ALL=C sort)
if [ "${2:-}" = --update ]; then
  printf '%s\n' "$exported" >"$list"
  exit 0
fi
declared=$(sed -n 's/^TV_API .*[ *]\(tv_[A-Za-z_0-9]*\)(.*/\1/p' "$folder/../include/tarvo.h" | LC_ALL=C sort)

status=0
compare() {  # TITLE LIST-A LIST-B: what is in one and not in the other
  local rows
  rows=$(LC_ALL=C comm -3 --output-delimiter='+' <(printf '%s\n' "$2") <(printf '%s\n' "$3"))
  [ -z "$rows" ] && return
  printf '%s\n%s\n' "$1" "$rows"
  status=1
}
compare "exports.txt against the library (+ is new in the library):" "$(cat "$list")" "$exported"
compare "tarvo.h against the library (+ is not declared):" "$declared" "$exported"
exit $status
