#!/usr/bin/env bash
# Dependencies go one way: each directory in src/ may include only headers from itself and from the
# directories listed here.
set -euo pipefail
cd "$(dirname "$0")/../src"

declare -A allowed=(
  [platform]=""
  [diag]="platform"
  [settings]="diag|platform"
  [pjl]="settings|diag|platform"
  [booklet]="settings|diag|platform"
  [filter]="booklet|pjl|settings|diag|platform"
  [queue]="filter|pjl|settings|platform"
  [programs]="filter|pjl|queue|settings"
)
status=0
for directory in *; do
  [[ -d $directory ]] || continue
  if [[ ! -v allowed[$directory] ]]; then
    echo "src/$directory: not in the list of tests/include_rules.sh" >&2
    status=1
  elif grep -rE '^#include "[a-z]+/' "$directory" | grep -vE "\"($directory|${allowed[$directory]:--})/" >&2; then
    status=1
  fi
done
exit $status
