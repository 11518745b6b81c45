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
# folder it only looks whether each kind of download brings its rows.
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
  registerLibrary "$build" || true
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

has() { grep -qF -- "$2" "$1"; }
lacks() { ! has "$@"; }
fails() { [ "$status" = "$1" ] && has err "vtdl: $2" && [ ! -s out ]; }
succeeds() { [ "$status" = 0 ] && [ -s out ] && [ ! -s err ]; }

# The rows of a data file from one day to another, oldest first, in the form that vtdl writes.
expectedRows() {
  tail -n +2 "$1" | tac | awk -F, -v OFS=, -v first="$2" -v last="$3" -v adjust="$4" '
    $1 >= first && $1 <= last {
      if (adjust) { ratio = $7 / $5; for (i = 2; i <= 5; ++i) $i *= ratio; $6 /= ratio }
      for (i = 2; i <= NF; ++i) $i = sprintf("%.12g", $i)
      print
    }'
}

# The rows of a CSV output, its numbers rounded as awk has rounded the expected ones.
rows() {
  tail -n +2 "$1" |
    awk -F, -v OFS=, '{ for (i = 2; i <= NF; ++i) $i = sprintf("%.12g", $i); print }'
}
sameRows() { [ -s "$1" ] && cmp -s <(rows "$2") "$1"; }

testUnregistered() {
  wine regsvr32 /s /u "$(windowsPath "$build/VTDL33.dll")"
  vtdl sources
  check "an unregistered library is told" fails 1 "the Vestora Download Library is not registered"
  registerLibrary "$build"
}

testUsage() {
  local said words
  vtdl --version
  check "--version" grep -Eqx 'vtdl [0-9]+\.[0-9]+\.[0-9]+' out
  vtdl sources
  check "there are sixteen sources" [ "$(tail -n +3 out | wc -l)" = 16 ]
  check "eight have no format" [ "$(grep -c 'no download: format not known$' out)" = 8 ]
  vtdl parameters yahoohist
  check "choices" grep -Eq '^PERIODICITY +list +DAILY +DAILY +DAILY, WEEKLY, MONTHLY$' out
  vtdl
  check "no command" fails 2 ""
  while IFS='|' read -r words said; do
    eval "vtdl $words" </dev/null
    check "wrong usage: $words" fails 2 "$said"
  done <<'END'
get YAHOHIST TICKER=AAPL|there is no source YAHOHIST; did you mean YAHOOHIST?
get YAHOOHIST TICKR=AAPL|YAHOOHIST has no parameter TICKR; did you mean TICKER?
get YAHOOHIST|YAHOOHIST needs TICKER=VALUE
get YAHOOHIST TICKER=|YAHOOHIST needs TICKER=VALUE
watch DDE SERVICE=A ITEM=B --count 1|DDE needs TOPIC=VALUE
get YAHOOHIST TICKER=AAPL,,INTC|TICKER: "AAPL,,INTC" has a comma with no ticker beside it
watch YAHOOHIST TICKER=AAPL,INTC --count 1|TICKER: watch takes one ticker
get YAHOOHIST TICKER=AAPL --output {date}.csv|--output: {date} is not known; a file's name may have {ticker}
get YAHOOHIST TICKER=AAPL STARTDATE=2008-02-30|STARTDATE: "2008-02-30" is not a date
get YAHOOHIST TICKER=AAPL PERIODICITY=YEARLY|PERIODICITY: YEARLY is none of DAILY, WEEKLY, MONTHLY
get YAHOOHIST TICKER=AAPL --format xml|--format: xml
get YAHOODIVIDENDS TICKER=SPY --format csv --decimal ,|--separator and --decimal must differ
get YAHOOHIST TICKER=AAPL,INTC --chart all.svg|--chart: a chart shows one ticker
END
}

