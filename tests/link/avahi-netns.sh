#!/bin/sh
# Runs a command with service discovery of its own: in a new network
# namespace whose loopback interface carries multicast, with a system D-Bus
# and an avahi-daemon bound to that interface, so services announced by the
# command are found by the command and nowhere else. Everything started here
# ends with the command (a PID namespace of its own).
#
#   avahi-netns.sh --check            can it be done here? (reason on stderr)
#   avahi-netns.sh COMMAND [ARG...]   exit status: the command's
#
# Exits 77 with the reason on standard error when the machine cannot provide
# it (not root / no CAP_SYS_ADMIN, a program missing, the daemon not coming
# up).
set -u
skip() {
    echo "avahi-netns: $*" >&2
    exit 77
}

if [ "${1:-}" != "--inside" ]; then
    for program in unshare ip dbus-daemon avahi-daemon; do
        command -v "$program" >/dev/null 2>&1 || [ -x "/usr/sbin/$program" ] ||
            skip "$program is not installed"
    done
    unshare --net --mount --pid --fork true 2>/dev/null ||
        skip "cannot create a network namespace (needs root or CAP_SYS_ADMIN)"
    [ "${1:-}" = "--check" ] && exit 0
    [ $# -gt 0 ] || skip "no command given"
    exec unshare --net --mount --pid --fork --kill-child --mount-proc -- "$0" --inside "$@"
fi
shift

PATH="$PATH:/usr/sbin:/sbin"
dir=$(mktemp -d /tmp/qz62-avahi.XXXXXX) || skip "no temporary folder"
bus_pid=
avahi_pid=
cleanup() {
    [ -n "$avahi_pid" ] && kill "$avahi_pid" 2>/dev/null
    [ -n "$bus_pid" ] && kill "$bus_pid" 2>/dev/null
    wait 2>/dev/null
    rm -rf "$dir"
}
trap cleanup EXIT
trap 'exit 143' TERM INT

ip link set lo up && ip link set lo multicast on || skip "cannot set up the loopback interface"
# The daemon keeps its pid file and socket here: a private copy per namespace.
mkdir -p /run/avahi-daemon && mount -t tmpfs tmpfs /run/avahi-daemon ||
    skip "cannot mount the daemon's run folder"

cat >"$dir/bus.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=$dir/bus.socket</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
CONF
cat >"$dir/avahi.conf" <<CONF
[server]
host-name=qz62-test
domain-name=local
use-ipv4=yes
use-ipv6=no
allow-interfaces=lo
enable-dbus=yes
ratelimit-interval-usec=1000000
ratelimit-burst=1000
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
CONF

dbus-daemon --config-file="$dir/bus.conf" --nofork --nopidfile >"$dir/bus.log" 2>&1 &
bus_pid=$!
export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$dir/bus.socket"
tries=0
until [ -S "$dir/bus.socket" ]; do
    tries=$((tries + 1))
    [ $tries -gt 100 ] && skip "the D-Bus daemon did not start: $(cat "$dir/bus.log")"
    sleep 0.05
done
avahi-daemon -f "$dir/avahi.conf" --no-drop-root --no-chroot --no-rlimits --no-proc-title \
    >"$dir/avahi.log" 2>&1 &
avahi_pid=$!
tries=0
until grep -q "Server startup complete" "$dir/avahi.log"; do
    tries=$((tries + 1))
    [ $tries -gt 200 ] && skip "avahi-daemon did not start: $(cat "$dir/avahi.log")"
    sleep 0.05
done
export AVAHI_COMPAT_NOWARN=1
export QZ62_AVAHI_NETNS=1
"$@"
