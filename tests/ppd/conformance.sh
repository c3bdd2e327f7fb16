#!/usr/bin/env bash
# CUPS's own test of PPD files. Its warnings are counted: only those about paper sizes whose names
# the printers' settings prescribe may be there.
#
# usage: conformance.sh PPD...
set -euo pipefail
export LC_ALL=C

expected='Size "(Comm10|Monarch|DL|C4|C5|OthEnv|Universal)" should be the Adobe standard name'
status=0
for ppd; do
  # Whether the filter is installed is not a matter of the file.
  if ! report=$(cupstestppd -I filters -v "$ppd"); then
    echo "FAILED: $ppd"
    status=1
  fi
  grep -q 'NO ERRORS FOUND' <<< "$report" || status=1
  if grep -E 'WARN|FAIL' <<< "$report" | grep -vE "$expected"; then
    echo "FAILED: $ppd: warnings that can be avoided"
    status=1
  fi
done
(($# == 5)) || { echo "FAILED: $# PPD files"; status=1; }
exit $status
