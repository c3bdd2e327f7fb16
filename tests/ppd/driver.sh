#!/usr/bin/env bash
# The installed driver as CUPS finds it: lpinfo -m lists every printer, and a queue gets the PPD file of
# the build.
#
# usage: driver.sh CMAKE BUILD-DIRECTORY
set -euo pipefail
export LC_ALL=C

cmake=$1 build=$2
work=$(mktemp -d)
trap 'cat "$work/errors"; rm -rf "$work"' EXIT
data=$work/usr/share/cups
DESTDIR=$work "$cmake" --install "$build" --component ppds --prefix /usr > "$work/log"
# CUPS's own includes are in the same directory as ours.
cp "$(cups-config --datadir)/ppdc/font.defs" "$data/ppdc"
mkdir "$work/cache" "$work/empty"

# The program that lpinfo -m and lpadmin -m call.
driverd() {
  CUPS_DATADIR=$data CUPS_CACHEDIR=$work/cache CUPS_SERVERBIN=$work/empty \
    timeout 60 "$(cups-config --serverbin)/daemon/cups-driverd" "$@" 2> "$work/errors"
}
driverd list 0 0 '' > "$work/list"
ppds=("$build"/ppd/*.ppd)
for ppd in "${ppds[@]}"; do
  nickname=$(sed -n 's/^\*NickName: "\(.*\)"\r\{0,1\}$/\1/p' "$ppd")
  for text in "drv:///quorvan.drv/${ppd##*/}" "$nickname"; do
    grep -aq "$text" "$work/list" || { echo "$text is not in the list of drivers" && exit 1; }
  done
done
# One is enough: all are made in the same way.
driverd cat "drv:///quorvan.drv/${ppds[0]##*/}" | cmp - "${ppds[0]}"
! grep -i 'unable\|missing\|error' "$work/errors"
