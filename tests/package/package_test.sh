#!/usr/bin/env bash
# package_test.sh SOURCES BUILD-FOLDER: the package of a build holds what an administrator needs with
# the modes that CUPS asks for, is the same bytes at every time, and goes without a trace. Needs no
# root: fakeroot plays it.
set -euo pipefail
export LC_ALL=C
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# ---- The same bytes, whoever builds it when and where.
# Later than any file, so that no time of a file shows through.
export SOURCE_DATE_EPOCH=4000000000
make_deb() { # FOLDER
  "$source/packaging/make-deb" "$build" "$1" > "$work/path" 2> "$work/errors" || fail "$(cat "$work/errors")"
  ! grep -v '^dpkg-gencontrol: warning: .*unused substitution' "$work/errors" || fail 'warnings'
  cat "$work/path"
}
deb=$(make_deb "$work/first")
again=$(umask 077 && cd / && TZ=Pacific/Auckland LANG=de_DE.UTF-8 make_deb "$work/second")
cmp "$deb" "$again" || fail 'two packages of one build differ'

# ---- What is in it: everything is root's, readable by all and writable by nobody else.
dpkg-deb --fsys-tarfile "$deb" | tar --list --verbose --numeric-owner --quoting-style=literal \
  > "$work/list"
(($(wc -l < "$work/list") > 600)) || fail 'a short list'
awk '$2 != "0/0" { print; bad = 1 } END { exit bad }' "$work/list" || fail 'not owned by root'
awk '{ print $1, $6 }' "$work/list" | grep -v -e '^l' -e '/$' |
  grep -v '/[a-z][a-z]\.lproj/instruction(null)$' | sort -k 2 > "$work/files"
cat > "$work/expected" <<'END'
-rwxr-xr-x ./usr/bin/pjlLines
-rwxr-xr-x ./usr/lib/cups/filter/jobshaper
-rwxr-xr-x ./usr/lib/cups/filter/jobshaper-queue
-rw-r--r-- ./usr/share/cups/drv/quorvan.drv
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-de.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-es.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-fr.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-it.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-ja.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-nl.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-pt.po
-rw-r--r-- ./usr/share/doc/jobshaper/changelog.gz
-rw-r--r-- ./usr/share/doc/jobshaper/copyright
-rw-r--r-- ./usr/share/doc/jobshaper/ppd.md
-rw-r--r-- ./usr/share/doc/jobshaper/troubleshooting.md
-rw-r--r-- ./usr/share/lintian/overrides/jobshaper
-rw-r--r-- ./usr/share/man/man1/pjlLines.1.gz
-rw-r--r-- ./usr/share/man/man8/jobshaper-queue.8.gz
-rw-r--r-- ./usr/share/man/man8/jobshaper.8.gz
END
diff "$work/expected" "$work/files" || fail 'other files, or other modes'
pages=$(grep -c '^-rw-r--r-- .*\.resource/[a-z][a-z]\.lproj/instruction(null)$' "$work/list" || true)
((pages == 8)) || fail "$pages instruction pages"
! grep '^d' "$work/list" | grep -v '^drwxr-xr-x ' || fail 'modes of folders'

# ---- It needs what this system has: CUPS and the packages of the libraries that the programs load,
# whatever this system calls them. One of them is loaded by its name.
package_of() { # FILE; which dpkg may know at its place of earlier times
  local place
  for place in "$1" "/usr$1" "${1#/usr}"; do
    if dpkg-query --search "$place" 2> /dev/null | sed '/^diversion/d; s/:.*//' | grep .; then return; fi
  done
  fail "no package has $1"
}
mkdir "$work/content"
dpkg-deb --extract "$deb" "$work/content"
for program in "$work"/content/usr/{lib/cups/filter,bin}/*; do
  ldd "$program" > "$work/libraries"
  while read -r library; do
    package_of "$(awk -v name="$library" '$1 == name { print $3 } $1 ~ "/" name { print $1 }' "$work/libraries")"
  done < <(objdump -p "$program" | sed -n 's/^ *NEEDED *//p')
done > "$work/packages"
plist=$(pkg-config --variable=libdir libplist-2.0)
package_of "$plist/$(objdump -p "$plist/libplist-2.0.so" | sed -n 's/^ *SONAME *//p')" >> "$work/packages"
{ echo cups && cat "$work/packages"; } | sort -u > "$work/expected"
depends=$(dpkg-deb --field "$deb" Depends)
tr ',' '\n' <<< "$depends" | sed 's/^ *//; s/ .*//' | sort > "$work/depends"
diff "$work/expected" "$work/depends" || fail 'depends on other packages'
dpkg-checkbuilddeps -d "$depends" "$source/packaging/control" || fail 'cannot be installed here'
version=$(dpkg-deb --field "$deb" Version)
grep -Fqx "Version $version" "$source/ppd/quorvan.drv" || fail "is $version, the PPD files are not"
[[ -z $(dpkg-deb --info "$deb" | grep -E ' (pre|post)(inst|rm) ' || true) ]] || fail 'scripts that run as root'

# ---- Installed, complete and working.
mkdir -p "$work/system/var/lib/dpkg/updates"
touch "$work/system/var/lib/dpkg/status"
as_root() {
  # fakeroot does not accept blanks in paths.
  (cd "$work" && TMPDIR=/tmp PATH=$PATH:/usr/sbin:/sbin fakeroot -s owners -i owners \
    dpkg --root="$work/system" --log=/dev/null --force-depends "$@" > log 2>&1) ||
    fail "$(cat "$work/log")"
}
everything() { (cd "$work/system" && find . ! -path './var/lib/dpkg*' | sort); }
: > "$work/owners"
everything > "$work/before"
as_root --install "$deb"
(cd "$work/system" && md5sum --quiet --check var/lib/dpkg/info/jobshaper.md5sums) || fail 'check sums'
for page in jobshaper.8 jobshaper-queue.8 pjlLines.1; do
  zcat "$work/system/usr/share/man/man${page##*.}/$page.gz" | cmp - "$source/docs/$page" || fail "$page"
done
[[ -r "$work/system/Library/Printers/Quorvan/filter/.resource/en_GB.lproj/instruction(null)" ]] ||
  fail 'no instruction page'
head=$(printf '%%!PS\nshowpage\n' |
  env -u PPD CUPS_SERVERBIN="$work/system/usr/lib/cups" DEVICE_URI=socket://printer TMPDIR="$work" \
    "$work/system/usr/lib/cups/filter/jobshaper-queue" 1 ada Title 1 '' 2> "$work/errors" |
  sed -n '1s/^.*@/@/p')
[[ $head == '@PJL JOB' ]] || fail "no job: $head $(cat "$work/errors")"
"$work/system/usr/bin/pjlLines" 'PrintTo=JRVerify' 2> "$work/errors" | grep -q 'HOLD = PROOF' ||
  fail "pjlLines: $(cat "$work/errors")"

# ---- And gone.
as_root --purge jobshaper
everything > "$work/after"
diff "$work/before" "$work/after" || fail 'purging leaves something'
