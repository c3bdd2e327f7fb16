#!/usr/bin/env bash
# Makes a document of five pages as six kinds of PostScript, the way applications and CUPS make
# them, in the given folder. Every one has been through CUPS's pstops: this is what the filter gets.
set -euo pipefail
export LC_ALL=C
# shellcheck source=tests/real_jobs/make-jobs.sh
# shellcheck source=tests/real_jobs/make-jobs.sh
. "$(dirname "${BASH_SOURCE[0]}")/../tests/real_jobs/make-jobs.sh"
mkdir -p "$1"
cd "$1"

gs_pdf() { # DEVICE OUT.pdf: the pages as pictures, as a scanner makes them
  gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE="$1" -r100 -dTextAlphaBits=4 -dGraphicsAlphaBits=4 \
    -sOutputFile="$2" document.ps < /dev/null
}
# The booklet feature stands in every job, so that all commands get the same one.
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
gs_pdf pdfimage8 grey.pdf
gs_pdf pdfimage24 colour.pdf

# Set text with a number or two on each line.
pdftops document.pdf - | through_cups short-lines
# groff's own lines of about 60 bytes.
with_blank_page_procedures < document.ps | through_cups text
# Pictures as hexadecimal digits, as ASCII85, compressed, and as they are.
pdftops -level1 grey.pdf - | through_cups hex
pdftops -level3 colour.pdf - | through_cups ascii85
gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=ps2write -dASCII85EncodePages=false -sOutputFile=- \
  colour.pdf < /dev/null | through_cups binary
pdftops -level1 -binary grey.pdf - | through_cups long-runs
rm -f job.tmp pstops.log document.ps ./*.pdf
