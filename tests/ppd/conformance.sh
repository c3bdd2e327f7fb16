#!/usr/bin/env bash
# Runs CUPS's own test of PPD files and counts its warnings. Only those about paper sizes whose names are
# prescribed by the printers are allowed.
#
# usage: conformance.sh PPD...
set -euo pipefail
export LC_ALL=C

expected='Size "(Comm10|Monarch|DL|C4|C5|OthEnv|Universal)" should be the Adobe standard name'
status=0
for ppd; do
  # Whether the filter is installed does not depend on the file.
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
