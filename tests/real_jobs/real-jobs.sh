#!/usr/bin/env bash
# Filters jobs made by real programs and compares the output, byte for byte and
# page for page. A job without any feature that the filter rewrites may gain only
# the PJL and the marker feature in the prolog.
#
# usage: real-jobs.sh PROGRAM WORK-DIRECTORY
set -euo pipefail
export LC_ALL=C # jobs are bytes

program=$(realpath "$1")
work=$(realpath -m "$2")
# shellcheck source=tests/real_jobs/make-jobs.sh
. "$(dirname "${BASH_SOURCE[0]}")/make-jobs.sh"

rm -rf "$work"
mkdir -p "$work/jobs" "$work/tmp"
cd "$work"

passed=0
failed=0
fail() {
  echo "FAILED $name: $*"
  failed=$((failed + 1))
}

filter() { # OPTIONS < JOB > OUTPUT
  env -u PPD DEVICE_URI=socket://printer.local TMPDIR="$work/tmp" \
    "$program" 42 guest 'How a booklet is folded' 1 "$1" 2> stderr
}

uel=$'\e%-12345X'
printf '%s' "$uel$uel"$'@PJL RDYMSG DISPLAY = ""\n@PJL EOJ\n@PJL QPORTROTATE\n'"$uel" > trailer
trailer_size=$(wc -c < trailer)

# The body is the part between the header, which is as long as that of an empty
# job with the same options, and the trailer. Both are compared too.
header_options=none
take_body() { # OPTIONS OUTPUT
  if [[ $1 != "$header_options" ]]; then
    filter "$1" < /dev/null > empty || return 1
    header_options=$1
    header_size=$(($(wc -c < empty) - trailer_size))
    head -c "$header_size" empty > header
  fi
  [[ $(head -n 1 header) == "$uel@PJL JOB" &&
    $(tail -n 1 header) == '@PJL ENTER LANGUAGE = POSTSCRIPT' ]] || return 1
  head -c "$header_size" "$2" | cmp - header || return 1
  tail -c "$trailer_size" "$2" | cmp - trailer || return 1
  tail -c "+$((header_size + 1))" "$2" | head -c "-$trailer_size" > body
}

# One picture per page. PJL is not PostScript, so it is removed first.
render() { # JOB DIRECTORY
  rm -rf "$2"
  mkdir "$2"
  sed -e "/^$uel/d" -e '/^@PJL /d' "$1" > page-job
  gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=pbmraw -r24 -sOutputFile="$2/%03d.pbm" page-job \
    < /dev/null > gs.log 2>&1
}

# The filter inserts its marker feature after the first %%BeginProlog line.
with_marker_feature() { # < JOB
  local line start
  cat > unmarked
  # Treats carriage returns like newlines, and keeps the number of bytes.
  tr '\r' '\n' < unmarked > unmarked.lines
  start=$(grep -abm1 '^%%BeginProlog' unmarked.lines | cut -d: -f1) || true
  if [[ -z $start ]]; then
    cat unmarked
    return
  fi
  line=$(grep -am1 '^%%BeginProlog' unmarked.lines)
  head -c "$start" unmarked
  printf '%s\n' '%%BeginProlog' '%%BeginFeature: *JobPatchFile 1' \
    '%%Quorvan Macintosh PPD File 1' '%%EndFeature'
  tail -c "+$((start + ${#line} + 2))" unmarked
}

# Compares body and pages. With MIN-PAGES 0, compares only the body and prints nothing.
check() { # NAME OPTIONS JOB EXPECTED-BODY MIN-PAGES
  local name=$1 job=$3 expected=$4 min_pages=$5 pages
  if ! filter "$2" < "$job" > output; then
    fail "the filter ended with an error: $(cat stderr)"
  elif ! take_body "$2" output; then
    fail "header or trailer is not that of an empty job"
  elif ! cmp body "$expected"; then
    fail "the body is not what it must be"
    diff -au "$expected" body | cat -v | head -n 40 || true
  elif ((min_pages == 0)); then
    passed=$((passed + 1))
  elif ! render "$job" pages-in || ! render body pages-out; then
    fail "Ghostscript: $(cat gs.log)"
  else
    pages=$(find pages-in -type f | wc -l)
    if ((pages < min_pages)); then
      fail "the job itself has $pages pages"
    elif ! diff -r pages-in pages-out; then
      fail "the pages are not those of the job"
    else
      passed=$((passed + 1))
      echo "passed $name: $(wc -c < "$job") bytes, pages: $pages"
    fi
  fi
}

check_unchanged() { # NAME JOB MIN-PAGES
  with_marker_feature < "$2" > expected
  check "$1" '' "$2" expected "$3"
}

# Checks that a job contains what it is meant to test.
name='the jobs'
require() { # WHAT COMMAND...
  local what=$1
  shift
  "$@" || fail "no $what"
}
has_zero_byte() { (($(tr -cd '\0' < "$1" | wc -c) > 0)); }
has_overlong_line() { grep -qa '^.\{1025\}' "$1"; }

make_document > jobs/groff.ps
make_pdf jobs/groff.ps > document.pdf
gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=pdfimage24 -r60 -sOutputFile=scan.pdf jobs/groff.ps < /dev/null
require '%%BeginProlog in groff.ps' grep -q '^%%BeginProlog' jobs/groff.ps
require 'page-size feature in groff.ps' grep -q '^%%BeginFeature: \*PageSize' jobs/groff.ps
check_unchanged 'groff' jobs/groff.ps 5

