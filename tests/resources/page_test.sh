# page_test.sh GS LANGUAGE PAGE TEXTS: the instruction page in one language, on A4 and Letter.
gs=$1 language=$2 page=$3 texts=$4
here=$(cd "$(dirname "$0")" && pwd)
. "$here/common.sh"

# ---- The file: 7-bit lines that neither match a rule of the filter nor look like DSC comments.
test "$(tail -c 1 "$page" | od -An -to1 | tr -d ' ')" = 012 || fail "no newline at the end"
! grep -n '[^ -~]' "$page" || fail "not printable ASCII"
! awk 'length > 255' "$page" | grep . || fail "a line of more than 255 bytes"
! grep -n -e 'sfcl{' -e JobPatchFile -e PageRegion -e 'PageSize *:' -e '[*]PageSize' \
    -e CustomPageSize -e InputSlot -e QVBookletFold -e Collate -e '^@PJL' -e '%%' -e '%!' \
    -e RBINumCopies -e '}efcl' -e cleartomark -e duplexer "$page" || fail "a text with a meaning"

# The page must look the same in every job.
compare() { # NAME
  run_between_reports "$1"
  cmp plain-1.png "$1-1.png" || fail "$1: looks different"
}

# ---- Exactly one page, well inside the paper.
{ begin_job '595 842'; cat "$page"; } > a4.ps
{ begin_job '612 792'; cat "$page"; } > plain.ps
"$gs" -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=bbox a4.ps plain.ps 2> box
printf '%s\n' '595 842' '612 792' > sizes
grep '^%%BoundingBox' box | paste -d ' ' - sizes | awk 'NF != 7 { exit 1 } {
    width = $6; height = $7
    if (!($2 >= 36 && $3 >= 36 && $4 <= width - 36 && $5 <= height - 36 &&
          $4 - $2 > width * 0.75 && $5 - $3 > height * 0.75)) exit 1 }' ||
  { cat box; fail "not one page, or not placed well"; }

# ---- The rest is the same on any paper. The page is well filled:
"$gs" -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=inkcov -o - plain.ps > ink
awk '$4 < 0.02 || $4 > 0.4 { exit 1 }' ink || { cat ink; fail "too little or too much ink"; }

# ---- All its words and no others (in English where the printer lacks the font).
words=$texts/$language.txt
! grep -q twoByteFonts "$words" || words=$texts/en.txt
{ sed 's/^[^ ]* //' "$words"
  sed -n 's/^thisSheet \(.*\)/\1\n\1/p' "$words"
  echo '1 2 3 i'
} | sed "s/'/\xe2\x80\x99/g; s/\xc2\xa0/ /g" | tr -s ' ' '\n' | sed '/^$/d' | sort > expected
run txtwrite text plain.ps
sed 's/\xc2\xa0/ /g' text | tr -s ' \r' '\n' | sed '/^$/d' | sort > words
test "$(wc -l < expected)" -gt 100 || fail "no texts in $words"
diff expected words || fail "other words than in $words"

# The pages differ only in their texts, and in the use of a two-byte font.
case $language in en | ja) ;; *) exit 0 ;; esac
run pnggray plain-%d.png plain.ps
size='612 792'

# ---- Inside a job with an odd state, alone and wrapped as on old systems.
{ begin_job "$size"; cat "$here/odd_state.ps"; report before
  cat "$page"; end_job; } > odd.ps
compare odd
{ begin_job "$size"; cat "$here/odd_state.ps"; report before
  echo 'userdict/ESPsave save put'; cat "$page"; printf '\nuserdict /ESPsave get restore\n'
  end_job; } > wrapped.ps
compare wrapped

# ---- In a job that has redefined every operator and uses the page's own names for operators.
{ begin_job "$size"; cat "$here/redefined.ps"
  grep -o '/[A-Za-z][A-Za-z0-9]*' "$page" | sort -u |
    sed 's/$/ dup where { pop pop } { \/stroke load def } ifelse/'
  cat "$here/odd_state.ps"; echo 'redefined begin'; report before
  cat "$page"; end_job; } > redefined.ps
compare redefined