testPrices() {
  expectedRows "$data/AAPL.csv" 1984-01-01 2008-12-31 '' >expected
  vtdl get YAHOOHIST TICKER=AAPL STARTDATE=1984-01-01 ENDDATE=2008-12-31 ADJUST_VALUES=False \
    --format csv
  check "a long download succeeds" succeeds
  check "its rows are the data file's" sameRows expected out

  expectedRows "$data/INTC.csv" 2003-07-01 2003-07-31 1 >expected
  vtdl get yahoohist ticker=intc startdate=2003-07-01 enddate=2003-07-31 --format csv
  check "adjusted values" sameRows expected out

  expectedRows "$data/SPY.dividends.csv" 2008-01-01 2010-12-31 '' >expected
  vtdl get YAHOODIVIDENDS TICKER=SPY STARTDATE=2008-01-01 ENDDATE=2010-12-31 --format csv
  check "dividends" sameRows expected out
}

# One row of every other service, as the data folder has it.
testServices() {
  local row source
  while read -r row source; do
    # shellcheck disable=SC2086
    vtdl get $source --format csv </dev/null
    check "${source%% *} succeeds" succeeds
    check "${source%% *} brings its row" has out "$row"
  done <<'END'
2011-12-30,642.02,646.76,642.02,645.9,1782300 GOOGLEHIST TICKER=NASDAQ:GOOG STARTDATE=2011-12-19 ENDDATE=2011-12-30
2017-11-01,54.65,55.22,53.89,54.3,1339018,2520545 Pifin TICKER=CL STARTDATE=2017-11-01 ENDDATE=2017-11-30
INTC,35.44,2016-09-09, YAHOOREALTIME TICKER=INTC
GOOG,759.66,-15.66, PCQUOTE TICKER=GOOG
CALLS,AAPL1604K70,,0,,39.7,39.85,,0,2016-11-18,70,41.65,0 CBOE TICKER=AAPL
END
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
    case $sample in *guide*) continue ;; esac
    status=0
    eval "wine $sample NOSUCH" >out 2>err </dev/null || status=$?
    check "a ticker that is not there: $sample" [ "$status" = 1 ]
  done <<'END'
"$build/sample_prices.exe"|AAPL 2008-10-13 2008-10-14|2008-10-14  104.08
cscript //nologo "$(windowsPath "$root/samples/jscript/quote.js")"|INTC 3|Finished.
cscript //nologo "$(windowsPath "$root/samples/vbscript/download.vbs")"|MSFT 2003-09-01 2003-09-19|Finished.
cscript //nologo guide.vbs||140.36
cscript //nologo guide.js||35.44
END
}

# Every command that README and the docs show, as it is written there. What watches for ever ends after
# one update; DDE needs a display, and is shown by the demo and tested elsewhere.
testDocumentedCommands() {
  local command count=0
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
  rm -f aapl.csv aapl.svg
}

testNothing() {
  vtdl get YAHOOHIST TICKER=NOSUCH STARTDATE=2008-01-01 ENDDATE=2008-02-01
  check "an unknown ticker" fails 1 \
    "YAHOOHIST: the service sent no rows for TICKER=NOSUCH from 2008-01-01 to 2008-02-01"
  vtdl get YAHOOHIST TICKER=AAPL
  check "a default range without data" has err 'which is the default; STARTDATE= and ENDDATE='
  vtdl get YAHOODIVIDENDS TICKER=ZÜRICH
  check "text of any script" fails 1 "YAHOODIVIDENDS: Download failure (0x800C0008): 127.0.0.1:$serverPort \
(yahoo.chart) is there, but sent nothing usable (status 400)"
  vtdl get INOEXCHANGES
  check "a source without a download" fails 1 "INOEXCHANGES: Data not available (0x800C0007): the format"
}

