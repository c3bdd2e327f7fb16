# manual_booklet_job_test.sh GS FILTER CMAKE BUILD: renders a manual booklet that the filter made with
# the installed pages.
gs=$1 filter=$2 cmake=$3 build=$4
here=$(cd "$(dirname "$0")" && pwd)
. "$here/common.sh"

DESTDIR=$work/root "$cmake" --install "$build" --component resources > log || { cat log; fail "install"; }
printf '*PPD-Adobe: "4.3"\n*QvnManualBooklet: "True"\n' > manual.ppd

booklet() { # SAVE RESTORE; a job of four pages, with these lines around each
  cat <<'END'
%!PS-Adobe-3.0
%%BeginProlog
userdict /cg_md 10 dict dup begin
/bp { gsave } def /sdmtx { 0.5 0.5 scale } def /ep { grestore showpage } def
/w /setlinewidth load def /x /exch load def /s /stroke load def
end put
%%EndProlog
%%BeginSetup
<< /PageSize [595 842] >> setpagedevice
%%EndSetup
END
  for page in 1 2 3 4; do
    printf '%%%%Page: %s %s\n%%%%PageBoundingBox: 0 0 595 842\n' $page $page
    if test -n "$1"; then echo "$1"; else echo '%%BeginPageSetup'; fi
    printf '%% the page begins\ncg_md begin bp sdmtx\n'
    printf '/Times-Roman findfont 40 scalefont setfont 200 900 moveto (side %s) show\nep end\n' $page
    test -z "$2" || echo "$2"
  done
  printf '%%%%Trailer\n%%%%EOF\n'
}

print() { # VERSION LANG
  mkdir "tmp.$1"
  # The PostScript is the part after the PJL header, up to the exit string.
  env TMPDIR="$work/tmp.$1" PPD="$work/manual.ppd" LANG="$2" DEVICE_URI=socket://printer \
    JOBSHAPER_INSTRUCTIONS="$work/root/Library/Printers/Quorvan/filter/.resource" \
    "$filter" "$1" 7 user title 1 QVBookletFold=Booklet "$work/$1.ps" > "$1.out" 2> "$1.err" ||
    { cat "$1.err"; fail "$1: status"; }
  ! grep instructionAsData "$1.err" || fail "$1: no instruction page"
  grep -v -a -e '^@PJL' -e '-12345X' "$1.out" > "$1.job"
  run txtwrite "$1-%d.txt" "$1.job" > "$1.log" || { cat "$1.log"; fail "$1: PostScript error"; }
  for text in "$1"-*.txt; do
    printf '%s ' "$(tr -s ' \r' '\n' < "$text" | sed '/^$/d' | head -n 2 | tr '\n' ' ')"
  done > "$1.pages"
}

booklet '' '' > 0x1050.ps
print 0x1050 de_CH.UTF-8
test "$(cat 0x1050.pages)" = 'Ihre Broschüre  side 1  side 3   side 4  side 2  ' ||
  fail "0x1050: $(cat 0x1050.pages)"

booklet 'userdict/ESPsave save put' 'userdict /ESPsave get restore' > 0x1049.ps
print 0x1049 fr
test "$(cat 0x1049.pages)" = 'Votre livret  side 1  side 3   side 4  side 2  ' ||
  fail "0x1049: $(cat 0x1049.pages)"
test "$(grep -c -a ESPsave 0x1049.job)" = 12 || fail "0x1049: not every page is wrapped"
