#!/bin/sh
# daemons_test.sh LIBRARY
# In a private device: real daemons with the library preloaded behave as docs/from-syslog.md says. dnsmasq logs the same
# records as without the library. cron, which calls openlog again while it is connected, loses the record after that.
set -eu
library=$1
PATH=$PATH:/usr/sbin:/sbin
for program in busybox cron dnsmasq; do
    command -v $program >/dev/null || { echo "skipped: no $program here"; exit 77; }
done
log=/tmp/received
busybox syslogd -n -O "$log" </dev/null >/dev/null 2>&1 &
daemon=$!
trap 'kill $daemon' EXIT
for _ in $(seq 100); do [ -S /dev/log ] && break; sleep 0.1; done
# Replaces the machine's folders for jobs and for the file with cron's process id.
mount -t tmpfs tmpfs /var/spool/cron
mount -t tmpfs tmpfs /run
mkdir -m 1730 /var/spool/cron/crontabs
echo '@reboot true' >/var/spool/cron/crontabs/root
chmod 600 /var/spool/cron/crontabs/root

# records FILE COMMAND...: writes the texts that a daemon logs in two seconds, without times and process ids.
records() {
    file=$1
    shift
    : >"$log"
    rm -f /run/crond.*
    timeout 2 "$@" </dev/null >/dev/null 2>&1 || true
    sleep 0.5
    sed -e 's/^[^[]*\[[0-9]*\]: //' -e '/pam_limits/d' "$log" | sort >"$file"
}
for with in '' "$library"; do
    records "/tmp/dnsmasq${with:+.with}" env LD_PRELOAD="$with" dnsmasq \
        --keep-in-foreground --port=0 --conf-file=/dev/null \
        --user=root --pid-file=
    records "/tmp/cron${with:+.with}" env LD_PRELOAD="$with" cron -f -L 1
done
grep -q '^started, ' /tmp/dnsmasq || { cat /tmp/dnsmasq; echo "dnsmasq logs nothing"; exit 1; }
diff /tmp/dnsmasq /tmp/dnsmasq.with
diff /tmp/cron /tmp/cron.with >/tmp/lost || true
sed -n 's/^< //p' /tmp/lost | diff - /dev/fd/3 3<<'LOST'
(CRON) INFO (Running @reboot jobs)
(root) CMD (true)
LOST
! grep '^>' /tmp/lost
echo "dnsmasq loses nothing, cron what follows an openlog"
