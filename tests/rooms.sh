#!/usr/bin/env bash
# Dependencies point one way. Each folder may include itself and the folders named behind it;
# nobody includes filter/.
set -euo pipefail
cd "$(dirname "$0")/.."

allowed() {
  case $1 in
    platform) echo "platform" ;;
    diag)     echo "diag platform" ;;
    settings) echo "settings diag platform" ;;
    pjl)      echo "pjl settings diag platform" ;;
    booklet)  echo "booklet settings diag platform" ;;
    queue)    echo "queue settings platform" ;;
    filter)   echo "filter booklet pjl settings diag platform" ;;
  esac
}

status=0
for room in platform diag settings pjl booklet queue filter; do
  for file in "$room"/*.h "$room"/*.cpp; do
    while read -r included; do
      if [[ " $(allowed "$room") " != *" $included "* ]]; then
        echo "$file includes $included/"
        status=1
      fi
    done < <(sed -n 's|^#include "\([a-z]*\)/.*|\1|p' "$file")
  done
done
exit $status
