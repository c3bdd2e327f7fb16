#!/usr/bin/env bash
# Checks that a built program has the usual hardening, and does not call functions that start programs
# or open connections. Arguments: the program, and the names of calls that are permitted.
set -euo pipefail

program=$1
status=0

complain() {
  echo "hardened: $program: $*" >&2
  status=1
}
has() { grep -Eq -- "$1" <<< "$2"; }

header=$(readelf -hW "$program")
segments=$(readelf -lW "$program")
dynamic=$(readelf -dW "$program")
permitted=" ${*:2} "
symbols=$(readelf --dyn-syms -W "$program" | awk '$7 == "UND" { sub(/@.*/, "", $8); print $8 }')

has '^ *Type: +DYN ' "$header" || complain 'does not run at any address'
has '\(FLAGS_1\).* PIE' "$dynamic" || complain 'is a library'
has ' GNU_RELRO ' "$segments" || complain 'its tables are writable'
has '\((FLAGS|FLAGS_1|BIND_NOW)\).*NOW' "$dynamic" ||
  complain 'its symbols are bound lazily, so its tables are writable'
has ' GNU_STACK ' "$segments" || complain 'has no stack segment header'
! has ' GNU_STACK .* RWE ' "$segments" || complain 'its stack can be executed'
! has ' LOAD .* RWE ' "$segments" || complain 'memory is writable and executable'
! has '\((RPATH|RUNPATH)\)' "$dynamic" || complain 'searches its own directories for libraries'
has '^__stack_chk_fail$' "$symbols" || complain 'does not detect overwritten stacks'
has '^__[a-z_]+_chk$' "$(grep -v stack <<< "$symbols")" || complain 'calls of the C library are unchecked'

forbidden='^(exec[lv].*|fexecve|system|popen|posix_spawnp?|v?fork|clone|socket|socketpair|connect|bind|listen|getaddrinfo|gethostby.*|getservby.*|res_.*|getpw.*|getgr.*)$'
while read -r call; do
  [[ $permitted == *" $call "* ]] || complain "calls $call"
done < <(grep -E "$forbidden" <<< "$symbols")

exit "$status"
