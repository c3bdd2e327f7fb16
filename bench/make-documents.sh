#!/usr/bin/env bash
# Makes a document of five pages as six kinds of PostScript, as applications and CUPS do, in the given
# directory. All of them are filtered by CUPS's pstops, like the jobs that the filter gets.
set -euo pipefail
export LC_ALL=C
# shellcheck source=tests/real_jobs/make-jobs.sh
. "$(dirname "${BASH_SOURCE[0]}")/../tests/real_jobs/make-jobs.sh"
mkdir -p "$1"
cd "$1"

gs_pdf() { # DEVICE OUT.pdf: the pages as pictures, as a scanner makes them
  gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE="$1" -r100 -dTextAlphaBits=4 -dGraphicsAlphaBits=4 \
    -sOutputFile="$2" document.ps < /dev/null
}
# Every job contains the booklet feature, so that all commands get the same jobs.
through_cups() { # NAME < JOB
  cat > job.tmp
  # shellcheck disable=SC2154 # make-jobs.sh sets it
  PPD=$real_jobs_dir/printer.ppd /usr/lib/cups/filter/pstops 42 guest Title 1 \
    'PageSize=A4 InputSlot=Tray2 QVBookletFold=SaddleStitch' job.tmp > "$1.ps" 2> pstops.log || {
    cat pstops.log >&2
    return 1
  }
}

make_document > document.ps
make_pdf document.ps > document.pdf
gs_pdf pdfimage8 gray.pdf
gs_pdf pdfimage24 color.pdf

# Text with one or two numbers on each line.
pdftops document.pdf - | through_cups short-lines
# Text as groff writes it, in lines of about 60 bytes.
with_blank_page_procedures < document.ps | through_cups text
# Pictures in hexadecimal, in ASCII85, compressed, and uncompressed.
pdftops -level1 gray.pdf - | through_cups hex
pdftops -level3 color.pdf - | through_cups ascii85
gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=ps2write -dASCII85EncodePages=false -sOutputFile=- \
  color.pdf < /dev/null | through_cups binary
pdftops -level1 -binary gray.pdf - | through_cups long-runs
# Documents that also go through the filters that come before this one.
mkdir chain
pdfseparate -l 2 document.pdf page-%d.pdf
pdfunite document.pdf{,,,,,,,} page-1.pdf page-2.pdf chain/long.pdf
mv document.pdf chain/report.pdf
mv color.pdf chain/pictures.pdf
rm -f job.tmp pstops.log document.ps ./*.pdf