testTickers() {
  local ask=(get YAHOOHIST STARTDATE=2003-07-01 ENDDATE=2003-07-03 --timeout 20)
  vtdl "${ask[@]}" 'TICKER=AAPL, INTC' --format csv
  check "a block a ticker" \
    [ "$(cut -d, -f1 out | uniq -c | tr -s ' \n' ' ')" = ' 1 BLOCK 3 AAPL 3 INTC ' ]
  vtdl "${ask[@]}" TICKER=AAPL,INTC --output '{Ticker}.txt' --chart '{ticker}.svg'
  check "a file a ticker" [ "$status$(cat AAPL.txt INTC.txt | grep -c 2003-07)" = 06 ]
  check "a chart a ticker" has INTC.svg "<title>INTC</title>"
  vtdl "${ask[@]}" TICKER=AAPL,NOSUCH --format csv
  check "one that fails" [ "$status$(grep -c ^AAPL,2003-07 out)" = 13 ]
  check "is named" has err "vtdl: NOSUCH: YAHOOHIST: "
  check "and counted" has err "vtdl: 1 of 2 tickers failed"
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
  vtdl doctor
  check "values are looked into" [ "$status$(grep -c '^BAD   [a-z]*/' out)" = 13 ]
  check "a misspelt service" has out "hosts/pifn is no service; did you mean pifin?"
  vtdl get PCQUOTE TICKER=GOOG --source-parameter USER=demo PASSWORD=demo --format csv
  check "an account of the command line" has out "GOOG,759.66"
  check "is not kept" lacks "$file" demo
  echo damaged >"$file"
  vtdl get CBOE TICKER=AAPL
  check "a damaged file is named" has "Error Log.txt" "(XML parser error: $VTDL_DATA"
  cp good.xml "$file"
  rm -f "Error Log.txt"
}

# The server's services answer, and the locale is told; without a server, what to do.
testDoctor() {
  vtdl doctor
  check "a healthy installation" [ "$status" = 0 ]
  check "the file that is registered" grep -Eq "^ok .*${VTDL_BITS:-32}-bit: .*VTDL33.dll, version [0-9.]+$" out
  check "the settings file" grep -Eq '^ok .*settings.VTDL33.Settings.xml$' out
  check "the services' one host" [ "$(grep -c 'yahoo.chart, .*, vestora) accepts connections$' out)" = 1 ]
  check "the error log" has out "ok    the error log Error Log.txt in the current folder"
  check "strictness" has out "OFF for a spreadsheet or script that is started here (settings HTTP/strict = 0)"
  local file=$scratch/settings/VTDL33.Settings.xml
  sed -i 's|<section name="errorhandler">|&<key name="errorlog">Z:\\no\\log.txt</key>|' "$file"
  VTDL_STRICT=1 vtdl doctor
  check "a log that cannot be written" has out 'BAD   the error log Z:\no\log.txt cannot be written'
  sed -i 's|<key name="errorlog">[^<]*</key>||' "$file"
  VTDL_DATA='Z:\no\such\folder' vtdl doctor
  check "no settings, no services" [ "$status" = 1 ]
  rm -f "Error Log.txt"  # the library has said so too
}

testFiles() {
  local ask=(get YAHOOHIST STARTDATE=2008-10-10 ENDDATE=2008-10-14 --format csv --chart chart.svg)
  vtdl "${ask[@]}" TICKER=AAPL --output file.csv
  check "files print nothing" [ "$status$(cat out err)" = 0 ]
  check "the rows" [ "$(wc -l <file.csv)" = 4 ]
  check "the ticker" has chart.svg "<title>AAPL</title>"
  check "a point a row" grep -Eq 'class="close" d="M[0-9. ]+L[0-9. ]+L[0-9. ]+"/>' chart.svg
  cp chart.svg before.svg
  vtdl "${ask[@]}" TICKER=NOSUCH --output file.csv
  check "a failure leaves the old ones" [ "$(cmp chart.svg before.svg)$(wc -l <file.csv)" = 4 ]
  vtdl "${ask[@]}" TICKER=AAPL --output missing/file.csv
  check "a folder that is missing" fails 1 "missing/file.csv cannot be written"
  check "no other file is left" [ -z "$(find . -name '*.part')" ]
  vtdl get YAHOODIVIDENDS TICKER=SPY --chart dividends.svg
  check "no prices" fails 2 "--chart: YAHOODIVIDENDS has no columns DATE and CLOSE to draw"
}

