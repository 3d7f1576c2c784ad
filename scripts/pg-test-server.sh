#!/usr/bin/env bash
# A throw-away PostgreSQL server for the tests, listening only on a Unix socket
# in its own directory (no TCP), with its data in that directory.
#
#   scripts/pg-test-server.sh start DIR    make DIR, initdb into it, start the server;
#                                          prints the server's URI and writes it to DIR/server.uri
#   scripts/pg-test-server.sh stop DIR     stop the server and remove DIR
#   scripts/pg-test-server.sh uri DIR      the URI of the server in DIR
#
# start stops and removes whatever an earlier run left in DIR first. As root
# the server runs as the user "nobody" (initdb refuses root). The superuser
# role is "vlq", the database "vlq"; local connections need no password, and
# only the owner of DIR can reach the socket. Keep DIR short: a socket path
# may have at most 107 characters.
set -euo pipefail

command=${1:-}
dir=${2:-}
if [ -z "$command" ] || [ -z "$dir" ]; then
  sed -n '2,14s/^# \{0,1\}//p' "$0" >&2
  exit 2
fi

pg_bin() {
  local found
  found=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1)
  if [ -z "$found" ] || [ ! -x "$found/initdb" ]; then
    echo "pg-test-server: no PostgreSQL server binaries in /usr/lib/postgresql/*/bin (install postgresql)" >&2
    exit 1
  fi
  echo "$found"
}

# Runs a command as the server's user.
as_owner() {
  if [ "$(id -u)" -eq 0 ]; then
    runuser -u nobody -- "$@"
  else
    "$@"
  fi
}

uri_of() { echo "postgresql:///vlq?host=$1&user=vlq"; }

stop_server() {
  local data="$1/data"
  if [ -f "$data/postmaster.pid" ]; then
    as_owner "$(pg_bin)/pg_ctl" -D "$data" -m immediate -w -t 30 stop >/dev/null 2>&1 || true
    # A server that pg_ctl could not stop (its files half gone) is killed by its pid.
    local pid
    pid=$(head -n 1 "$data/postmaster.pid" 2>/dev/null || true)
    if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then
      kill -KILL "$pid" 2>/dev/null || true
    fi
  fi
}

case "$command" in
  start)
    bin=$(pg_bin)
    stop_server "$dir"
    rm -rf "$dir"
    mkdir -p "$dir"
    dir=$(cd "$dir" && pwd)
    if [ ${#dir} -gt 90 ]; then
      echo "pg-test-server: $dir is too long for a socket path" >&2
      exit 1
    fi
    chmod 700 "$dir"
    if [ "$(id -u)" -eq 0 ]; then chown nobody "$dir"; fi
    # A failed start must not leave a server behind.
    started=no
    trap '[ "$started" = yes ] || stop_server "$dir"' EXIT
    # Locale C: text compares and folds case byte by byte, as the file store does.
    as_owner "$bin/initdb" -D "$dir/data" -U vlq --auth=trust --encoding=UTF8 --locale=C \
      --no-sync >"$dir/initdb.log" 2>&1 || { cat "$dir/initdb.log" >&2; exit 1; }
    as_owner "$bin/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
      -o "-c listen_addresses='' -c unix_socket_directories='$dir' -c unix_socket_permissions=0700 \
          -c fsync=off -c synchronous_commit=off -c full_page_writes=off -c max_connections=200" \
      start >/dev/null || { cat "$dir/server.log" >&2; exit 1; }
    as_owner "$bin/createdb" -h "$dir" -U vlq vlq
    uri_of "$dir" | as_owner tee "$dir/server.uri"
    started=yes
    ;;
  stop)
    stop_server "$dir"
    rm -rf "$dir"
    ;;
  uri)
    uri_of "$(cd "$dir" && pwd)"
    ;;
  *)
    echo "pg-test-server: unknown command: $command" >&2
    exit 2
    ;;
esac
