# shellcheck shell=bash
# Functions that make real jobs with the tools that applications and CUPS use.
# To be sourced by bash; each writes the job to standard output.

real_jobs_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# A document of several pages: the report, then the license.
make_document() {
  {
    cat "$real_jobs_dir/report.ms"
    printf '.bp\n.nf\n'
    # Nothing in the text may be treated as a groff request or escape.
    sed 's/\\/\\e/g; s/^/\\\&/' "$real_jobs_dir/../../LICENSE"
  } | groff -e -p -t -ms -dpaper=a4 -P-pa4 -Tps
}

# A PDF file of a PostScript document, as "Save as PDF" makes it.
make_pdf() { # IN.ps
  gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=pdfwrite -sOutputFile=- "$1" < /dev/null
}

# A PDF file printed through CUPS to a queue with printer.ppd: this is the input of the filter.
make_cups_job() { # IN.pdf OPTIONS
  local pages status=0
  pages=$(mktemp)
  pdftops -paper A4 "$1" "$pages" &&
    PPD=$real_jobs_dir/printer.ppd /usr/lib/cups/filter/pstops \
      42 guest 'How a booklet is folded' 1 "$2" "$pages" 2> /dev/null || status=$?
  rm -f "$pages"
  return "$status"
}

# Adds to a job of groff the procedure set that the blank page of a manual booklet calls, which only
# jobs from macOS contain. groff's EP ends a page.
with_blank_page_procedures() {
  sed 's/^%%EndProlog.*/\/cg_md 3 dict def cg_md begin \/bp {} def \/sdmtx {} def \/ep {EP} def end\n&/'
}
