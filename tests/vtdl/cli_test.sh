#!/usr/bin/env bash
# Runs vtdl as a user does, with the registered library and a quote server, and looks at what it
# prints and at its exit status:
#
#   tests/vtdl/cli_test.sh [BUILD_FOLDER [--short]]
#
# BUILD_FOLDER, build/win32 unless given (build/win64 needs VTDL_BITS=64), has vtdl.exe and
# VTDL33.dll; build/native has the quote server. The script makes everything else itself: it uses the
# project's Wine prefix (VTDL_WINEPREFIX names another), registers the library there, also takes the
# registration back for a moment, so that nothing else may use the prefix meanwhile. With --short behind the
# folder it looks whether each kind of download brings its rows, and at the quote server of Windows.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/../../script/common.sh"
build=$(cd "${1:-$root/build/win32}" && pwd)
data=$root/samples/data
scratch=$(mktemp -d)
failures=0 checks=0

cleanUp() {
  local status=$?
  trap - EXIT
  kill -CONT "${serverPid:-$$}" 2>/dev/null || true
  stopQuoteServer
  kill $(jobs -p) 2>/dev/null || true
  registerLibrary "$build" || true
  setSeparator . || true
  rm -rf "$scratch"
  exit $status
}

# check WHAT CONDITION...: the condition is a command.
check() {
  checks=$((checks + 1))
  "${@:2}" && return
  failures=$((failures + 1))
  printf 'FAILED: %s\n  status %s\n' "$1" "$status" >&2
  printf '  out: %s\n  err: %s\n' "$(head -c 400 out)" "$(head -c 400 err)" >&2
}

# Leaves the exit status in $status, and the output in the files out and err.
vtdl() {
  status=0
  wine "$build/vtdl.exe" "$@" >out 2>err || status=$?
}

has() { grep -sqF -- "$2" "$1"; }
lacks() { ! has "$@"; }
succeeds() { [ "$status" = 0 ] && has out "${1:-}" && [ ! -s err ]; }
fails() { [ "$status" = "$1" ] && has err "vtdl: $2" && [ ! -s out ]; }

