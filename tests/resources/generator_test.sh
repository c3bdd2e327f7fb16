# generator_test.sh MAKER RESOURCES: tests make_instruction_page with texts of every kind.
maker=$1 resources=$2
here=$(cd "$(dirname "$0")" && pwd)
gs=
. "$here/common.sh"

make_page() { # TITLE
  while read -r name text; do
    test "$name" != title || text=$1
    printf '%s %s\n' "$name" "$text"
  done < "$resources/texts/en.txt" > texts
  "$maker" "$resources/instruction.ps.in" texts texts page > log 2>&1
}

make_page 'a (b) c' || { cat log; fail "brackets"; }
grep -qF '/title (a \(b\) c) def' page || fail "brackets: $(grep /title page)"
make_page 'a\b;c' || { cat log; fail "backslash and semicolon"; }
grep -qF '/title (a\\b;c) def' page || fail "backslash and semicolon: $(grep /title page)"
make_page 'é ü ÿ' || { cat log; fail "accents"; }
grep -qF '/title (\351 \374 \377) def' page || fail "accents: $(grep /title page)"
! grep -q '%#' page || fail "the template's own comments are in the page"

for text in 'œuvre' '„Zitat“' '日' 'tab	'; do
  ! make_page "$text" || fail "accepted: $text"
  grep -q 'Not ISO Latin 1' log || { cat log; fail "no reason given for: $text"; }
done
for text in "$(printf 'caf\351')" "$(printf '\303')" "$(printf '\303\303\251')" "$(printf '\251')" \
    "$(printf '\360\220\215\210')"; do
  ! make_page "$text" || fail "accepted: $text"
  grep -q 'Not UTF-8' log || { cat log; fail "no reason given for: $text"; }
done
! make_page '' || fail "accepted a missing text"
grep -q 'No text: title' log || { cat log; fail "no reason given for a missing text"; }
