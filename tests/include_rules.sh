#!/usr/bin/env bash
# Dependencies go one way: each directory in src/ may include only headers from itself and from the
# directories listed here.
set -euo pipefail
cd "$(dirname "$0")/../src"

allowed() {
  case $1 in
    platform) echo "platform" ;;
    diag)     echo "diag platform" ;;
    settings) echo "settings diag platform" ;;
    pjl)      echo "pjl settings diag platform" ;;
    booklet)  echo "booklet settings diag platform" ;;
    filter)   echo "filter booklet pjl settings diag platform" ;;
    queue)    echo "queue filter pjl settings platform" ;;
    programs) echo "filter pjl queue settings" ;;
    *)        echo "src/$1: not in the list of tests/include_rules.sh" >&2 ;;
  esac
}

status=0
for directory in */; do
  directory=${directory%/}
  permitted=$(allowed "$directory")
  [[ $permitted ]] || status=1
  for file in "$directory"/*.h "$directory"/*.cpp; do
    [[ -e $file ]] || continue
    while read -r included; do
      if [[ " $permitted " != *" $included "* ]]; then
        echo "src/$file includes $included/" >&2
        status=1
      fi
    done < <(sed -n 's|^#include "\([a-z]*\)/.*|\1|p' "$file")
  done
done
exit $status
