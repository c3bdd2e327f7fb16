#!/usr/bin/env bash
# The installed driver as CUPS finds it: lpinfo -m lists every printer, and a queue gets the PPD file of
# the build.
#
# usage: driver.sh CMAKE BUILD-DIRECTORY
set -euo pipefail
export LC_ALL=C

cmake=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "FAILED: $*"
  exit 1
}

DESTDIR=$work "$cmake" --install "$build" --component ppds --prefix /usr > "$work/log" || fail "$(cat "$work/log")"
data=$work/usr/share/cups
[[ "$(ls "$data/drv")" == quorvan.drv ]] || fail "a file that is no driver: $(ls "$data/drv")"
(($(find "$work/usr" -type f ! -perm -444 | wc -l) == 0)) || fail 'unreadable files'
# CUPS's own includes are in the same directory as ours.
cp "$(cups-config --datadir)/ppdc/font.defs" "$data/ppdc"
mkdir "$work/cache" "$work/empty"

# The program that lpinfo -m and lpadmin -m call.
driverd() {
  CUPS_DATADIR=$data CUPS_CACHEDIR=$work/cache CUPS_SERVERBIN=$work/empty \
    timeout 60 "$(cups-config --serverbin)/daemon/cups-driverd" "$@" 2> "$work/errors"
}
driverd list 0 0 '' > "$work/list" || fail "$(tail "$work/errors")"
ppds=("$build"/ppd/*.ppd)
((${#ppds[@]} == 5)) || fail "${#ppds[@]} PPD files in the build"
for ppd in "${ppds[@]}"; do
  grep -aq "drv:///quorvan.drv/${ppd##*/}" "$work/list" || fail "$ppd is not in the list of drivers"
  nickname=$(sed -n 's/^\*NickName: "\(.*\)"\r\{0,1\}$/\1/p' "$ppd")
  grep -aq "$nickname" "$work/list" || fail "$nickname is not in the list of drivers"
done
# One is enough: all are made in the same way.
driverd cat "drv:///quorvan.drv/${ppds[0]##*/}" > "$work/ppd" || fail "$(tail "$work/errors")"
! grep -i 'unable\|missing\|error' "$work/errors" || fail "messages"
cmp "$work/ppd" "${ppds[0]}" || fail 'a PPD file that is not what the build made'
