#!/usr/bin/env bash
# package_test.sh SOURCES BUILD-DIRECTORY: the package of a build contains what an administrator needs,
# with the modes that CUPS requires, is reproducible, and is removed completely. Does not need root.
set -euo pipefail
export LC_ALL=C
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# ---- It is reproducible, at any time, in any directory and for any user.
# Later than all files, so that the time of a file would make a difference.
export SOURCE_DATE_EPOCH=4000000000
make_deb() { # NAME
  "$source/packaging/make-deb" "$build" "$work/$1" > "$work/$1.path" 2> "$work/$1.errors" || fail "$(cat "$work/$1.errors")"
  ! grep -v '^dpkg-gencontrol: warning: .*unused substitution' "$work/$1.errors" || fail 'warnings'
}
(umask 077 && cd / && TZ=Pacific/Auckland LANG=de_DE.UTF-8 make_deb second) &
make_deb first
wait $! || fail 'the second package'
deb=$(cat "$work/first.path")
cmp "$deb" "$(cat "$work/second.path")" || fail 'two packages of one build differ'

# ---- Content: everything belongs to root, and is readable by everyone and writable only by root.
dpkg-deb --fsys-tarfile "$deb" | tar --list --verbose --numeric-owner --quoting-style=literal > "$work/list"
! grep -vE '^\S+ 0/0 ' "$work/list" || fail 'not owned by root'
! grep '^d' "$work/list" | grep -v '^drwxr-xr-x ' || fail 'modes of directories'
(($(grep -c '^l.*\.lproj -> ..\.lproj$' "$work/list") > 600)) || fail 'few regions have an instruction page'
# How many files there are of each mode and name; LL is a language.
grep '^-' "$work/list" | awk '{ print $1, $6 }' | sed -E 's#/docs/.*#/docs/*#; s#([-/])..(\.po|\.lproj/.*)$#\1LL\2#' |
  sort -k 2 | uniq -c | sed 's/^ *//; /docs/s/^[0-9]*/some/' > "$work/files"
diff - "$work/files" << 'END' || fail 'other files, or other modes'
8 -rw-r--r-- ./Library/Printers/Quorvan/filter/.resource/LL.lproj/instruction(null)
1 -rwxr-xr-x ./usr/bin/pjlLines
1 -rwxr-xr-x ./usr/lib/cups/filter/jobshaper
1 -rwxr-xr-x ./usr/lib/cups/filter/jobshaper-queue
1 -rw-r--r-- ./usr/share/cups/drv/quorvan.drv
1 -rw-r--r-- ./usr/share/cups/ppd-updaters/jobshaper.ppd-updater
7 -rw-r--r-- ./usr/share/cups/ppdc/quorvan-LL.po
1 -rw-r--r-- ./usr/share/doc/jobshaper/CONTRIBUTING.md
1 -rw-r--r-- ./usr/share/doc/jobshaper/README.md
1 -rw-r--r-- ./usr/share/doc/jobshaper/SECURITY.md
1 -rw-r--r-- ./usr/share/doc/jobshaper/changelog.gz
1 -rw-r--r-- ./usr/share/doc/jobshaper/copyright
some -rw-r--r-- ./usr/share/doc/jobshaper/docs/*
1 -rw-r--r-- ./usr/share/lintian/overrides/jobshaper
1 -rw-r--r-- ./usr/share/man/man1/pjlLines.1.gz
1 -rw-r--r-- ./usr/share/man/man8/jobshaper-queue.8.gz
1 -rw-r--r-- ./usr/share/man/man8/jobshaper.8.gz
END

# ---- What the package says about itself. The packages of the libraries have other names on Debian 13, and
# a build with sanitizers needs theirs, too.
depends=$(dpkg-deb --field "$deb" Depends)
libraries=$(tr ',' '\n' <<< "$depends" |
  sed 's/^ *//; s/ .*//; s/t64$//; s/^libplist.*/libplist/; /^lib\(a\|ub\)san/d' | sort | xargs)
