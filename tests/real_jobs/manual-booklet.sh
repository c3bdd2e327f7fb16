#!/usr/bin/env bash
# Manual booklets as the user gets them: jobs made by groff are filtered and rendered, and the order of
# the pages is read from the marks on them.
#
#   manual-booklet.sh JOBSHAPER_AT INSTRUCTION_PAGE
set -euo pipefail

# shellcheck source=tests/real_jobs/make-jobs.sh
. "$(dirname "${BASH_SOURCE[0]}")/make-jobs.sh"

jobshaper_at=$1
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
mkdir -p "$directory/en.lproj"
cp "$2" "$directory/en.lproj/instruction(null)"
export JOBSHAPER_INSTRUCTIONS=$directory
export TMPDIR=$directory/tmp DEVICE_URI=socket://printer PPD=$directory/printer.ppd LANG=en_US.UTF-8
mkdir "$TMPDIR"
printf '*PPD-Adobe: "4.3"\n*QvnManualBooklet: True\n' > "$PPD"
status=0

# COUNT pages, each marked with its number.
make_job() {
  {
    echo ".nf"
    for ((page = 1; page <= $1; page++)); do
      if ((page > 1)); then echo ".bp"; fi
      printf 'mark-%d\nA line of page %d.\n' "$page" "$page"
    done
  } | groff -Tps | with_blank_page_procedures
}

# The marks on the pages of a filtered job, in the order of the paper; "-" for a page without a mark.
page_order() {
  # Everything up to the language switch and from the last exit string on is PJL.
  sed '1,/^@PJL ENTER LANGUAGE/d' "$1" | sed 's/\x1b%-12345X.*//; /^@PJL /d' > "$directory/body.ps"
  ps2pdf "$directory/body.ps" "$directory/body.pdf"
  pdftotext -layout "$directory/body.pdf" "$directory/body.txt"
  awk 'BEGIN { RS = "\f"; ORS = " " }
       { sub(/^\n+$/, "") }
       /mark-[0-9]+/ { match($0, /mark-[0-9]+/); print substr($0, RSTART + 5, RLENGTH - 5); next }
       { print (length($0) > 0 ? "text" : "-") }' "$directory/body.txt"
}

expected_order() {
  printf 'text '
  for ((page = 1; page <= $1; page += 2)); do printf '%d ' "$page"; done
  printf -- '- '
  for ((page = $1 - $1 % 2; page > 0; page -= 2)); do printf '%d ' "$page"; done
}

for count in 5 6 7 64; do
  make_job "$count" > "$directory/job.ps"
  "$jobshaper_at" 0x1050 "$count" ada Title 1 "QVBookletFold=Booklet" "$directory/job.ps" \
    > "$directory/out.prn" 2> "$directory/err"
  found=$(page_order "$directory/out.prn")
  wanted=$(expected_order "$count")
  if [[ "$found" != "${wanted% }" && "$found" != "$wanted" ]]; then
    echo "$count pages: expected $wanted, found $found"
    status=1
  else
    echo "$count pages: $found"
  fi
  if grep -q . <(grep -v '^tmp at' "$directory/err"); then
    cat "$directory/err"
    status=1
  fi
  if [[ -n "$(ls "$TMPDIR")" ]]; then
    echo "files that were not removed: $(ls "$TMPDIR")"
    status=1
  fi
done
exit $status
