#!/usr/bin/env bash
# A throwaway PostgreSQL cluster for one ctest run: `pg_cluster.sh start DIR` makes it in DIR,
# listening on a Unix socket in DIR only; `pg_cluster.sh stop DIR` stops it and removes DIR.
# PostgreSQL refuses to run as root, so as root the cluster belongs to the postgres user.
set -euo pipefail
BIN=/usr/lib/postgresql/15/bin
cmd=$1 dir=$2
as_owner() {
  if [ "$(id -u)" = 0 ]; then runuser -u postgres -- "$@"; else "$@"; fi
}
case "$cmd" in
  start)
    [ -x "$BIN/initdb" ] || { echo "pg_cluster: no $BIN/initdb (apt-get install postgresql-15)" >&2; exit 1; }
    # A cluster left by a run that was killed is stopped and replaced.
    [ -f "$dir/data/postmaster.pid" ] && as_owner "$BIN/pg_ctl" -D "$dir/data" -m immediate stop >/dev/null 2>&1 || true
    rm -rf "$dir"
    mkdir -p "$dir"
    [ "$(id -u)" = 0 ] && chown postgres: "$dir"
    as_owner "$BIN/initdb" -D "$dir/data" -A trust -U postgres -E UTF8 --locale=C >"$dir/initdb.log" 2>&1 ||
      { cat "$dir/initdb.log" >&2; exit 1; }
    # No TCP at all; fsync off: the cluster dies with the run, and the tests want no disk waits.
    as_owner "$BIN/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 30 \
      -o "-c listen_addresses='' -k $dir -c fsync=off -c max_connections=200" start >/dev/null ||
      { cat "$dir/server.log" >&2; exit 1; }
    ;;
  stop)
    if [ -f "$dir/data/postmaster.pid" ]; then
      as_owner "$BIN/pg_ctl" -D "$dir/data" -m immediate -w stop >/dev/null
    fi
    rm -rf "$dir"
    ;;
  *) echo "usage: pg_cluster.sh start|stop DIR" >&2; exit 2 ;;
esac
