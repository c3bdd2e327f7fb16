#!/usr/bin/env bash
# Checks that a built program has the usual hardening, and does not call functions that start programs
# or open connections. Arguments: the program, and optionally readelf and the names of calls that are
# permitted.
set -euo pipefail

program=$1
readelf=${2:-readelf}
status=0

# complain TEXT unless the command after it succeeds
expect() {
  local text=$1
  shift
  if ! "$@"; then
    echo "hardened: $program: $text" >&2
    status=1
  fi
}
# shellcheck disable=SC2317 # called through expect
has() { grep -Eq -- "$1" <<< "$2"; }
# shellcheck disable=SC2317 # called through expect
lacks() { ! has "$@"; }

header=$("$readelf" -hW "$program")
segments=$("$readelf" -lW "$program")
dynamic=$("$readelf" -dW "$program")
permitted=" ${*:3} "
symbols=$("$readelf" --dyn-syms -W "$program" | awk '$7 == "UND" { sub(/@.*/, "", $8); print $8 }')

expect "does not run at any address" has '^ *Type: +DYN ' "$header"
expect "is a library" has '\(FLAGS_1\).* PIE' "$dynamic"
expect "its tables are writable" has ' GNU_RELRO ' "$segments"
expect "its symbols are bound lazily, so its tables are writable" has '\((FLAGS|FLAGS_1|BIND_NOW)\).*NOW' \
  "$dynamic"
expect "has no stack segment header" has ' GNU_STACK ' "$segments"
expect "its stack can be executed" lacks ' GNU_STACK .* RWE ' "$segments"
expect "memory is writable and executable" lacks ' LOAD .* RWE ' "$segments"
expect "searches its own directories for libraries" lacks '\((RPATH|RUNPATH)\)' "$dynamic"
expect "does not detect overwritten stacks" has '^__stack_chk_fail$' "$symbols"
expect "calls of the C library are unchecked" has '^__[a-z_]+_chk$' "$(grep -v stack <<< "$symbols")"

forbidden='^(exec[lv].*|fexecve|system|popen|posix_spawnp?|v?fork|clone|socket|socketpair|connect|bind|listen|getaddrinfo|gethostby.*|getservby.*|res_.*|getpw.*|getgr.*)$'
while read -r call; do
  [[ $permitted == *" $call "* ]] || expect "calls $call" false
done < <(grep -E "$forbidden" <<< "$symbols")

exit "$status"