[[ $libraries == 'cups libc6 libcups2 libplist libstdc++6' ]] || fail "depends on $depends"
dpkg-checkbuilddeps -d "$depends" "$source/packaging/control" || fail 'cannot be installed here'
grep -Fqx "Version $(dpkg-deb --field "$deb" Version)" "$source/ppd/quorvan.drv" || fail 'the PPD files have another version'
[[ $(dpkg-deb --field "$deb" Provides) == printer-driver-quorvan ]] || fail 'no name for those who look for drivers'
dpkg-deb --control "$deb" "$work/control"
[[ $(cd "$work/control" && echo p*) == prerm ]] || fail 'other scripts that run as root'

# ---- Installed, complete and working.
system=$work/system
mkdir -p "$system/var/lib/dpkg/updates"
touch "$system/var/lib/dpkg/status"
run_dpkg() {
  (cd "$work" && PATH=$PATH:/usr/sbin:/sbin dpkg --root="$system" --log=/dev/null --force-not-root \
    --force-depends --force-script-chrootless --force-unsafe-io "$@" > log 2>&1) || fail "$(cat "$work/log")"
}
everything() { (cd "$system" && find . ! -path './var/lib/dpkg*' | sort); }
everything > "$work/before"
run_dpkg --install "$deb"
(cd "$system" && md5sum --quiet --check var/lib/dpkg/info/jobshaper.md5sums) || fail 'check sums'
for page in jobshaper.8 jobshaper-queue.8 pjlLines.1; do
  zcat "$system/usr/share/man/man${page##*.}/$page.gz" | cmp - "$source/docs/$page" || fail "$page"
done
# The file that the script of the cups package reads.
(
  # shellcheck source=packaging/jobshaper.ppd-updater
  . "$system/usr/share/cups/ppd-updaters/jobshaper.ppd-updater"
  [[ -z $GENNICKNAME_REGEXP ]] && grep -qE "$DRIVER_REGEXP" <<< 'drv:///quorvan.drv/quorvan-small-mono.ppd Quorvan' &&
    ! grep -qE "$DRIVER_REGEXP" <<< 'drv:///sample.drv/generic.ppd Generic'
) || fail 'the drivers to update'
# The pages and pictures that installed pages name.
documents=$system/usr/share/doc/jobshaper
while read -r page; do
  sed -n 's/.*](\([^):#]*\)).*/\1/p' "$page" | sed "s|^|$(dirname "$page")/|"
  # shellcheck disable=SC2016 # Markdown
  grep -o '`[A-Za-z/-]*\.md`' "$page" | tr -d '`' | grep -v CHANGELOG | sed "s|^|$documents/|" || true
done < <(find "$documents" -name '*.md') | sort -u > "$work/links"
(($(wc -l < "$work/links") > 5)) || fail 'hardly a link'
while read -r file; do [[ -s $file ]] || fail "no $file"; done < "$work/links"
head=$(printf '%%!PS\nshowpage\n' |
  env -u PPD CUPS_SERVERBIN="$system/usr/lib/cups" DEVICE_URI=socket://printer TMPDIR="$work" \
    "$system/usr/lib/cups/filter/jobshaper-queue" 1 ada Title 1 '' 2> "$work/errors" | sed -n '1s/^.*@/@/p')
[[ $head == '@PJL JOB' ]] || fail "no job: $head $(cat "$work/errors")"
"$system/usr/bin/pjlLines" 'PrintTo=JRVerify' 2> "$work/errors" | grep -q 'HOLD = PROOF' ||
  fail "pjlLines: $(cat "$work/errors")"

# ---- Removed. Queues that would be left without their filter are named.
queues=$system/etc/cups/ppd
mkdir -p "$queues"
sed 's/jobshaper-queue/otherfilter/' "$build/ppd/quorvan-small-mono.ppd" > "$queues/other.ppd"
[[ ! $(DPKG_ROOT=$system sh "$work/control/prerm" remove 2>&1) ]] || fail 'a queue with another filter'
cp "$build/ppd/quorvan-small-mono.ppd" "$queues/office.ppd"
run_dpkg --purge jobshaper
[[ $(< "$work/log") == *'these queues cannot print: office '$'\n'*'lpadmin -x QUEUE'* ]] ||
  fail "no word about the queue: $(cat "$work/log")"
rm -r "$work/system/etc"
everything > "$work/after"
diff "$work/before" "$work/after" || fail 'purging leaves something'
