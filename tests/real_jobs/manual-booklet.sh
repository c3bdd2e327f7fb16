#!/usr/bin/env bash
# A manual booklet as its user gets it: jobs made by groff, filtered, rendered, and the order of
# the rendered pages read back from the marks that the pages carry.
#
#   manual-booklet.sh JOBSHAPER_AT INSTRUCTION_PAGE
set -euo pipefail

# shellcheck source=tests/real_jobs/make-jobs.sh
. "$(dirname "${BASH_SOURCE[0]}")/make-jobs.sh"

jobshaper_at=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/en.lproj"
cp "$2" "$folder/en.lproj/instruction(null)"
export JOBSHAPER_INSTRUCTIONS=$folder
export TMPDIR=$folder/tmp DEVICE_URI=socket://printer PPD=$folder/printer.ppd LANG=en_US.UTF-8
mkdir "$TMPDIR"
printf '*PPD-Adobe: "4.3"\n*QvnManualBooklet: True\n' > "$PPD"
status=0

# COUNT pages, each with a mark of its number.
make_job() {
  {
    echo ".nf"
    for ((page = 1; page <= $1; page++)); do
      if ((page > 1)); then echo ".bp"; fi
      printf 'mark-%d\nA line of page %d.\n' "$page" "$page"
    done
  } | groff -Tps | with_blank_page_procedures
}

# The marks of a filtered job's pages in the order of the paper, "-" for a page without one.
page_order() {
  # Everything up to the language switch and from the last exit string on is PJL.
  sed '1,/^@PJL ENTER LANGUAGE/d' "$1" | sed 's/\x1b%-12345X.*//; /^@PJL /d' > "$folder/body.ps"
  ps2pdf "$folder/body.ps" "$folder/body.pdf"
  pdftotext -layout "$folder/body.pdf" "$folder/body.txt"
  awk 'BEGIN { RS = "\f"; ORS = " " }
       { sub(/^\n+$/, "") }
       /mark-[0-9]+/ { match($0, /mark-[0-9]+/); print substr($0, RSTART + 5, RLENGTH - 5); next }
       { print (length($0) > 0 ? "text" : "-") }' "$folder/body.txt"
}

expected_order() {
  printf 'text '
  for ((page = 1; page <= $1; page += 2)); do printf '%d ' "$page"; done
  printf -- '- '
  for ((page = $1 - $1 % 2; page > 0; page -= 2)); do printf '%d ' "$page"; done
}

for count in 5 6 7 64; do
  make_job "$count" > "$folder/job.ps"
  "$jobshaper_at" 0x1050 "$count" ada Title 1 "QVBookletFold=Booklet" "$folder/job.ps" \
    > "$folder/out.prn" 2> "$folder/err"
  found=$(page_order "$folder/out.prn")
  wanted=$(expected_order "$count")
  if [[ "$found" != "${wanted% }" && "$found" != "$wanted" ]]; then
    echo "$count pages: expected $wanted, found $found"
    status=1
  else
    echo "$count pages: $found"
  fi
  if grep -q . <(grep -v '^tmp at' "$folder/err"); then
    cat "$folder/err"
    status=1
  fi
  if [[ -n "$(ls "$TMPDIR")" ]]; then
    echo "left behind: $(ls "$TMPDIR")"
    status=1
  fi
done
exit $status
