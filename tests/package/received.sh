#!/usr/bin/env bash
# received.sh DIRECTORY: checks what the printer received for the two booklets of bare_system.sh.
set -euo pipefail
cd "$1"
uel=$'\e%-12345X'
fail() {
  echo "FAILED: $*" >&2
  exit 1
}
(($(find . -name '*.prn' | wc -l) == 2)) || fail "jobs: $(ls)"

pages_of() { # JOB
  LC_ALL=C sed -e '1,/^@PJL ENTER LANGUAGE = POSTSCRIPT/d' -e "/^$uel/d" -e '/^@PJL /d' "$1" > body.ps
  gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=bbox body.ps 2>&1 < /dev/null | grep -c '^%%BoundingBox:'
}
pages=$(gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=bbox ../report.pdf 2>&1 < /dev/null | grep -c '^%%BoundingBox:')

check() { # JOB PAGES TEXT...
  local job=$1 wanted=$2 text
  [[ $(head -n 1 "$job") == "$uel@PJL JOB" ]] || fail "$job does not begin as a PJL job"
  printf '%s' "$uel$uel"$'@PJL RDYMSG DISPLAY = ""\n@PJL EOJ\n@PJL QPORTROTATE\n'"$uel" > trailer
  tail -c "$(wc -c < trailer)" "$job" | cmp - trailer || fail "$job does not end with the trailer"
  for text in "${@:3}"; do
    grep -aFqx -e "$text" "$job" || fail "$job has no line $text"
  done
  (($(pages_of "$job") == wanted)) || fail "$job: $(pages_of "$job") pages, not $wanted"
  echo "$job: $(wc -c < "$job") bytes, $wanted pages, $(printf '"%s" ' "${@:3}")"
}
sheets=$(((pages + 3) / 4)) # of a booklet
sides=$((sheets * 2))
check 1.prn "$sides" '<< /Fold 2 /Staple 4>> setpagedevice'
# Two more for the instruction page and the blank page.
check 2.prn "$((sides + 2))" '%%Page: 0 0' \
  'statusdict dup /setmanualduplexmode known {begin 2 setmanualduplexmode end}{pop}ifelse'
