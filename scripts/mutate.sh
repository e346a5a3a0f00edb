#!/usr/bin/env bash
# mutate.sh [NAME-PART...]: puts the faults of mutations.txt into a copy of the tree, one at a time, and runs the tests
# that must notice. A fault that no test notices, that does not build, or whose lines are no longer there makes it fail.
# With arguments only the faults whose names contain one of them are tried.
set -euo pipefail
cd "$(dirname "$0")/.."
list=$PWD/scripts/mutations.txt
tree=$PWD/build/mutants/tree
build=$PWD/build/mutants/build
log=$PWD/build/mutants/log
longest=${TARVO_MUTANT_SECONDS:-300}  # of a suite that a fault keeps busy

# replace FILE FROM TO: exits with 3 unless the lines stand there exactly once, however they are broken.
replace() {
  FROM=$2 TO=$3 perl -0pi -e '
    BEGIN { $from = join "\\s*", map { quotemeta } split " ", $ENV{FROM}; $to = $ENV{TO}; }
    $found = () = /$from/g;
    s/$from/$to/ if $found == 1;
    END { $? = $found == 1 ? 0 : 3; }' "$1"
}

# run_suite SUITE[:LIMITS]: whether the suite passes, with the sizes that other_ways.cpp knows by that name.
run_suite() {
  local suite=${1%%:*} limits=
  [[ $1 == *:* ]] && limits=${1#*:}
  # The subshell keeps what the shell says about a suite that crashed to itself.
  (TARVO_TEST_LIMITS=$limits timeout "$longest" "$build/tests/test_$suite" --gtest_brief=1 --gtest_fail_fast >"$log" 2>&1
    exit $?) 2>/dev/null
}

build_suites() {  # SUITE[:LIMITS]...
  local suite targets=()
  for suite in "$@"; do targets+=("test_${suite%%:*}"); done
  cmake --build "$build" -j "$(nproc)" --target "${targets[@]}" >"$log" 2>&1
}

# try_fault NAME FILE FROM TO SUITE...: prints what became of it; fails unless it was noticed.
try_fault() {
  local name=$1 file=$2 from=$3 to=$4 suite verdict=survived
  shift 4
  cp "$tree/$file" "$tree/$file.sound"
  if ! replace "$tree/$file" "$from" "$to"; then
    verdict="does not apply"
  elif ! build_suites "$@"; then
    verdict="does not build"
  else
    for suite in "$@"; do
      run_suite "$suite" && continue
      verdict="noticed by $suite"
      break
    done
  fi
  mv "$tree/$file.sound" "$tree/$file"
  touch "$tree/$file"
  printf '%-20s  %s\n' "$verdict" "$name"
  [[ $verdict == noticed* ]]
}

copy_tree() {
  mkdir -p "$tree"
  local files file
  files=$(git ls-files --cached --others --exclude-standard | sort)
  while read -r file; do
    [ ! -e "$file" ] || cmp -s "$file" "$tree/$file" || cp --parents "$file" "$tree"
  done <<<"$files"
  comm -13 <(printf '%s\n' "$files") <(find "$tree" -type f -printf '%P\n' | sort) |
    while read -r file; do rm "$tree/$file"; done
  cmake -S "$tree" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 -DTARVO_TOOLS=OFF \
    >"$log" 2>&1 || { cat "$log"; exit 1; }
}

# The fields of the next fault, into name, file, from, to and tests; fails behind the last.
read_fault() {
  local word rest field=
  name='' file='' from='' to='' tests=''
  while IFS= read -r line <&3; do
    [[ $line == \#* ]] && continue
    if [ -z "$line" ]; then
      [ -z "$name" ] && continue
      return 0
    fi
    read -r word rest <<<"$line"
    case $word in
      fault) name=$rest ;;
      file) file=$rest ;;
      from) from=$rest ;;
      to) to=$rest ;;
      tests) tests=$rest ;;
      *) case $field in  # the line before goes on
        from) from+=$'\n'$line ;;
        to) to+=$'\n'$line ;;
        esac
        continue ;;
    esac
    field=$word
  done
  [ -n "$name" ]
}

is_wanted() {  # NAME PART...
  local name=$1 part
  shift
  [ $# -eq 0 ] && return
  for part in "$@"; do [[ $name == *"$part"* ]] && return; done
  return 1
}

copy_tree
all=()
exec 3<"$list"
while read_fault; do is_wanted "$name" "$@" && for suite in $tests; do all+=("$suite"); done; done
mapfile -t all < <(printf '%s\n' "${all[@]}" | sort -u)
build_suites "${all[@]}" || { cat "$log"; exit 1; }
for suite in "${all[@]}"; do
  run_suite "$suite" || { cat "$log"; echo "mutate.sh: $suite fails without any fault" >&2; exit 1; }
done

tried=0 noticed=0
exec 3<"$list"
while read_fault; do
  is_wanted "$name" "$@" || continue
  tried=$((tried + 1))
  # shellcheck disable=SC2086
  if try_fault "$name" "$file" "$from" "$to" $tests; then noticed=$((noticed + 1)); fi
done
echo "$noticed of $tried faults were noticed"
[ "$noticed" -eq "$tried" ]
