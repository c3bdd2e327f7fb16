#!/usr/bin/env bash
# Runs the tests of a build. What failed, and why tests were skipped, comes after all names.
#
# usage: tests/run.sh PRESET [CTEST-OPTION...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=$1
shift
status=0
ctest --preset "$preset" --parallel "$(nproc)" --no-tests=error "$@" || status=$?
awk '/^[0-9]+\/[0-9]+ Test(ing)?: / { name = $3; text = "" }
     { text = text $0 "\n" }
     /^Skipped: / { print "Skipped: " name ": " substr($0, 10) }
     /: Skipped$/ { getline; print "Skipped: " name ": " $0 }
     /^Test Failed\.$/ || /^Test timeout/ { print "\n== Failed: " name "\n" text }' \
  "build/$preset/Testing/Temporary/LastTest.log"
exit $status
