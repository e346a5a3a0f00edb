#!/usr/bin/env bash
# check_calls.sh OBJECT_FOLDER: what the library may not call. A library neither ends its host nor writes on the host's
# standard streams, and memory that callers free comes from two files alone, so that nothing escapes the fault tests.
set -u
objects=${1:?usage: check_calls.sh OBJECT_FOLDER}
anywhere='abort|exit|_exit|quick_exit|puts|printf|vprintf|putchar|perror|__printf_chk|__vprintf_chk|stdout|stderr|rand|srand|system|signal|_ZSt4cout|_ZSt4cerr|_ZSt9terminatev'
memory='malloc|calloc|realloc|free|strdup|aligned_alloc|posix_memalign'

count=0
found=
while IFS= read -r object; do
  count=$((count + 1))
  file=src/${object#"$objects"/}
  file=${file%.o}
  forbidden=$anywhere
  case $file in
    src/api/memory.cpp | src/api/streams.cpp) ;;
    *) forbidden="$anywhere|$memory" ;;
  esac
  calls=$(nm -u "$object" | awk '{print $2}' | grep -xE "$forbidden")
  [ -z "$calls" ] || found+="$file: "$(echo $calls)$'\n'
done < <(find "$objects" -name '*.o' | sort)

[ "$count" -gt 0 ] || { echo "no objects under $objects"; exit 2; }
[ -z "$found" ] || { printf '%s' "$found"; exit 1; }