# The commands of a section of tests/data/commands.txt, each with its status and what it says.
checkTable() {
  local words expected said count=0
  while IFS='|' read -r words expected said; do
    said=${said//\$serverPort/$serverPort} count=$((count + 1))
    eval "vtdl $words" </dev/null
    if [ "$expected" = 0 ]; then check "$words" succeeds "$said"; else check "$words" fails "$expected" "$said"; fi
  done < <(sed -n "/^\[$1\]\$/,/^\$/{/^\[/d; /^\$/d; p}" "$root/tests/data/commands.txt")
  check "there are commands: $1" [ $count != 0 ]
}

testUnregistered() {
  wine regsvr32 /s /u "$(windowsPath "$build/VTDL33.dll")"
  vtdl sources
  check "an unregistered library is told" fails 1 "the Vestora Download Library is not registered"
  registerLibrary "$build"
}

testUsage() {
  vtdl sources
  check "sources, and those without a format" \
    [ "$(tail -n +3 out | wc -l) $(grep -c 'no download: format not known$' out)" = '16 2' ]
  checkTable usage
}

# The rows of CSV, its numbers rounded as awk rounds.
rounded() { awk -F, -v OFS=, '{ for (i = 2; i <= NF; ++i) $i = sprintf("%.12g", $i); print }'; }

setSeparator() { wine reg add 'HKCU\Control Panel\International' /v sDecimal /d "$1" /f >/dev/null 2>&1; }

# Also where numbers are written with a comma.
testPrices() {
  local separator
  echo 'WScript.Echo 0.5' >half.vbs
  for separator in , .; do
    setSeparator $separator
    check "numbers have a $separator" [ "$(wine cscript //nologo half.vbs 2>/dev/null | tr -d '\r')" = 0${separator}5 ]
    vtdl get YAHOOHIST TICKER=AAPL STARTDATE=1984-01-01 ENDDATE=2008-12-31 ADJUST_VALUES=False --format csv
    check "a long download succeeds" succeeds
    check "its rows are the data file's" \
      cmp <(tail -n +2 out | rounded) <(tail -n +2 "$data/AAPL.csv" | tac | awk '$1 < "2009"' | rounded)
    testServices
  done
}

# One row of every service, as the data folder has it, and the version that is published.
testServices() {
  vtdl --version
  exec 3<>"/dev/tcp/127.0.0.1/$serverPort"
  printf 'GET /files/VTDL.version HTTP/1.0\r\n\r\n' >&3
  check "there is no newer version" [ "vtdl $(tail -n 1 <&3)" = "$(tr -d '\r' <out)" ]
  checkTable services
}

# The samples of the languages that Wine can run, and the guides' snippets: what they end with, and that a
# ticker that is not there ends them with 1.
testSamples() {
  local sample arguments last
  for guide in vbscript:vb:vbs jscript:js:js; do
    IFS=: read -r sample arguments last <<<"$guide"
    sed -n "/^\`\`\`$arguments/,/^\`\`\`\$/{/^\`\`\`/d; p}" "$root/docs/guides/$sample.md" >"guide.$last"
  done
  while IFS='|' read -r sample arguments last; do
    status=0
    eval "wine $sample $arguments" 2>err </dev/null | tr -d '\r' >out || status=$?
    check "$sample" [ "$(tail -n 1 out)" = "$last" ]
    [ ! -f "${sample##* }" ] || sed -i 's/"\(INTC\|AAPL\)"/"NOSUCH"/' "${sample##* }"
    status=0
    eval "wine $sample NOSUCH" >out 2>err </dev/null || status=$?
    check "a ticker that is not there: $sample" [ "$status" = 1 ]
  done <"$root/tests/data/samples.txt"
  wine cscript //nologo "$(windowsPath "$root/samples/vbscript/download.vbs")" MSFT 02.09.2003 2003-09-19 >out || status=$?
  check "a date of another form" has out "Failed: 02.09.2003 is not a date like 2008-09-15"
}

# Every command that README and the docs show, as it is written there. What watches for ever ends after
# one update; DDE needs a display, and is shown by the demo and tested elsewhere.
testDocumentedCommands() {
  local command file count=0
  while read -r command; do
    case $command in
      *' DDE '* | *SOURCE*) continue ;;
      'vtdl watch '*) command+=' --count 1' ;;
    esac
    count=$((count + 1))
    eval "${command//;/\\;}" </dev/null
    check "documented: $command" [ "$status" = 0 ]
  done < <(cat "$root"/README.md "$root"/docs/*.md "$root"/docs/guides/*.md |
    sed -nE 's/^(vtdl [a-z].*)$/\1/p; s/^[^`]*`(vtdl [a-z][^`]*)`.*/\1/p; s/.*\| `(vtdl [a-z][^`]*)` \|.*/\1/p' |
    sed -E 's/ {3,}.*//' | sort -u)
  check "there are some" [ "$count" -ge 10 ]
  # And the files of feeds that they show.
  count=0
  awk '/^```jsonc/ { file = "feeds" ++n ".json"; next } /^```/ { file = "" } file { print > file }' "$root"/docs/{feeds,fleet}.md
  for file in feeds*.json "$root/samples/living/feeds.json"; do
    count=$((count + 1)) status=0
    TIINGO_TOKEN=key PRICES_PW=key "$quoteServer" --check "$file" >out 2>err || status=$?
    check "documented: $file" [ "$status" = 0 ]
  done
  check "there are some" [ "$count" -ge 3 ]
  for file in "$root"/tools/quoteserver/recipes/*.json; do
    check "its terms are told: $file" [ -n "$(grep -F "| \`$(basename "$file" .json)\` | " "$root/docs/terms.md" |
      grep -F "$(sed -n 's/.*"terms": "\(.*\)",$/\1/p' "$file") |")" ]
  done
}

testFailures() {
  checkTable failures
  vtdl get YAHOOHIST TICKER=AAPL
  check "a default range without data" has err 'which is the default; STARTDATE= and ENDDATE='
}

testTickers() {
  local ask=(get YAHOOHIST STARTDATE=2003-07-01 ENDDATE=2003-07-03)
  vtdl "${ask[@]}" TICKER=AAPL,INTC --output '{Ticker}.txt' --chart '{ticker}.svg'
  check "a file a ticker" [ "$status$(cat AAPL.txt INTC.txt | grep -c 2003-07)" = 06 ]
  check "a chart a ticker" has INTC.svg "<title>INTC</title>"
  vtdl "${ask[@]}" 'TICKER=AAPL, NOSUCH' --format csv
  check "one that fails" [ "$status$(grep -c ^AAPL,2003-07 out)" = 13 ]
  check "is named and counted" [ "$(grep -Ec '^vtdl: (NOSUCH: YAHOOHIST: |1 of 2 tickers failed)' err)" = 2 ]
}

# Nothing asks, whatever the settings are; a report is in the log because vtdl wants it there.
testSettings() {
  local file=$scratch/settings/VTDL33.Settings.xml
  cp "$file" good.xml
  sed -i 's/>demo</>nobody</g; s/name="pifin"/name="pifn"/; s/<key name="actions">2/<key name="actions">4/' "$file"
  sed -i 's|</sections>|<section name="http"><key name="timeout">soon</key></section>&|' "$file"
  sed -i 's|<section name="errorhandler">|&<key name="callstack">perhaps</key>|' "$file"
  vtdl get YAHOOHIST TICKER=NOSUCH
  check "the report of a bad value" has err "; see Error Log.txt"
  sed -i "s|\(name=\"cboe\">\)[^<]*|\1http://127.0.0.1/|" "$file"
  vtdl doctor
  check "values are looked into" [ "$status$(grep -c '^BAD   [a-z]*/' out)$(grep -c http://127 out)" = 141 ]
  vtdl get PCQUOTE TICKER=GOOG --source-parameter USER=demo PASSWORD=demo --format csv
  check "an account of the command line" has out "GOOG,759.66"
  check "is not kept" lacks "$file" demo
  echo damaged >"$file"
  vtdl get CBOE TICKER=AAPL
  check "a damaged file is named in the log" has "Error Log.txt" "(XML parser error: $VTDL_DATA"
  check "and by get" has err "$VTDL_DATA\\VTDL33.Settings.xml is damaged, line 1, column 1:"
  vtdl doctor
  check "and by doctor" has out "$VTDL_DATA\\VTDL33.Settings.xml is damaged, line 1, column 1:"
  cp good.xml "$file"
  rm -f "Error Log.txt"
}

# The server's services answer, and the locale is told; without a server, what to do.
testDoctor() {
  local line file=$scratch/settings/VTDL33.Settings.xml
  vtdl doctor
  check "a healthy installation" [ "$status" = 0 ]
  while read -r line; do
    check "doctor: $line" grep -Eq "$line" out
  done <<END
^ok .*${VTDL_BITS:-32}-bit: .*VTDL33.dll, version [0-9.]+$
^ok .*settings.VTDL33.Settings.xml$
yahoo.chart, .*, vestora\) takes connections: quote server [0-9.]+, from files$
^ok    the error log Error Log.txt in the current folder
OFF for a spreadsheet or script that is started here \(settings http/strict = 0\)
END
  sed -i 's|<section name="errorhandler">|&<key name="errorlog">Z:\\no\\log.txt</key>|' "$file"
  VTDL_STRICT=1 vtdl doctor
  check "a log that cannot be written" has out 'BAD   the error log Z:\no\log.txt cannot be written'
  sed -i 's|<key name="errorlog">[^<]*</key>||' "$file"
  vtdl doctor --report report.txt
  check "a report has the settings" has report.txt "pcquote/parameters/password = (set)"
  check "and no account" lacks report.txt demo
  VTDL_DATA='Z:\no\such\folder' vtdl doctor
  check "no settings, no services" has out 'BAD   the data folder Z:\no\such\folder is not there'
  rm -f "Error Log.txt"  # the library has said so too
}

testFiles() {
  local ask=(get YAHOOHIST STARTDATE=2008-10-10 ENDDATE=2008-10-14 --chart chart.svg)
  vtdl "${ask[@]}" TICKER=AAPL --output file.csv
  check "files print nothing" [ "$status$(cat out err)$(grep -c ^2008-10-14, file.csv)" = 01 ]
  cp chart.svg before.svg
  vtdl "${ask[@]}" TICKER=NOSUCH --output file.csv
  check "a failure leaves the old ones" [ "$(cmp chart.svg before.svg)$(wc -l <file.csv)" = 4 ]
  vtdl "${ask[@]}" TICKER=AAPL --output missing/file.csv
  check "a folder that is missing" fails 1 "missing/file.csv cannot be written"
  check "no other file is left" [ -z "$(find . -name '*.part')" ]
}

updates() { [ "$(grep -Ec '^[0-9]{4}(-[0-9]{2}){2} ([0-9]{2}:){2}[0-9]{2}$' out)" "$@" ]; }

# Starts vtdl, and presses Ctrl-C after two seconds.
interrupted() {
  wine "$build/vtdl.exe" "$@" >out 2>err &
  local client=$!
  sleep 2
  kill -INT "$client"
  status=0
  wait "$client" || status=$?
}

testWatch() {
  local ask=(watch YAHOOHIST STARTDATE=2008-10-13 ENDDATE=2008-10-14 TICKER=AAPL)
  vtdl get YAHOODIVIDENDS TICKER=SPY STARTDATE=2010-01-01 ENDDATE=2010-12-31 --progress
  check "the bar" has err "YAHOODIVIDENDS [#########################] 100%"
  vtdl "${ask[@]}" --interval 100 --count 3
  check "watching succeeds" succeeds
  check "each with its rows" [ "$(grep -c '^2008-10-14  116.26' out)" = 3 ]
  interrupted "${ask[@]}" --interval 300
  check "Ctrl-C ends watching well" succeeds
  check "after some updates" updates -ge 2
  # A server that is stopped still has its port: the request is taken, and no answer comes.
  kill -STOP "$serverPid"
  interrupted get YAHOOHIST TICKER=AAPL
  check "Ctrl-C ends a download" fails 1 interrupted
  vtdl get GOOGLEHIST TICKER=GOOG --timeout 1
  check "a silent server" has err "; --timeout of get, or VTDL_TIMEOUT, gives it more seconds"
  kill -CONT "$serverPid"
}

testNoServer() {
  stopQuoteServer
  checkTable no-server
}

# What the service has for X is odd.
testOddReplies() {
  mkdir odd
  printf 'Date,Dividends\n2010-03-19,0.48\n' >odd/X.dividends.csv
  startQuoteServer odd
  makeDataFolder "$scratch/settings" "$serverPort"
  printf 'damaged' >odd/X.csv
  vtdl get YAHOOHIST TICKER=X
  check "a damaged file is named by the server" grep -q 'X.csv line 1' /proc/$serverPid/fd/2
  check "a damaged row of the server" has err "(status 500); if a quote server is there, quoteserver --check"
  vtdl get YAHOODIVIDENDS TICKER=X STARTDATE=2010-01-01 ENDDATE=2010-12-31
  check "a single dividend" has err "a reply with a single row counts as none"
  rm -f "Error Log.txt"
  stopQuoteServer
}

# The source asks its service twice for the first update, and then once.
testWatchFaults() {
  startQuoteServer "$data" --fault html --fault-after 2
  makeDataFolder "$scratch/settings" "$serverPort"
  vtdl watch YAHOOHIST TICKER=AAPL STARTDATE=2008-10-13 ENDDATE=2008-10-14 --interval 100 --count 3
  check "one good update is a success" [ "$status" = 0 ]
  check "and shown" updates = 1
  check "the others are told" [ "$(grep -c ': YAHOOHIST: .*(a page instead of a table); see' err)" = 2 ]
  stopQuoteServer
}

# Each source, from recorded replies of living services.
testLiving() {
  cp "$root/tests/data/living-feeds.json" feeds.json
  cp -r "$root/tests/data/living" recorded
  cp "recorded/chart.history.GC=F.reply" "recorded/chart.futures.GC=F.reply"
  startQuoteServer "$data" --feeds feeds.json --replay recorded
  makeDataFolder "$scratch/settings" "$serverPort"
  checkTable living
  check "the page that knows more is named" has err "; http://127.0.0.1:$serverPort/ says why"
  vtdl doctor
  vtdl doctor --report report.txt
  check "a report has the last failures" has report.txt 'chart: OTHER (history): down'
  check "and not the copies" grep -q '"copies": [1-9]' report.txt
  check "who answers what" grep -q ' takes connections: quote server [0-9.]*, living: history from chart; quotes from quote; options from cboe; futures from chart$' out
  exec 3<>"/dev/tcp/127.0.0.1/$serverPort"
  printf 'GET /table.csv?s=NVDA HTTP/1.0\r\n\r\n' >&3
  cat <&3 >out
  check "who answered is told" [ "$(grep -Ec '^X-Quote-Source: chart|^<!-- source: chart 2[0-9-]+T[0-9:]+Z -->$' out)" = 2 ]
  stopQuoteServer
  sed -i 's/"quotes": \["quote"\], //' feeds.json
  startQuoteServer "$data" --feeds feeds.json --replay recorded
  makeDataFolder "$scratch/settings" "$serverPort"
  checkTable without-quotes
  stopQuoteServer
}

# What a service of the web may answer on a bad day is a failure, also in a host that does not ask for
# strict replies; the server, which says why, is that of Windows, as for most users.
testBadServices() {
  local windowsServer name why rawPid body ok=$'HTTP/1.1 200 OK\r\n'
  answer() { cat >"raw/$1"; }
  mkdir raw
  body=$(tail -n +4 "$root/tests/data/living/chart.history.NVDA.reply")
  printf '%s\r\n%s' "$ok" "$body" | answer GOOD
  printf '%sContent-Length: %s\r\n\r\n%s' "$ok" ${#body} "${body:0:9000}" | answer HALF
  printf %s "$body" | gzip -n | head -c 3000 >cut
  { printf '%sContent-Encoding: gzip\r\nContent-Length: 3000\r\n\r\n' "$ok"; cat cut; } | answer GZIP
  printf 'HTTP/1.1 302 Found\r\nLocation: http://localhost:1/login\r\nContent-Length: 0\r\n\r\n' | answer LOGIN
  : | answer SILENT
  { printf '%s\r\n' "$ok"; head -c 200M /dev/zero | tr '\0' ' '; } | answer HUGE
  printf '%sContent-Length: 99000000000\r\n\r\n%s' "$ok" "$body" | answer PROMISE
  printf 'HTTP/1.1 302 Found\r\nLocation: /ROUND\r\nContent-Length: 0\r\n\r\n' | answer ROUND
  startQuoteServer "$data" --raw raw
  rawPid=$serverPid
  cat >feeds.json <<END
{"store": "bad", "lineUp": {"history": ["chart"]}, "feeds": {"chart": {"recipe": "yahoo-chart",
  "url": "http://127.0.0.1:$serverPort/{symbol}", "pace": "99 per s", "timeout": "2 s"}}}
END
  windowsServer=$build/quoteserver.exe
  startQuoteServer "$data" --feeds feeds.json
  makeDataFolder "$scratch/settings" "$serverPort"
  checkTable web
  while IFS='|' read -r name why; do
    wine "$build/sample_prices.exe" $name 2021-07-16 2021-07-16 >out 2>err </dev/null || status=$?
    check "$name is no price" has err "(0x800C0008)"
    cat /proc/$serverPid/fd/2 >out
    check "$name is a failure by itself" has out "chart: $name (history): $why"
  done <"$root/tests/data/bad-replies.txt"
  check "a reply of 200 MB, in less" [ "$(awk '/VmHWM/ { print $2 }' /proc/$serverPid/status)" -lt 200000 ]
  stopQuoteServer
  kill $rawPid
  rm -f "Error Log.txt"
}

trap cleanUp EXIT
cd "$scratch"
startQuoteServer "$data"
makeDataFolder "$scratch/settings" "$serverPort"
registerLibrary "$build"

tests='testUnregistered testUsage testPrices testDocumentedCommands testDoctor testSamples
  testFailures testTickers testSettings testFiles testWatch testNoServer testOddReplies
  testWatchFaults testLiving'
[ "${2:-}" != --short ] || tests='testPrices testSamples testBadServices'
for test in $tests; do $test; done

check "the library has reported no run-time error" lacks "Error Log.txt" "Error: "
[ $failures = 0 ] || { say "$failures of $checks checks failed" >&2; exit 1; }
say "$checks checks passed"
