# generator_test.sh CMAKE RESOURCES: what the maker of the pages does with texts of every kind.
cmake=$1 resources=$2
here=$(cd "$(dirname "$0")" && pwd)
gs=
. "$here/common.sh"
cp -R "$resources" copy

make_page() { # TITLE
  sed "s/^set(title .*/set(title [[$1]])/" "$resources/texts/en.cmake" > copy/texts/en.cmake
  "$cmake" -DLANGUAGE=en -DOUTPUT="$work/page" -P copy/instruction.cmake > log 2>&1
}

make_page 'a (b) c' || { cat log; fail "brackets"; }
grep -qF '/title (a \(b\) c) def' page || fail "brackets: $(grep /title page)"
make_page 'a\\b;c' || { cat log; fail "backslash and semicolon"; }
grep -qF '/title (a\\b;c) def' page || fail "backslash and semicolon: $(grep /title page)"
make_page 'é ü ÿ' || { cat log; fail "accents"; }
grep -qF '/title (\351 \374 \377) def' page || fail "accents: $(grep /title page)"
! grep -q '%#' page || fail "the template's own comments are in the page"

for text in 'œuvre' '„Zitat“' '日' 'tab	'; do
  ! make_page "$text" || fail "accepted: $text"
  grep -q 'Not ISO Latin 1' log || { cat log; fail "no reason given for: $text"; }
done
! make_page '' || fail "accepted a missing text"
