#!/usr/bin/env bash
# bare_system.sh DEB DEVICE-URI DOCUMENT: does what an administrator does on a minimal system, as root:
# installs the package, adds queues, prints, upgrades, removes everything. Run by
# script/chroot-trial --package. Do not run it on a system that is in use.
set -euo pipefail
export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive
deb=$1 uri=$2 document=$3
tmp=/var/spool/cups/tmp
jobs=0
fail() {
  echo "FAILED: $*" >&2
  tail -n 60 /var/log/cups/error_log >&2 || true
  exit 1
}
say() { printf '\n# %s\n' "$*"; }
[[ ! -e /usr/sbin/cupsd ]] || fail 'this system has CUPS already'

# ---- Install, without recommended packages: the dependencies must be enough.
say "apt install $deb"
apt-get -q -q update
apt-get -q -q -o Dpkg::Use-Pty=0 install --yes --no-install-recommends "$deb" < /dev/null > /tmp/apt.log 2>&1 ||
  { cat /tmp/apt.log >&2; fail 'apt'; }
dpkg-query -W -f '${Package} ${Version} ${Status}\n' jobshaper cups
ls -l /usr/lib/cups/filter/jobshaper* /usr/bin/pjlLines

start_scheduler() {
  /usr/sbin/cupsd -f &
  cupsd=$!
  for ((i = 0; i < 100; i++)); do
    if lpstat -r 2> /dev/null | grep -q 'is running'; then return; fi
    sleep 0.1
  done
  fail 'the scheduler does not answer'
}
stop_scheduler() {
  kill "$cupsd"
  wait "$cupsd" || true
}
start_scheduler
# shellcheck disable=SC2064 # the variable may change later
trap 'kill "$cupsd" 2> /dev/null || true' EXIT

say 'lpinfo -m'
lpinfo -m | grep -i quorvan
(($(lpinfo -m | grep -c '^drv:///quorvan.drv/') == 5)) || fail 'not every model'

# ---- Add a queue, print.
add_queue() {
  say "lpadmin $*"
  lpadmin "$@"
}
print() { # LP-ARGUMENTS
  say "lp $*"
  lp "$@"
  jobs=$((jobs + 1))
  for ((i = 0; i < 300; i++)); do
    if (($(lpstat -W completed -o | wc -l) >= jobs)); then return; fi
    sleep 0.1
  done
  fail 'the job does not end'
}
add_queue -p office -E -v "$uri" -m drv:///quorvan.drv/quorvan-color-finisher.ppd
print -d office -o booklet=true -o QVBookletFold=SaddleStitch "$document"
add_queue -p small -E -v "$uri" -m drv:///quorvan.drv/quorvan-small-mono.ppd
print -d small -o booklet=true -o QVBookletFold=Booklet "$document"
# On Debian 13, the filters before ours keep the font cache there.
find "$tmp" -mindepth 1 ! -path "$tmp/.cache" ! -path "$tmp/.cache/fontconfig*" > /tmp/left
[[ ! -s /tmp/left ]] || fail "left in $tmp: $(< /tmp/left)"

# ---- What is left in the directory of captures.
touch "$tmp/qvn_log"
say 'The scheduler is started again'
stop_scheduler
start_scheduler
[[ ! -e $tmp/qvn_log ]] || fail 'the scheduler no longer empties its directory; the manual page says it does'
# There is no service here for discovering network printers.
! grep -E 'insecure|crashed|stopped with status|Unable to' /var/log/cups/error_log |
  grep -v '\[CGI\] ippfind' || fail 'the log'

# ---- Upgrades: the queues get the PPD files of the new package and keep their defaults. If the default
# paper is another one, the first upgrade leaves a file that lpadmin would only correct at the next one.
lpadmin -p office -o QvnBlankPage=false -o TonerDarkness=4 -o PageSize=Letter
for number in first second; do
  say "The $number upgrade"
  sed -i '/cupsIPPFinishings/d' /etc/cups/ppd/office.ppd # as an older package had it
  rm -f /var/cache/cups/ppd-updates                      # the package has the time of the older one
  apt-get -q -q -o Dpkg::Use-Pty=0 install --yes --reinstall "$deb" < /dev/null > /tmp/apt.log 2>&1 ||
    { cat /tmp/apt.log >&2; fail 'apt'; }
  grep 'PPD for printer' /tmp/apt.log || { cat /tmp/apt.log >&2; fail 'no queue is updated'; }
  grep -q '^\*cupsIPPFinishings' /etc/cups/ppd/office.ppd || fail 'the queue has the old PPD file'
  lpoptions -p office -l | grep -E '^(QvnBlankPage|TonerDarkness|PageSize)/'
  (($(lpoptions -p office -l |
    grep -cE '^(QvnBlankPage/.* \*false|TonerDarkness/.* \*4|PageSize/.* \*Letter)') == 3)) ||
    fail 'the defaults of the queue are lost'
done

# ---- Remove everything. The package names the queue that is left.
say 'lpadmin -x, apt purge'
lpadmin -x office
dpkg-query -L jobshaper | sort > /tmp/owned
apt-get -q -q -o Dpkg::Use-Pty=0 purge --yes jobshaper < /dev/null > /tmp/apt.log 2>&1 || { cat /tmp/apt.log >&2; fail 'apt'; }
grep -A 1 'these queues cannot print: small' /tmp/apt.log || { cat /tmp/apt.log >&2; fail 'no word about the queue'; }
lpadmin -x small
stop_scheduler
while read -r path; do
  if [[ -e $path || -L $path ]] && ! dpkg-query -S "$path" > /dev/null 2>&1 && [[ $path != /. ]]; then
    fail "purging leaves $path"
  fi
done < /tmp/owned
find / -xdev \( -iname '*jobshaper*' -o -iname '*quorvan*' -o -iname 'qvn_*' -o -name Library \) \
  ! -path "$deb" ! -path '/proc/*' > /tmp/left
[[ ! -s /tmp/left ]] || fail "purging leaves $(cat /tmp/left)"
echo "All of $(wc -l < /tmp/owned) files and directories are gone or other packages'."
