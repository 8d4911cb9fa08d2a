#!/bin/sh
# peers_test.sh DAEMON LIBRARY PEER
# In a private device: a real log daemon (rsyslogd or busybox) receives what real programs log through the C library's
# names, with the library preloaded. Messages without a facility arrive with the library's facility, 53.
set -eu
daemon=$1 library=$2 peer=$3
PATH=$PATH:/usr/sbin:/sbin
log=/tmp/received

fail() { echo "$1"; cat "$log"; exit 1; }

for program in "$daemon" /bin/busybox /usr/bin/python3; do
    command -v "$program" >/dev/null || { echo "skipped: no $program here"; exit 77; }
done
# The programs must call the fortified names, because this test must also cover these names.
for program in "$peer" /bin/busybox /usr/bin/python3; do
    nm -D "$program" | grep -q ' U __syslog_chk' || fail "$program does not call __syslog_chk"
done

case $daemon in
    rsyslogd)
        cat >/tmp/rsyslog.conf <<'CONFIGURATION'
module(load="imuxsock" SysSock.Use="off")
input(type="imuxsock" Socket="/dev/log" UseSpecialParser="off" RateLimit.Interval="0")
template(name="raw" type="string" string="%rawmsg%\n")
action(type="omfile" file="/tmp/received" template="raw")
CONFIGURATION
        rsyslogd -v | head -n 1
        rsyslogd -n -f /tmp/rsyslog.conf -i /tmp/rsyslog.pid &
        ;;
    busybox)
        busybox | head -n 1
        busybox syslogd -n -O "$log" &
        ;;
esac
pid=$!
trap 'kill $pid 2>/dev/null || true' EXIT
for _ in $(seq 100); do
    [ -S /dev/log ] && break
    sleep 0.1
done

LD_PRELOAD=$library "$peer" 7
LD_PRELOAD=$library /usr/bin/python3 -c '
import syslog
syslog.openlog("python", 0, 0)
syslog.syslog(syslog.LOG_NOTICE, "without a facility")
syslog.closelog()
syslog.openlog("python", syslog.LOG_PID, syslog.LOG_DAEMON)
syslog.syslog(syslog.LOG_NOTICE, "with a facility")
'
LD_PRELOAD=$library busybox logger -t logger -p kern.err "the kernel has facility 0, which is none"

# The log has a line for each record. The line is the record as it arrived, or busybox's form of it, which has names for
# known priorities.
time='[A-Z][a-z][a-z] [ 0-9][0-9] [0-9:]*'
case $daemon in
    rsyslogd) form="^%s$time %s\$" ;;
    busybox) form="^$time [^ ]* %s %s\$" ;;
esac
expect() {
    # shellcheck disable=SC2059 # the form is ours
    line=$(printf "$form" "$1" "$2")
    for _ in $(seq 100); do
        grep -q "$line" "$log" 2>/dev/null && return
        sleep 0.1
    done
    fail "missing: $line"
}
own() { [ "$daemon" = rsyslogd ] && echo "<$1>" || echo "$2"; }
expect "<427>" "syslog: 7 stations before openlog"
expect "<428>" "peer\[[0-9]*\]: 7 stations in a list of arguments"
expect "$(own 14 user.info)" "peer\[[0-9]*\]: 7 stations with a facility"
expect "<429>" "python: without a facility"
expect "$(own 29 daemon.notice)" "python\[[0-9]*\]: with a facility"
expect "<427>" "logger: the kernel has facility 0, which is none"
echo "a record as it arrived:"
grep -a 'before openlog' "$log" | od -An -c
