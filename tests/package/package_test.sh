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
make_deb() { # DIRECTORY
  "$source/packaging/make-deb" "$build" "$1" > "$work/path" 2> "$work/errors" || fail "$(cat "$work/errors")"
  ! grep -v '^dpkg-gencontrol: warning: .*unused substitution' "$work/errors" || fail 'warnings'
  cat "$work/path"
}
deb=$(make_deb "$work/first")
again=$(umask 077 && cd / && TZ=Pacific/Auckland LANG=de_DE.UTF-8 make_deb "$work/second")
cmp "$deb" "$again" || fail 'two packages of one build differ'

# ---- Content: everything belongs to root, and is readable by everyone and writable only by root.
dpkg-deb --fsys-tarfile "$deb" | tar --list --verbose --numeric-owner --quoting-style=literal \
  > "$work/list"
(($(wc -l < "$work/list") > 600)) || fail 'a short list'
awk '$2 != "0/0" { print; bad = 1 } END { exit bad }' "$work/list" || fail 'not owned by root'
awk '{ print $1, $6 }' "$work/list" | grep -v -e '^l' -e '/$' | grep -v '^-rw-r--r-- ./usr/share/doc/jobshaper/docs/' |
  grep -v '/[a-z][a-z]\.lproj/instruction(null)$' | sort -k 2 > "$work/files"
cat > "$work/expected" <<'END'
-rwxr-xr-x ./usr/bin/pjlLines
-rwxr-xr-x ./usr/lib/cups/filter/jobshaper
-rwxr-xr-x ./usr/lib/cups/filter/jobshaper-queue
-rw-r--r-- ./usr/share/cups/drv/quorvan.drv
-rw-r--r-- ./usr/share/cups/ppd-updaters/jobshaper.ppd-updater
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-de.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-es.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-fr.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-it.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-ja.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-nl.po
-rw-r--r-- ./usr/share/cups/ppdc/quorvan-pt.po
-rw-r--r-- ./usr/share/doc/jobshaper/CONTRIBUTING.md
-rw-r--r-- ./usr/share/doc/jobshaper/README.md
-rw-r--r-- ./usr/share/doc/jobshaper/SECURITY.md
-rw-r--r-- ./usr/share/doc/jobshaper/changelog.gz
-rw-r--r-- ./usr/share/doc/jobshaper/copyright
-rw-r--r-- ./usr/share/lintian/overrides/jobshaper
-rw-r--r-- ./usr/share/man/man1/pjlLines.1.gz
-rw-r--r-- ./usr/share/man/man8/jobshaper-queue.8.gz
-rw-r--r-- ./usr/share/man/man8/jobshaper.8.gz
END
diff "$work/expected" "$work/files" || fail 'other files, or other modes'
pages=$(grep -c '^-rw-r--r-- .*\.resource/[a-z][a-z]\.lproj/instruction(null)$' "$work/list" || true)
((pages == 8)) || fail "$pages instruction pages"
! grep '^d' "$work/list" | grep -v '^drwxr-xr-x ' || fail 'modes of directories'

# ---- Dependencies: CUPS, and the packages of this system that contain the libraries. One library is
# loaded by its name.
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
    awk -v name="$library" '$1 == name { print $3 } $1 ~ "/" name { print $1 }' "$work/libraries"
  done < <(objdump -p "$program" | sed -n 's/^ *NEEDED *//p')
done | sort -u > "$work/needed"
while read -r library; do package_of "$library"; done < "$work/needed" > "$work/packages"
plist=$(pkg-config --variable=libdir libplist-2.0)
package_of "$plist/$(objdump -p "$plist/libplist-2.0.so" | sed -n 's/^ *SONAME *//p')" >> "$work/packages"
{ echo cups && cat "$work/packages"; } | sort -u > "$work/expected"
depends=$(dpkg-deb --field "$deb" Depends)
tr ',' '\n' <<< "$depends" | sed 's/^ *//; s/ .*//' | sort > "$work/depends"
diff "$work/expected" "$work/depends" || fail 'depends on other packages'
dpkg-checkbuilddeps -d "$depends" "$source/packaging/control" || fail 'cannot be installed here'
version=$(dpkg-deb --field "$deb" Version)
grep -Fqx "Version $version" "$source/ppd/quorvan.drv" || fail "is $version, the PPD files are not"
[[ $(dpkg-deb --field "$deb" Provides) == printer-driver-quorvan ]] || fail 'no name for those who look for drivers'
[[ $(dpkg-deb --ctrl-tarfile "$deb" | tar --list | grep -E '(pre|post)(inst|rm)') == ./prerm ]] ||
  fail 'other scripts that run as root'
