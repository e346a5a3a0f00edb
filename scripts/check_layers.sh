#!/usr/bin/env bash
# Includes point down the layers only: a file under src/ includes its own folder and the folders before it in this
# list. network and tables are neighbours: a node owns tables, a table names nodes. A host sees tarvo.h alone.
set -u
cd "$(dirname "$0")/.." || exit 2
layers="api network,tables text expr compile inference limid net learn analysis"

found=$(find src -name '*.h' -o -name '*.cpp' -o -name '*.inc' | sort | xargs awk -v layers="$layers" '
  BEGIN {
    count = split(layers, row, " ")
    for (i = 1; i <= count; ++i) {
      folders = split(row[i], name, ",")
      for (j = 1; j <= folders; ++j) rank[name[j]] = i
    }
  }
  FNR == 1 {
    split(FILENAME, path, "/")
    if (!(path[2] in rank)) print FILENAME ": folder " path[2] " has no place in the layers"
  }
  /^[ \t]*#[ \t]*include[ \t]*"/ {
    split($0, quoted, "\"")
    if (quoted[2] == "tarvo.h") next
    split(quoted[2], target, "/")
    if (!(target[1] in rank)) print FILENAME ":" FNR ": \"" quoted[2] "\" is not written from src/"
    else if (rank[target[1]] > rank[path[2]]) print FILENAME ":" FNR ": " path[2] " may not include \"" quoted[2] "\""
  }')
hosts=$(find tools examples bench -name '*.h' -o -name '*.c' -o -name '*.cpp' 2>/dev/null | sort |
  xargs -r grep -nE '#[[:space:]]*include "(\.\./)*(src/)?(api|network|tables|text|expr|compile|inference|limid|net|learn|analysis)/')

[ -z "$found$hosts" ] && exit 0
[ -z "$found" ] || printf '%s\n' "$found"
[ -z "$hosts" ] || printf '%s\n' "$hosts"
exit 1