# Applications on other systems use other line ends.
tr '\n' '\r' < jobs/groff.ps > jobs/groff-cr.ps
check_unchanged 'groff, lines end in CR' jobs/groff-cr.ps 0
sed 's/$/\r/' jobs/groff.ps > jobs/groff-crlf.ps
check_unchanged 'groff, lines end in CR LF' jobs/groff-crlf.ps 0
head -c -1 jobs/groff.ps > jobs/groff-cut.ps
check_unchanged 'groff, last line without its end' jobs/groff-cut.ps 0

pdftops document.pdf jobs/pdftops.ps
check_unchanged 'pdftops' jobs/pdftops.ps 5
pdftops -level3 scan.pdf jobs/pdftops-scan.ps
check_unchanged 'pdftops, scanned pages' jobs/pdftops-scan.ps 0
pdftops -level1 -binary scan.pdf jobs/pdftops-binary.ps
require 'zero byte in pdftops-binary.ps' has_zero_byte jobs/pdftops-binary.ps
require 'overlong line in pdftops-binary.ps' has_overlong_line jobs/pdftops-binary.ps
check_unchanged 'pdftops, binary pictures' jobs/pdftops-binary.ps 0
pdftops -f 1 -l 1 -eps document.pdf jobs/pdftops.eps
check_unchanged 'pdftops, EPS' jobs/pdftops.eps 1
pdftocairo -ps document.pdf jobs/cairo.ps
check_unchanged 'cairo' jobs/cairo.ps 5
gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=ps2write -sOutputFile=jobs/ps2write.ps document.pdf < /dev/null
check_unchanged 'ps2write' jobs/ps2write.ps 0
gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=ps2write -dASCII85EncodePages=false \
  -sOutputFile=jobs/ps2write-binary.ps scan.pdf < /dev/null
require 'zero byte in ps2write-binary.ps' has_zero_byte jobs/ps2write-binary.ps
require 'overlong line in ps2write-binary.ps' has_overlong_line jobs/ps2write-binary.ps
check_unchanged 'ps2write, binary pictures' jobs/ps2write-binary.ps 5

# Ghostscript comes with hand-written PostScript programs. These print pages:
library=$(dirname "$(find /usr/share/ghostscript -name align.ps -path '*/lib/*' -print -quit)")
require 'PostScript of Ghostscript' test -e "$library/align.ps"
for job in align lines zeroline; do
  check_unchanged "$job.ps of Ghostscript" "$library/$job.ps" 1
done
# The others are tools that need arguments; only their bytes are compared.
for job in "$library"/*.ps; do
  check_unchanged "${job##*/} of Ghostscript, bytes only" "$job" 0
done

# The exception: pstops inserts features that the filter rewrites. The job's own
# PJL and its JobPatchFile feature are removed, and the page-size feature is
# repeated after the paper source.
expected_of_cups() { # JOB
  {
    echo '[{'
    sed -n '/^%%BeginFeature: \*PageSize/,/^%%EndFeature/p' "$1"
    echo '} stopped cleartomark'
  } > page-size-block
  sed -e "/^$uel/d" -e '/^@PJL /d' -e '/JobPatchFile/,+2d' "$1" |
    sed -e '/InputSlot/,/cleartomark/{' -e '/cleartomark/r page-size-block' -e '}' |
    with_marker_feature
}

make_cups_job document.pdf 'PageSize=A4 InputSlot=Tray2' > jobs/cups.ps
for text in "^$uel@PJL" '^@PJL JOB' '^%%BeginFeature: \*JobPatchFile 1' '^%RBINumCopies: ' \
  '^%%BeginFeature: \*PageSize A4' '^%%BeginFeature: \*InputSlot Tray2' \
  '^%%BeginFeature: \*QVBookletFold false'; do
  require "$text in cups.ps" grep -qa "$text" jobs/cups.ps
done
expected_of_cups jobs/cups.ps > expected-cups
check 'CUPS' '' jobs/cups.ps expected-cups 5

# The printer collates the copies of a job that it holds.
sed '/^%RBINumCopies: /i\
%!\
%Set collate copies = copy:\
<< /CollatedCopies 2 >> setuserparams\
%EndUserSetup' expected-cups > expected-held
check 'CUPS, held job of two copies' 'PrintTo=JRVerify com.apple.print.PrintSettings.PMCopies..n.=2' \
  jobs/cups.ps expected-held 5

# The fold feature keeps its first line, and everything from the duplexer line on.
make_cups_job document.pdf 'PageSize=A4 InputSlot=Tray2 QVBookletFold=SaddleStitch' > jobs/booklet.ps
require 'booklet feature in booklet.ps' grep -qa '^%%BeginFeature: \*QVBookletFold SaddleStitch' jobs/booklet.ps
expected_of_cups jobs/booklet.ps |
  sed -e '/QVBookletFold/,/statusdict \/duplexer get exec/{' \
    -e '/QVBookletFold/s|$|\n\n<< /Fold 2 /Staple 4>> setpagedevice|p' \
    -e '/statusdict \/duplexer get exec/!d' -e '}' > expected-booklet
check 'CUPS, booklet' 'QVBookletFold=SaddleStitch' jobs/booklet.ps expected-booklet 5

echo "$passed passed, $failed failed"
((failed == 0 && passed > 0))
