#!/usr/bin/env bash
# check_layers.sh [OBJECT_FOLDER]: what stands on what under src/. A file includes its own folder and the folders before
# it in the list below, and no header includes itself by way of others. With the objects of src/, functions and
# variables count as well: an object uses only what its own folder and those before it define, because a declaration of
# its own would get around the includes. network and tables are neighbours: a node owns tables, a table names nodes.
# A host sees tarvo.h alone.
set -u
objects=${1:+$(realpath "$1")}
cd "$(dirname "$0")/.." || exit 2
layers="api network,tables text data expr compile inference limid net learn predict analysis"
sources() { find src -name '*.h' -o -name '*.cpp' -o -name '*.inc' | sort; }
ranks='
  function set_ranks(  count, row, i, folders, name, j) {
    count = split(layers, row, " ")
    for (i = 1; i <= count; ++i) {
      folders = split(row[i], name, ",")
      for (j = 1; j <= folders; ++j) rank[name[j]] = i
    }
  }
  function folder(file,  path) {
    split(file, path, "/")
    return path[1]
  }'

check_includes() {
  sources | xargs awk -v layers="$layers" "$ranks"'
  BEGIN { set_ranks() }
  FNR == 1 {
    own = folder(substr(FILENAME, 5))
    if (!(own in rank)) print FILENAME ": folder " own " has no place in the layers"
  }
  /^[ \t]*#[ \t]*include[ \t]*"/ {
    split($0, quoted, "\"")
    if (quoted[2] == "tarvo.h") next
    if (FILENAME == "src/" quoted[2]) print FILENAME ":" FNR ": includes itself"
    target = folder(quoted[2])
    if (!(target in rank)) print FILENAME ":" FNR ": \"" quoted[2] "\" is not written from src/"
    else if (rank[target] > rank[own]) print FILENAME ":" FNR ": " own " may not include \"" quoted[2] "\""
  }'
}

check_circles() {
  sources | xargs awk '
    /^[ \t]*#[ \t]*include[ \t]*"/ {
      split($0, quoted, "\"")
      print FILENAME, "src/" quoted[2]
    }' | tsort 2>&1 >/dev/null | awk '
    /contains a loop/ { printf "%sheaders that include each other:", separator; separator = "\n"; next }
    { printf " %s", $2 }
    END { printf "%s", separator }'
}

# Objects whose source is gone are left over from an earlier build. An inline function or an instantiated template is
# defined in several objects, of which the lowest counts.
check_symbols() {
  local files file
  mapfile -t files < <(sources | sed -n "s|^src/\(.*\.cpp\)$|$objects/\1.o|p")
  for file in "${files[@]}"; do
    [ -e "$file" ] || { echo "$file is missing: build first"; return; }
  done
  "${NM:-nm}" -PA "${files[@]}" | awk -v layers="$layers" \
    -v prefix="$objects/" "$ranks"'
  BEGIN { set_ranks() }
  {
    file = substr($1, length(prefix) + 1)
    sub(/(\[.*\])?:$/, "", file)
    if ($3 ~ /^[Uwv]$/) {
      user[++uses] = file
      used[uses] = $2
    } else if ($3 ~ /^[A-Zu]$/ && (!($2 in definition) || rank[folder(file)] < rank[folder(definition[$2])])) {
      definition[$2] = file
    }
  }
  END {
    for (i = 1; i <= uses; ++i) {
      if (!(used[i] in definition)) continue
      file = definition[used[i]]
      if (rank[folder(file)] > rank[folder(user[i])]) print user[i] " uses " used[i] ", which " file " defines"
    }
  }' | "${CXXFILT:-c++filt}"
}

check_hosts() {
  find tools examples bench -name '*.h' -o -name '*.c' -o -name '*.cpp' 2>/dev/null | sort |
    xargs -r grep -nE "#[[:space:]]*include \"(\.\./)*(src/)?(${layers//[ ,]/|})/"
}

found=$(check_includes; check_circles; [ -z "$objects" ] || check_symbols; check_hosts)
[ -z "$found" ] || { printf '%s\n' "$found"; exit 1; }
