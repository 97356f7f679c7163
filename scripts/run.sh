#!/usr/bin/env bash
# scripts/run.sh BUILD_DIR [NAME]   (normally through ./nq run [NAME])
#
# Starts nqserver on 127.0.0.1 (dispatcher 4000, chat 8000) with the demo accounts, unless a
# server already listens there; prepares the program folder run/home-NAME (Sys.ini, User.ini,
# the install's sounds, pictures and faces) and opens nqchat on it. NAME is one of the demo
# accounts alice, bob, carol, dave, erin (password 123456); default alice. Without a display the
# client runs under xvfb-run. The server runs under nqhold, which keeps both UDP ports open and
# starts nqserver again after a crash or a stop (kill -HUP to nqhold restarts it at once), so the
# client never meets a closed port and keeps its session. A server this script started is stopped
# when the client ends, and SIGTERM or SIGINT to this script (timeout, a service manager, Ctrl+C)
# stops both.
set -euo pipefail

die() { echo "run.sh: $*" >&2; exit 1; }

[ $# -ge 1 ] && [ $# -le 2 ] || die "usage: scripts/run.sh BUILD_DIR [NAME]"
BUILD=$(readlink -f "$1")
NAME=${2:-alice}
ROOT=$(cd "$(dirname "$(readlink -f "$0")")/.." && pwd)
RUN="$ROOT/run"
HOST=127.0.0.1
DISPATCHER_PORT=4000

case "$NAME" in
  *[!A-Za-z0-9_]* | "") die "NAME must be letters, digits or _ (got \"$NAME\")" ;;
esac

SERVER="$BUILD/server/nqserver"
HOLD="$BUILD/server/nqhold"
CLIENT="$BUILD/src/app/nqchat"
[ -x "$SERVER" ] || die "$SERVER is missing: build it first (./nq build)"
[ -x "$HOLD" ] || die "$HOLD is missing: build it first (./nq build)"
[ -x "$CLIENT" ] || die "$CLIENT is missing: build it first (./nq build)"

mkdir -p "$RUN"

# True when something on this machine holds UDP port $1 on 127.0.0.1 or on every address.
# /proc/net/udp writes addresses as little-endian hex: 0100007F is 127.0.0.1.
udp_port_taken() {
  local hex
  hex=$(printf '%04X' "$1")
  awk -v p=":$hex" 'NR > 1 && ($2 == "0100007F" p || $2 == "00000000" p) { found = 1 } END { exit !found }' \
    /proc/net/udp
}

SERVER_PID=""
CLIENT_PID=""
# The client runs in a process group of its own (xvfb-run, Xvfb and nqchat under it), so that one
# signal to the group stops all of it; SERVER_PID is nqhold, which stops its nqserver first.
stop_children() {
  trap - EXIT INT TERM
  if [ -n "$CLIENT_PID" ] && kill -0 "$CLIENT_PID" 2>/dev/null; then
    echo "run.sh: stopping nqchat (pid $CLIENT_PID)"
    kill -TERM -- "-$CLIENT_PID" 2>/dev/null || kill -TERM "$CLIENT_PID" 2>/dev/null || true
  fi
  if [ -n "$SERVER_PID" ] && kill -0 "$SERVER_PID" 2>/dev/null; then
    echo "run.sh: stopping the nqserver it started (nqhold, pid $SERVER_PID)"
    kill -TERM "$SERVER_PID" 2>/dev/null || true
  fi
  [ -z "$CLIENT_PID" ] || wait "$CLIENT_PID" 2>/dev/null || true
  [ -z "$SERVER_PID" ] || wait "$SERVER_PID" 2>/dev/null || true
}
trap stop_children EXIT
# Bash runs a trap only once the command in the foreground has ended, so the client runs in the
# background and the script waits for it: a signal then reaches stop_children at once.
trap 'stop_children; exit 143' TERM
trap 'stop_children; exit 130' INT

if udp_port_taken "$DISPATCHER_PORT"; then
  echo "run.sh: a server already listens on $HOST:$DISPATCHER_PORT; using it (its accounts, not necessarily the demo ones)"
else
  DB="$RUN/nqserver.db"
  "$SERVER" --db "$DB" demo >/dev/null || die "nqserver --db $DB demo failed"
  LOG="$RUN/nqserver.log"
  "$HOLD" --udp "$HOST:$DISPATCHER_PORT" --udp "$HOST:8000" -- \
    "$SERVER" --db "$DB" --address "$HOST" --dispatcher-port "$DISPATCHER_PORT" --chat-port 8000 \
    >>"$LOG" 2>&1 &
  SERVER_PID=$!
  # Wait until the dispatcher port is bound; 5 s is far more than it needs.
  for _ in $(seq 50); do
    udp_port_taken "$DISPATCHER_PORT" && break
    kill -0 "$SERVER_PID" 2>/dev/null || die "nqserver ended at once; see $LOG"
    sleep 0.1
  done
  udp_port_taken "$DISPATCHER_PORT" || die "nqserver did not bind $HOST:$DISPATCHER_PORT; see $LOG"
  echo "run.sh: nqserver on $HOST (dispatcher $DISPATCHER_PORT, chat 8000), database $DB, log $LOG"
  echo "run.sh: its ports are held by nqhold (pid $SERVER_PID): kill -HUP $SERVER_PID restarts the server"
fi

# The program folder. INI files are GBK with CRLF line ends; these hold only ASCII.
HOME_DIR="$RUN/home-$NAME"
mkdir -p "$HOME_DIR"
printf '[Setting]\r\nVer=1.0\r\nServer=%s\r\n' "$HOST" >"$HOME_DIR/Sys.ini"
# User.ini is the client's own from the first run on (remembered password, window position).
[ -f "$HOME_DIR/User.ini" ] || printf '[Setting]\r\nUserName=%s\r\n' "$NAME" >"$HOME_DIR/User.ini"
for asset in sound image face keywords.kwd; do
  if [ -e "$ROOT/assets/$asset" ] && [ ! -e "$HOME_DIR/$asset" ]; then
    ln -s "$ROOT/assets/$asset" "$HOME_DIR/$asset"
  fi
done

echo "run.sh: opening nqchat as $NAME (password 123456), program folder $HOME_DIR"
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  setsid "$CLIENT" --home "$HOME_DIR" &
else
  command -v xvfb-run >/dev/null || die "no DISPLAY and no xvfb-run: install xvfb and xauth (./nq deps)"
  echo "run.sh: no DISPLAY: running under xvfb-run, so the window is not visible here (Ctrl+C ends it)"
  setsid xvfb-run -a -s "-screen 0 1280x800x24" "$CLIENT" --home "$HOME_DIR" &
fi
CLIENT_PID=$!
status=0
wait "$CLIENT_PID" || status=$?
exit "$status"