updates() { [ "$(grep -Ec '^[0-9]{4}(-[0-9]{2}){2} ([0-9]{2}:){2}[0-9]{2}$' out)" "$@" ]; }

testWatch() {
  local ask=(watch YAHOOHIST STARTDATE=2008-10-13 ENDDATE=2008-10-14) client
  vtdl get YAHOODIVIDENDS TICKER=SPY STARTDATE=2010-01-01 ENDDATE=2010-12-31 --progress
  check "the bar" has err "YAHOODIVIDENDS [#########################] 100%"
  vtdl "${ask[@]}" TICKER=AAPL --interval 100 --count 3
  check "watching succeeds" succeeds
  check "each with its rows" [ "$(grep -c '^2008-10-14  116.26' out)" = 3 ]
  wine "$build/vtdl.exe" "${ask[@]}" TICKER=AAPL --interval 300 >out 2>err &
  client=$!
  sleep 2
  kill -INT "$client"
  status=0
  wait "$client" || status=$?
  check "Ctrl-C ends watching well" succeeds
  check "after some updates" updates -ge 2
}

# A server that is stopped still has its port: the request is taken, and no answer comes.
testInterrupt() {
  kill -STOP "$serverPid"
  wine "$build/vtdl.exe" get YAHOOHIST TICKER=AAPL >out 2>err &
  local client=$!
  sleep 2
  kill -INT "$client"
  status=0
  wait "$client" || status=$?
  kill -CONT "$serverPid"
  check "Ctrl-C ends a download" [ "$status" = 1 ]
  check "and is told" has err "vtdl: interrupted"
}

# There is no display here, and so no server of items.
testUnreadItem() {
  vtdl get DDE SERVICE=NOBODY TOPIC=T ITEM=I TYPE=REQUEST
  check "an item that cannot be read" fails 1 "DDE: DMLERR_NO_CONV_ESTABLISHED (16394): no program serves"
}

testNoServer() {
  stopQuoteServer
  vtdl get YAHOOHIST TICKER=AAPL
  check "no server" fails 1 \
    "YAHOOHIST: Download failure (0x800C0008): cannot reach 127.0.0.1:$serverPort (yahoo.chart); vtdl doctor"
}

# What the service has for X is odd; reports say which download they are about.
testOddReplies() {
  mkdir odd
  printf 's,l1,d1,t1\nX,1,noday,4:00pm\n' >odd/quotes.csv
  sed '5q; s/^16 Nov/xx Nov/' "$data/AAPL.options.csv" >odd/X.options.csv
  printf 'Date,Dividends\n2010-03-19,0.48\n' >odd/X.dividends.csv
  startQuoteServer odd
  makeDataFolder "$scratch/settings" "$serverPort"
  vtdl get YAHOOREALTIME TICKER=X
  check "an odd date of a quote" has "Error Log.txt" 'mismatch: TRADE DATE "noday" (YAHOOREALTIME X))'
  vtdl get CBOE TICKER=X
  check "an odd expiry" has "Error Log.txt" 'mismatch: row 4, EXPIRATION "xx Nov" (CBOE X))'
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
  check "the others are told" [ "$(grep -c ': YAHOOHIST: ' err)" = 2 ]
}

trap cleanUp EXIT
cd "$scratch"
startQuoteServer "$data"
makeDataFolder "$scratch/settings" "$serverPort"
registerLibrary "$build"

tests='testUnregistered testUsage testPrices testServices testDocumentedCommands testDoctor testSamples
  testNothing testTickers testSettings testFiles testWatch testInterrupt testUnreadItem testNoServer
  testOddReplies testWatchFaults'
[ "${2:-}" != --short ] || tests='testPrices testServices testSamples'
for test in $tests; do $test; done

check "the library has reported no run-time error" lacks "Error Log.txt" "Error: "
[ $failures = 0 ] || { say "$failures of $checks checks failed" >&2; exit 1; }
say "$checks checks passed"
