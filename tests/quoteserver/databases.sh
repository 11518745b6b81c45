#!/usr/bin/env bash
# A quote server whose line-up has PostgreSQL first and SQLite behind it, while the first one is stopped
# and started: databases.sh QUOTESERVER, which as an .exe runs under Wine.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/../../script/common.sh"
case $1 in *.exe) windowsServer=$1; ensurePrefix ;; *) quoteServer=$1 ;; esac

scratch=$(mktemp -d)
programs=$(printf '%s\n' /usr/lib/postgresql/*/bin | sort -V | tail -n 1)
# No database runs as root.
asUser() { if [ "$(id -u)" = 0 ]; then runuser -u postgres -- "$@"; else "$@"; fi; }
postgres() { (cd "$scratch/base" && asUser "$programs/pg_ctl" -D cluster -w -s "$@" >/dev/null 2>>log); }
cleanUp() {
  stopQuoteServer
  postgres -m immediate stop 2>/dev/null || true
  rm -rf "$scratch"
}
trap cleanUp EXIT

chmod 711 "$scratch"
mkdir "$scratch/base" "$scratch/data"
[ "$(id -u)" != 0 ] || chown postgres "$scratch/base"
(cd "$scratch/base" && asUser "$programs/initdb" -D cluster -A trust -U reader -N --no-locale >/dev/null)
# Seen by nobody on the net.
options="-k $scratch/base -c listen_addresses="
postgres -o "$options" start
tables="create table prices(ticker text, day date, open numeric(12,4), high real, low text, close double precision,
    moment timestamp, volume bigint, adj numeric);
  insert into prices select t, '2024-01-02', 10.5, 129.04, '9.5', 10.25, '2024-01-02 16:00:00', null, 10.1
    from (select 'A' as t union select 'B' union select 'C' union select 'D' union select 'E' union select 'F' union select 'SLOW') as tickers;"
asUser "$programs/psql" -q -h "$scratch/base" -U reader -d postgres -c "$tables"
sqlite3 "$scratch/spare.db" "$tables"
statement='select day as date, open, high, low, close, volume, adj as adj_close from prices where ticker = ? and day between ? and ?'
sed "s|SCRATCH|$scratch|; s|STATEMENT|$statement|" "$root/tests/data/quoteserver/database-feeds.json" >"$scratch/feeds.json"
startQuoteServer "$scratch/data" --feeds "$scratch/feeds.json" --record "$scratch/record"

failed=
# expect WHEN TICKER SOURCE
expect() {
  curl -s -m 20 -D "$scratch/head" "http://127.0.0.1:$serverPort/table.csv?s=$2&a=0&b=1&c=2024&d=0&e=9&f=2024&g=d" \
    -o "$scratch/reply" || true
  if ! grep -qi "^X-Quote-Source: $3" "$scratch/head" ||
    ! grep -q '^2024-01-02,10.50*,129.040*,9.50*,10.250*,000,10.10*' "$scratch/reply"; then
    say "FAILED: $1: $3 should answer"
    cat "$scratch/head" "$scratch/reply"
    failed=1
  fi
}
expect "at first" A base
if ! curl -s "http://127.0.0.1:$serverPort/own/INOFUTURESLIST?ticker=NYM" | grep -qxF '"CLZ17","NYM","2017-12-01"'; then
  say "FAILED: a list"
  failed=1
fi
while IFS='|' read -r feed told; do
  tried=$(${windowsServer:+wine} "$1" --check "$scratch/feeds.json" --try $feed:A) || true
  if [[ $tried != *$told* ]]; then
    say "FAILED: $feed tells $told"
    failed=1
  fi
done <<'END'
zoned|the column date is a timestamptz, which has a zone
lost|no such table: größe
base|A (history): rows
base|CONTRACTS (lists): rows
END
postgres -m fast restart
expect "after a restart, which the kept connection did not survive" B base
(sleep .5; postgres -m immediate stop) &
expect "stopped in the middle of a statement" SLOW spare
wait $!
expect "while it is stopped" C spare
postgres -o "$options" start
expect "started again" D base
# all STATE: of the server and what works for it.
all() {
  local server
  server=$(head -n 1 "$scratch/base/cluster/postmaster.pid")
  kill "-$1" "$server" $(pgrep -P "$server")
}
all STOP
expect "while it stands still" E spare
all CONT
sleep 1
expect "woken" F base
stopQuoteServer
postgres -m fast stop
for _ in 1 2; do
  startQuoteServer "$scratch/data" --feeds "$scratch/feeds.json" --replay "$scratch/record"
  expect replayed A base
  cat /proc/$serverPid/fd/1 >"$scratch/told"
  stopQuoteServer
done
if ! grep -Eq 'there are recordings of base \([0-9]+\), spare \([0-9]+\), none of lost, zoned' "$scratch/told" ||
  ! grep -q 'copies of an earlier replay go first; delete .*store-replay ' "$scratch/told"; then
  say "FAILED: what is replayed"
  cat "$scratch/told"
  failed=1
fi
[ -z "$failed" ] && say "all passed"
