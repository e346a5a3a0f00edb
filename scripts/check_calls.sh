#!/usr/bin/env bash
# check_calls.sh OBJECT_FOLDER: what the library may not call. A library neither ends its host nor writes on the host's
# standard streams, and memory that callers free comes from two files alone, so that nothing escapes the fault tests.
set -u
objects=${1:?usage: check_calls.sh OBJECT_FOLDER}
anywhere='abort|exit|_exit|quick_exit|puts|printf|vprintf|putchar|perror|__printf_chk|__vprintf_chk|stdout|stderr|rand|srand|system|signal|_ZSt4cout|_ZSt4cerr|_ZSt9terminatev'
memory='malloc|calloc|realloc|free|strdup|aligned_alloc|posix_memalign'

[ -n "$(find "$objects" -name '*.o' -print -quit)" ] || { echo "no objects under $objects"; exit 2; }
found=$(find "$objects" -name '*.o' -print0 | xargs -0 "${NM:-nm}" -uA | awk -v folder="$objects/" -v anywhere="^($anywhere)$" \
  -v memory="^($memory)$" '
  {
    file = "src/" substr($1, length(folder) + 1)
    sub(/\.o:$/, "", file)
    may_allocate = file ~ /^src\/api\/(memory|streams)\.cpp$/
    if ($NF ~ anywhere || (!may_allocate && $NF ~ memory)) print file ": " $NF
  }')
[ -z "$found" ] || { printf '%s\n' "$found"; exit 1; }
