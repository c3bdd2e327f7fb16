# install_test.sh CMAKE BUILD LOCALES: checks the installed directories, one for every locale name.
cmake=$1 build=$2 locales=$3
here=$(cd "$(dirname "$0")" && pwd)
gs=
. "$here/common.sh"

umask 022 # otherwise CMake makes directories that others cannot read
DESTDIR=$work/root "$cmake" --install "$build" --component resources > log || { cat log; fail "install"; }
test "$(ls -A root)" = Library || fail "installed outside the directory: $(ls -A root)"
cd root/Library/Printers/Quorvan/filter/.resource

# What each directory contains: its name and the language of the page.
for page in "$build"/resources/instruction.??.ps; do
  language=${page%.ps}
  echo "$(md5sum < "$page") ${language##*.}"
done | sort > "$work/pages"
find -L . -name 'instruction(null)' -exec md5sum {} + | sed 's|  \./|  - |; s|\.lproj/.*||' | sort |
  join -o 2.3,1.3 "$work/pages" - | sort > "$work/found"

# ---- One real directory per language, which contains only the page; relative links for the rest.
test "$(find . -type f | sort | tr '\n' ' ')" = "$(
  for language in de en es fr it ja nl pt; do printf './%s.lproj/instruction(null) ' $language; done)" ||
  fail "files: $(find . -type f)"
find . -type f ! -perm -444 | grep . && fail "unreadable files"
find . -type d ! -perm -555 | grep . && fail "closed directories"
find . -type l -printf '%l\n' | sort -u > "$work/targets"
while read -r target; do
  case $target in
    [a-z][a-z].lproj) test -d "$target" && test ! -h "$target" || fail "$target is no real directory" ;;
    *) fail "a link leads to $target" ;;
  esac
done < "$work/targets"

# ---- The values of LANG that CUPS sets for the language of a job, and values that others may set.
cat > "$work/expected" <<'END'
C en
POSIX en
en en
en_US en
en_GB en
en_AU en
en_DE en
de de
de_DE de
de_AT de
de_CH de
fr fr
fr_FR fr
fr_CA fr
fr_CH fr
es es
es_ES es
es_MX es
es_US es
it it
it_IT it
it_CH it
pt pt
pt_BR pt
pt_PT pt
nl nl
nl_NL nl
nl_BE nl
ja ja
ja_JP ja
zh en
zh_CN en
zh_TW en
ko_KR en
ru_RU en
sv en
sv_SE en
pl_PL en
da_DK en
nb en
nb_NO en
no en
cs_CZ en
tr_TR en
ar_EG en
he_IL en
uk_UA en
END

# ---- Every line of the table.
awk '!/^#/ {
    page = $1 ~ /^(de|en|es|fr|it|ja|nl|pt)$/ ? $1 : "en"
    print $1, page
    for (i = 2; i <= NF; ++i) print $1 "_" $i, page
  }' "$locales" >> "$work/expected"
test "$(wc -l < "$work/expected")" -gt 400 || fail "only $(wc -l < "$work/expected") names"
sort -u "$work/expected" | comm -23 - "$work/found" > "$work/missing"
test ! -s "$work/missing" || fail "do not find their page: $(cat "$work/missing")"
