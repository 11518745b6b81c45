#!/usr/bin/env bash
# A week of a team's use, sixty times as fast, recorded and replayed: bench/week.sh [SECONDS_A_DAY]. Ten desktops
# load 50 histories in the morning and ask for 50 quotes every minute, five days of eight hours, which take 40 minutes
# (480 s a day; fewer make shorter days). Histories are of the web, quotes a program's, a list a database's, all on this
# machine; the web is away for an hour a day, and every hundredth quote fails. Prints what comes of it, and fails
# where the recordings are over their limit (WEEK_LIMIT bytes), lack the newest failure, or do not replay.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/../script/common.sh"

second=${1:-480} limit=${WEEK_LIMIT:-200000000}
scratch=$(mktemp -d)
cleanUp() {
  kill $(jobs -p) 2>/dev/null || true
  [ -n "${KEEP:-}" ] || rm -rf "$scratch"
}
trap cleanUp EXIT
cd "$scratch"
mkdir web data
tickers=$(printf 'T%02d ' {1..50})

# 8,000 days and one more with every day of the week.
writeHistories() {
  awk -v rows=$((8000 + $1)) 'BEGIN {
    print "Date,Open,High,Low,Close,Volume,Adj Close"
    for (i = 0; i < rows; ++i) {
      price = 100 + (rows - i) % 97 / 8
      printf "%s,%.3f,%.3f,%.3f,%.3f,%d,%.3f\n", strftime("%Y-%m-%d", 1763769600 - (8000 - rows + i + 5) * 86400, 1),
        price, price + 1, price - 1, price + .5, 1000000 + (rows - i) * 37, price + .5
    }
  }' >history
  for ticker in $tickers; do cp history "web/$ticker.csv"; done
}
writeHistories 0
sqlite3 lists.db "create table x(code text, name text); insert into x values('NYM', 'New York')"
cat >quote.sh <<'END'
[ $((RANDOM % 100)) != 0 ] || exit 1
echo l1,time,p,n
printf '1%02d.%02d,%(%F %T)T,100,Name of %s\n' $((RANDOM % 100)) $((RANDOM % 100)) -1 "$1"
END

startWeb() {
  local serverPid serverPort
  wantedPort=${webPort:-0} startQuoteServer web
  webPid=$serverPid webPort=$serverPort
}
startWeb
cat >feeds.json <<END
{"store": "store", "fresh": {"history": "$((second / 2)) s", "quotes": "1 s"}, "stale": {"quotes": "15 s"},
 "lineUp": {"history": ["web"], "quotes": ["mine"], "lists": ["base"]}, "feeds": {
  "web": {"recipe": "quoteserver", "url": "http://127.0.0.1:$webPort/v1/{table}.csv?ticker={symbol}", "pace": "100 per s"},
  "base": {"odbc": "Driver=SQLite3;Database=$scratch/lists.db", "lists": {"exchanges": "select code as exchange, name from x"}},
  "mine": {"command": ["bash", "quote.sh", "{symbol}"], "format": "csv", "pace": "200 per s",
           "quote": {"l1": "l1", "time": "time", "p": "p", "n": "n"}}}}
END

# A desktop's answers are counted in a file of its own.
get() { if curl -sf -m 30 -o reply.$1 "http://127.0.0.1:$serverPort/$2"; then echo answer; else echo failure; fi >>"count.$1"; }
quotes="d/quotes.csv?f=sl1d1t1n&s=$(tr ' ' + <<<"${tickers% }")"
desktop() {
  for ticker in $tickers; do get "$1" "table.csv?s=$ticker&g=d"; done
  get "$1" 'own/INOEXCHANGES?ticker=X'
  local end=$((SECONDS + second))
  while [ $SECONDS -lt $end ]; do
    sleep 1
    get "$1" "$quotes"
  done
}
tell() {
  say "$1: $(cat count.* | grep -c answer) answers and $(cat count.* | grep -c failure || true) failures so far;" \
    "$(find record -type f | wc -l) recordings of $(du -s --block-size=1 record | cut -f1) bytes on the disk"
}

startQuoteServer data --feeds feeds.json --record record --record-limit "$limit" 2>/dev/null
for day in 1 2 3 4 5; do
  writeHistories $day
  desktops=()
  for i in {1..10}; do desktop "$i" & desktops+=($!); done
  sleep $((second / 2))
  kill "$webPid"
  get away "table.csv?s=T$day$day&g=d"
  sleep $((second / 8))
  startWeb
  wait "${desktops[@]}"
  tell "day $day"
done

failed=
# must WHAT CONDITION...
must() { "${@:2}" || { say "FAILED: $1"; failed=1; }; }
must "the recordings stay under their limit" [ "$(find record -name '*.reply' -printf '%b\n' | awk '{ s += $1 } END { print s * 512 }')" -le "$limit" ]
newest=$(find record -name 'mine.*.reply' -printf '%T@ %p\n' | sort -rn | cut -d' ' -f2 | xargs grep -m1 -l '^Fault: the program ended' 2>/dev/null | head -n 1) || true
must "the newest failure is kept" [ -n "$newest" ]
stopQuoteServer
for speed in '' 60 3600; do
  rm -rf store-replay
  startQuoteServer data --feeds feeds.json --replay record ${speed:+--replay-speed $speed} 2>/dev/null
  start=$(date +%s%N)
  for ticker in $tickers; do get "replay$speed" "d/quotes.csv?f=sl1d1t1n&s=$ticker"; done
  answers=$(grep -c answer "count.replay$speed")  # a failure is replayed as one
  must "it replays at speed '$speed'" [ "$answers" -ge 40 ]
  say "replayed at speed '${speed:-at once}': $answers of 50 quotes in $((($(date +%s%N) - start) / 1000000)) ms"
  stopQuoteServer
done
[ -z "$failed" ]