# The file that the script of the cups package reads.
(
  # shellcheck source=packaging/jobshaper.ppd-updater
  . "$work/content/usr/share/cups/ppd-updaters/jobshaper.ppd-updater"
  [[ -z $GENNICKNAME_REGEXP ]] && grep -qE "$DRIVER_REGEXP" <<< 'drv:///quorvan.drv/quorvan-small-mono.ppd Quorvan' &&
    ! grep -qE "$DRIVER_REGEXP" <<< 'drv:///sample.drv/generic.ppd Generic'
) || fail 'the drivers to update'

# ---- Installed, complete and working.
mkdir -p "$work/system/var/lib/dpkg/updates"
touch "$work/system/var/lib/dpkg/status"
run_dpkg() {
  (cd "$work" && PATH=$PATH:/usr/sbin:/sbin dpkg --root="$work/system" --log=/dev/null --force-not-root \
    --force-depends --force-script-chrootless --force-unsafe-io "$@" > log 2>&1) ||
    fail "$(cat "$work/log")"
}
everything() { (cd "$work/system" && find . ! -path './var/lib/dpkg*' | sort); }
everything > "$work/before"
run_dpkg --install "$deb"
(cd "$work/system" && md5sum --quiet --check var/lib/dpkg/info/jobshaper.md5sums) || fail 'check sums'
for page in jobshaper.8 jobshaper-queue.8 pjlLines.1; do
  zcat "$work/system/usr/share/man/man${page##*.}/$page.gz" | cmp - "$source/docs/$page" || fail "$page"
done
# The pages and pictures that installed pages name.
documents=$work/system/usr/share/doc/jobshaper
while read -r page; do
  sed -n 's/.*](\([^):#]*\)).*/\1/p' "$page" | sed "s|^|$(dirname "$page")/|"
  # shellcheck disable=SC2016 # Markdown
  grep -o '`[A-Za-z/-]*\.md`' "$page" | tr -d '`' | grep -v CHANGELOG | sed "s|^|$documents/|" || true
done < <(find "$documents" -name '*.md') | sort -u > "$work/links"
(($(wc -l < "$work/links") > 5)) || fail 'hardly a link'
while read -r file; do [[ -s $file ]] || fail "no $file"; done < "$work/links"
[[ -r "$work/system/Library/Printers/Quorvan/filter/.resource/en_GB.lproj/instruction(null)" ]] ||
  fail 'no instruction page'
head=$(printf '%%!PS\nshowpage\n' |
  env -u PPD CUPS_SERVERBIN="$work/system/usr/lib/cups" DEVICE_URI=socket://printer TMPDIR="$work" \
    "$work/system/usr/lib/cups/filter/jobshaper-queue" 1 ada Title 1 '' 2> "$work/errors" |
  sed -n '1s/^.*@/@/p')
[[ $head == '@PJL JOB' ]] || fail "no job: $head $(cat "$work/errors")"
"$work/system/usr/bin/pjlLines" 'PrintTo=JRVerify' 2> "$work/errors" | grep -q 'HOLD = PROOF' ||
  fail "pjlLines: $(cat "$work/errors")"

# ---- Removed. Queues that would be left without their filter are named.
run_dpkg --remove jobshaper
! grep -q 'cannot print' "$work/log" || fail "queues where there are none: $(cat "$work/log")"
run_dpkg --install "$deb"
mkdir -p "$work/system/etc/cups/ppd"
cp "$build/ppd/quorvan-small-mono.ppd" "$work/system/etc/cups/ppd/office.ppd"
sed 's/jobshaper-queue/otherfilter/' "$build/ppd/quorvan-small-mono.ppd" > "$work/system/etc/cups/ppd/other.ppd"
run_dpkg --purge jobshaper
[[ $(< "$work/log") == *'these queues cannot print: office '$'\n'*'lpadmin -x QUEUE'* ]] ||
  fail "no word about the queue: $(cat "$work/log")"
rm -r "$work/system/etc"
everything > "$work/after"
diff "$work/before" "$work/after" || fail 'purging leaves something'
