# Sourced by the tests of the instruction pages; $gs names Ghostscript and $here this directory.
set -eu
: "${gs?}" "${here?}"
export LC_ALL=C
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

run() { # DEVICE OUTPUT JOB; prints the standard output of the job
  timeout 60 "$gs" -q -dSAFER -dBATCH -dNOPAUSE -r72 -sDEVICE="$1" -o "$2" "$3"
}

begin_job() { # SIZE
  printf '%%!PS-Adobe-3.0\n<< /PageSize [%s] >> setpagedevice\n' "$1"
  cat "$here/report.ps"
}

report() { # WHEN
  printf 'systemdict begin (=== %s) = flush end report\n' "$1"
}

end_job() {
  report after
  echo 'systemdict begin (=== end) = flush quit'
}

# Runs NAME.ps, a job with its page between two reports, which must be equal, and renders its only page
# as NAME-1.png.
run_between_reports() { # NAME
  run pnggray "$1-%d.png" "$1.ps" > "$1.out" || { cat "$1.out"; fail "$1: error"; }
  test "$(ls "$1"-*.png)" = "$1-1.png" || fail "$1: pages: $(ls "$1"-*.png)"
  grep -q '^=== end' "$1.out" || { cat "$1.out"; fail "$1: ends early"; }
  sed -n '/^=== before/,/^=== after/p' "$1.out" | grep -v -e '^===' -e '^glyph' > before
  sed -n '/^=== after/,/^=== end/p' "$1.out" | grep -v '^===' > after
  test "$(wc -l < after)" -gt 30 || { cat "$1.out"; fail "$1: no report"; }
  diff before after || fail "$1: state changed"
}
