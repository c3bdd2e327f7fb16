# two_byte_font_test.sh GS PAGE: renders a page with texts for a two-byte font, with such a font and
# without a usable one.
gs=$1 page=$2
here=$(cd "$(dirname "$0")" && pwd)
. "$here/common.sh"

# ---- With the font: exactly the characters of the texts are drawn with it.
{ begin_job '595 842'; cat "$here/fake_font.ps"; report before; cat "$page"; end_job; } > font.ps
run_between_reports font
sed -n 's/^glyph //p' font.out | sort -u > drawn
sed -n '/^\/title </,/^} {/p' "$page" | tr -d '\n' | grep -o '<[0-9a-f]*>' | tr -d '<>\n' |
  sed 's/..../0x&\n/g' | xargs printf '%d\n' | sort -u > expected
test "$(wc -l < expected)" -gt 80 || fail "no two-byte texts in $page"
diff expected drawn || fail "other characters"

# ---- Without it, or if the font cannot be composed: the English page.
{ begin_job '595 842'; report before; cat "$page"; end_job; } > none.ps
run_between_reports none
! cmp -s font-1.png none-1.png || fail "the font makes no difference"
cat > broken_map.ps <<'END'
/UniJIS-UCS2-H << /CMapType 1 /CMapName /UniJIS-UCS2-H /CodeMap 3
  /CIDSystemInfo << /Registry (Adobe) /Ordering (Japan1) /Supplement 2 >> >>
/CMap defineresource pop
{ /Broken /UniJIS-UCS2-H [/HeiseiMin-W3] composefont } stopped
(composing fails: ) print = clear
END
{ begin_job '595 842'; cat "$here/fake_font.ps" broken_map.ps; report before; cat "$page"
  end_job; } > broken.ps
run_between_reports broken
grep -q '^composing fails: true' broken.out || fail "the broken font is not broken"
cmp none-1.png broken-1.png || fail "broken font: not the English page"
{ begin_job '595 842'; cat "$here/fake_font.ps"; report before
  sed 's/UniJIS-UCS2-H/NoSuchMap/' "$page"; end_job; } > nomap.ps
run_between_reports nomap
cmp none-1.png nomap-1.png || fail "no CMap: not the English page"
