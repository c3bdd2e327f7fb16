#!/usr/bin/env bash
# version.sh VERSION SOURCES FILTER PPD-DIRECTORY: checks that the program's message, the man pages,
# CHANGELOG.md and the PPD files have the version of the project.
set -euo pipefail
version=$1 source=$2 filter=$3 ppds=("$4"/*.ppd)
status=0
expect() { # WHAT EXPECTED ACTUAL
  if [[ $3 != "$2" ]]; then
    echo "FAILED: $1: '$3' where '$2' is expected"
    status=1
  fi
}

# The message has only the first two numbers, which must not change.
message=$("$filter" 2>&1 < /dev/null | sed -n '1s/ $//p') || true
expect 'usage message' "ERROR: Version = ${version%.*}" "$message"
for page in "$source"/docs/*.[1-8]; do
  expect "${page##*/}" "jobshaper $version" "$(sed -n '1s/^\.TH [A-Z-]* [1-8] [0-9-]* "\([^"]*\)".*/\1/p' "$page")"
done
expect CHANGELOG.md "$version" "$(grep -om 1 '[0-9]\+\.[0-9]\+\.[0-9]\+' "$source/CHANGELOG.md")"
expect 'PPD files' 5 ${#ppds[@]}
for ppd in "${ppds[@]}"; do
  expect "${ppd##*/}" "\"$version\"" "$(sed -n 's/^\*FileVersion: *//p' "$ppd" | tr -d '\r')"
done
exit $status
