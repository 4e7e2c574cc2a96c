#!/bin/sh
# A throwaway single-node Ceph cluster for the CephFS store's tests: a monitor,
# one OSD on memory and one MDS, all on 127.0.0.1, everything (config, data,
# logs, sockets) inside DIR and nothing in /etc/ceph. Nothing needs to outlive
# the tests, so stop kills the daemons outright: an MDS asked to stop politely
# may respawn itself instead.
#
#   cluster.sh start DIR   start it; DIR/ceph.conf is the config for clients
#   cluster.sh stop DIR    kill its daemons and remove DIR
set -eu

usage() { echo "usage: $0 start|stop DIR" >&2; exit 2; }
[ $# -eq 2 ] || usage
action=$1
dir=$2

stop() {
  for pidfile in "$dir"/run/*.pid; do
    [ -f "$pidfile" ] || continue
    kill -9 "$(cat "$pidfile")" 2>/dev/null || true
  done
  rm -rf "$dir"
}

# A port nobody listens on, so that clusters of parallel builds don't meet.
free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

start() {
  [ -e "$dir" ] && stop
  mkdir -p "$dir/run" "$dir/log"
  fsid=$(uuidgen)
  port=$(free_port)
  conf="$dir/ceph.conf"
  cat >"$conf" <<CONF
[global]
fsid = $fsid
mon host = v2:127.0.0.1:$port
auth cluster required = none
auth service required = none
auth client required = none
run dir = $dir/run
admin socket = $dir/run/\$name.asok
pid file = $dir/run/\$name.pid
log file = $dir/log/\$name.log
keyring = $dir/keyring
mon data = $dir/\$name
osd data = $dir/\$name
mds data = $dir/\$name
osd objectstore = memstore
memstore device bytes = 2147483648
osd pool default size = 1
osd pool default min size = 1
osd crush chooseleaf type = 0
mon allow pool size one = true
mon allow pool delete = true
paxos propose interval = 0.1
mds beacon interval = 1
mon warn on pool no redundancy = false

# Clients are many processes of one name.
[client]
admin socket =
log file = $dir/log/\$name.\$pid.log
CONF
  # Daemons fork into the background: their output must not hold the
  # caller's pipes open.
  exec >"$dir/log/cluster.log" 2>&1 </dev/null
  ceph-authtool --create-keyring "$dir/keyring" --gen-key -n mon. --cap mon 'allow *' >/dev/null
  monmaptool --create --addv a "[v2:127.0.0.1:$port]" --fsid "$fsid" "$dir/monmap" >/dev/null
  ceph-mon -c "$conf" --mkfs -i a --monmap "$dir/monmap"
  ceph-mon -c "$conf" -i a
  uuid=$(uuidgen)
  id=$(ceph -c "$conf" osd new "$uuid")
  mkdir -p "$dir/osd.$id"
  ceph-osd -c "$conf" -i "$id" --mkfs --osd-uuid "$uuid"
  ceph-osd -c "$conf" -i "$id"
  ceph-mds -c "$conf" -i a
  ceph -c "$conf" osd pool create cephfs_metadata 8
  ceph -c "$conf" osd pool create cephfs_data 8
  ceph -c "$conf" fs new cephfs cephfs_metadata cephfs_data
  for _ in $(seq 1 300); do
    if ceph -c "$conf" mds stat | grep -q 'up:active'; then return 0; fi
    sleep 0.1
  done
  echo "the MDS never became active" >&2
  return 1
}

case $action in
  start) start ;;
  stop) stop ;;
  *) usage ;;
esac
