# install_test.sh CMAKE BUILD LOCALES: checks the installed directories, one for every locale name.
cmake=$1 build=$2 locales=$3
here=$(cd "$(dirname "$0")" && pwd)
gs=
. "$here/common.sh"

umask 022 # otherwise CMake makes directories that others cannot read
DESTDIR=$work/root "$cmake" --install "$build" --component resources > log || { cat log; fail "install"; }
test "$(ls -A root)" = Library || fail "installed outside the directory: $(ls -A root)"
cd root/Library/Printers/Quorvan/filter/.resource

finds() { # DIRECTORY LANGUAGE
  cmp "$1.lproj/instruction(null)" "$build/resources/instruction.$2.ps" ||
    fail "$1 does not find the page in $2"
}

# ---- One real directory per language, which contains only the page; relative links for the rest.
test "$(find . -type f | sort | tr '\n' ' ')" = "$(
  for language in de en es fr it ja nl pt; do printf './%s.lproj/instruction(null) ' $language; done)" ||
  fail "files: $(find . -type f)"
find . -type f ! -perm -444 | grep . && fail "unreadable files"
find . -type d ! -perm -555 | grep . && fail "closed directories"
for link in *.lproj; do
  test -h "$link" || continue
  case $(readlink "$link") in
    [a-z][a-z].lproj) test ! -h "$(readlink "$link")" || fail "$link: a link to a link" ;;
    *) fail "$link leads to $(readlink "$link")" ;;
  esac
  test -r "$link/instruction(null)" || fail "$link leads nowhere"
done

# ---- The values of LANG that CUPS sets for the language of a job, and values that others may set.
while read -r directory language; do finds "$directory" "$language"; done <<'END'
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
count=0
while read -r language territories; do
  case $language in '#'*) continue ;; esac
  case $language in
    de | en | es | fr | it | ja | nl | pt) page=$language ;;
    *) page=en ;;
  esac
  finds "$language" "$page"
  for territory in $territories; do
    finds "${language}_$territory" "$page"
    count=$((count + 1))
  done
done < "$locales"
test "$count" -gt 300 || fail "only $count territories in $locales"
