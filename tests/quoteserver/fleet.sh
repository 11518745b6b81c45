#!/usr/bin/env bash
# The door of packaging/fleet before a quote server, and vtdl behind it: fleet.sh BUILD_FOLDER, which has
# vtdl.exe and VTDL33.dll.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/../../script/common.sh"
build=$(cd "$1" && pwd)
scratch=$(mktemp -d)
failures=0 checks=0 nginxPid=

cleanUp() {
  local status=$?
  trap - EXIT
  stopQuoteServer
  [ -z "$nginxPid" ] || kill "$nginxPid" || true
  wait
  [ -n "${KEEP:-}" ] || rm -rf "$scratch"
  exit $status
}
trap cleanUp EXIT

# check WHAT CONDITION...: the condition is a command.
check() {
  checks=$((checks + 1))
  "${@:2}" && return
  failures=$((failures + 1))
  printf 'FAILED: %s\n' "$1" >&2
  tail -n 5 head out err "$scratch/error.log" >&2 || true
}

# get TICKER [ARGUMENT]...: a day of prices.
get() {
  status=0
  wine "$build/vtdl.exe" get YAHOOHIST "TICKER=$1" STARTDATE=2008-10-14 ENDDATE=2008-10-14 --format csv "${@:2}" \
    >out 2>err </dev/null || status=$?
}
brings() { [ "$status" = 0 ] && grep -q "^2008-10-14,$1" out; }
fails() { [ "$status" = 1 ] && grep -qF "(0x800C0008): $1" err && [ ! -s out ]; }

# Certificates of a root that the machine trusts, and of one that it does not, one of which is over.
makeCertificates() {
  local name root
  printf '%s\n' '[ca]' 'default_ca=own' '[own]' 'database=index' 'new_certs_dir=.' 'default_md=sha256' 'policy=any' \
    'rand_serial=yes' 'copy_extensions=copy' 'unique_subject=no' '[any]' 'commonName=supplied' >ca.conf
  for name in trusted other; do
    : >index
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout $name.key -out $name.pem \
      -subj "/CN=$name" -days 30 2>/dev/null
  done
  for name in good over unknown; do
    root=trusted
    [ $name != unknown ] || root=other
    openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout $name.key -out $name.csr -subj /CN=localhost \
      -addext subjectAltName=DNS:localhost 2>/dev/null
    openssl ca -batch -notext -config ca.conf -cert $root.pem -keyfile $root.key -in $name.csr -out $name.crt \
      -startdate 20200101000000Z -enddate "$([ $name = over ] && echo 2021 || echo 2049)0101000000Z" 2>/dev/null
  done
  # As the system's store of roots has it: number of the property, 1, its length, its bytes.
  openssl x509 -in trusted.pem -outform DER -out trusted.der
  {
    printf 'REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\Microsoft\\SystemCertificates\\Root\\Certificates\\%s]\n"Blob"=hex:' \
      "$(sha1sum trusted.der | head -c 40 | tr a-f A-F)"
    { printf '\x20\0\0\0\1\0\0\0'; printf "\\x$(printf %x $(($(stat -c %s trusted.der) % 256)))"
      printf "\\x$(printf %x $(($(stat -c %s trusted.der) / 256)))\0\0"; cat trusted.der; } |
      od -An -v -tx1 | tr -d '\n' | sed 's/^ //; s/ /,/g'
    printf '\n'
  } >root.reg
  wine regedit /S root.reg
}

# startNginx: with the quote server's port, on free ports, one after the other: the door, one whose
# certificate is over, one whose issuer nobody knows, one that leads away from TLS, one without it.
startNginx() {
  local log=$scratch/error.log
  for _ in $(seq 20); do
    door=$((20000 + RANDOM % 20000))
    sed -e "s|^user .*|user $(id -un) $(id -gn); daemon off; error_log $log;|; s|^pid .*|pid $scratch/nginx.pid;|; s|/var/log/nginx|$scratch|" \
      -e "s|/var/cache/nginx/quotes|$scratch/cache|; s|127.0.0.1:8733|127.0.0.1:$serverPort|" \
      -e "s|listen 443 ssl;|listen 127.0.0.1:$door ssl; listen 127.0.0.1:$((door + 4));|; s|quotes.example.org;|localhost;|" \
      -e "s|/etc/ssl/quotes.example.org.crt|$scratch/good.crt|; s|/etc/ssl/private/quotes.example.org.key|$scratch/good.key|" \
      -e "s|^http {|& include $scratch/others.conf;|" "$root/packaging/fleet/nginx.conf" >nginx.conf
    {
      for part in client_body proxy fastcgi uwsgi scgi; do echo "${part}_temp_path $scratch/temp;"; done
      sed "s|DOOR+1|$((door + 1))|; s|DOOR+2|$((door + 2))|; s|DOOR+3|$((door + 3))|; s|SCRATCH|$scratch|g; s|SERVER_PORT|$serverPort|" \
        "$root/tests/data/fleet/others.conf"
    } >others.conf
    nginx -c "$scratch/nginx.conf" -e "$log" 2>>"$log" &
    nginxPid=$!
    for _ in $(seq 50); do
      [ ! -f nginx.pid ] || return 0
      kill -0 $nginxPid 2>/dev/null || break
      sleep 0.05
    done
  done
  cat "$log" >&2
  return 1
}

requests() { grep -c "^GET ${1:-}" "/proc/$serverPid/fd/2" || true; }

cd "$scratch"
ensurePrefix
registerLibrary "$build"
makeCertificates
startQuoteServer "$root/samples/data" --verbose
startNginx
secure=https://localhost:$door

# All services are there: useHost HOST
useHost() {
  makeDataFolder "$scratch/settings" "$serverPort"
  sed -i "s|127.0.0.1:$serverPort|$1|" settings/VTDL33.Settings.xml
}
# account: what PCQUOTE asks with a user and a password. Asked for them, Wine 8 sends them on the connection
# that the door is just closing, unless it has seen that, and fails: then once more.
account() {
  for _ in 1 2 3 4 5; do
    status=0
    wine "$build/vtdl.exe" get PCQUOTE TICKER=GOOG --source-parameter USER=demo PASSWORD=demo --format csv >out 2>err || status=$?
    grep -qF '(no answer (error 12030))' err || break
  done
}

cured() { grep -q 'Name the host as its certificate does' <(wine "$build/vtdl.exe" doctor 2>/dev/null); }
# Nothing but a certificate that holds brings a request to the quote server, over whatever line.
testSecure() {
  local port host why before
  useHost "https://localhost:$door"
  get AAPL
  check "over TLS" brings 116.26
  account
  check "over TLS, with an account" grep -q GOOG,759.66 out
  wine "$build/vtdl.exe" doctor >out 2>err || true
  check "doctor over TLS" grep -q "^ok    https://localhost:$door (.*) takes connections: quote server" out
  before=$(requests)
  while read -r port host why; do
    useHost "HTTPS://$host:$port"
    account
    check "$why" fails "cannot reach HTTPS://$host:$port (pcquote): $why"
    [[ $why != *certificate* ]] || check "$why: the cure" cured
    check "$why: the log" grep -q "https://$host:$port/cgi-bin/vestora.exe: Download failure (0x800C0008): the host's ${why#its }" "Error Log.txt"
  done <<END
$door 127.0.0.1 its certificate is for another name
$((door + 1)) localhost its certificate has expired
$((door + 2)) localhost its certificate 
$serverPort 127.0.0.1 its port speaks no TLS
END
  useHost "https://localhost:$((door + 3))"
  wine "$build/sample_prices.exe" AAPL 2008-10-13 2008-10-14 >out 2>err && status=0 || status=$?
  check "a redirect to the open line, and replies that are not strict" grep -q 0x800C0008 err
  check "nothing was asked" [ "$(requests)" = "$before" ]
  status=0
  wine "$build/vtdl.exe" get YAHOOREALTIME TICKER=INTC --format csv >out 2>err || status=$?
  check "a redirect within the server" grep -q INTC,35.44 out
  rm -f "Error Log.txt"
}

# fetch PATH [ARGUMENT]...: through the door without TLS; the head in head, the body in out.
fetch() {
  status=0
  curl -s -D head -o out -w '%{time_total}' "http://127.0.0.1:$((door + 4))$1" "${@:2}" >time 2>err || status=$?
}
said() { grep -qi "^$1" head; }
isReset() { [ "$status" = 56 ] && awk '{ exit !($1 >= 0.3) }' time; }

# Many ask for little: each thing is asked for once.
testMany() {
  local before
  for ticker in AAPL GOOG INTC MSFT TSLA; do
    echo "url=http://127.0.0.1:$((door + 4))/finance/historical?q=$ticker"
    echo 'output=/dev/null'
  done >tickers
  for _ in $(seq 400); do cat tickers; done >asked
  before=$(requests)
  curl -s -Z --parallel-max 100 --parallel-immediate -w '%{http_code}\n' -K asked >codes 2>err
  check "2,000 good answers" [ "$(grep -c 200 codes)" = 2000 ]
  check "of five requests" [ $(($(requests) - before)) = 5 ]
}

testDoor() {
  local before url='/cgi-bin/vestora.exe?FIELDS=LAST&TICKER=GOOG'
  before=$(requests)
  for user in demo:demo demo:demo nobody:x; do fetch "$url" -u "$user"; done
  check "an account's answers are for it alone" [ $(($(requests) - before)) = 3 ]
  check "and who has none gets none" said 'HTTP/1.1 401'
  fetch /d/quotes.csv?s=GOOG\&f=s --interface 127.0.0.2
  check "who is not on the list" isReset
  status=0
  curl -s -o out -w '%{time_total}' "http://localhost:$door/d/quotes.csv?s=GOOG&f=s" >time 2>err || status=$?
  check "who speaks no TLS where it is spoken" isReset
}

# X comes from a source, and is new for a second.
testOutage() {
  local prices='/table.csv?s=X&g=d' office
  printf 'Date,Open,High,Low,Close,Volume\n2008-10-14,1,2,1,2,5\n' >X.csv
  cp X.csv Y.csv
  feeds() {
    printf '{"store": "%s", "fresh": {"history": "1 s"}, "lineUp": {"history": ["it"%s]}, "feeds": {"it": %s' "$1" "${3:-}" "$2"
    printf ', "spare": {"command": ["cat", "{symbol}.csv"], "format": "csv", "date": "Date", "columns": {"Close": "Close"}}}}'
  }
  feeds store '{"recipe": "daily-csv", "command": ["cat", "{symbol}.csv"], "share": true, "pace": "99 per s"}' >feeds.json
  stopQuoteServer
  wantedPort=$serverPort startQuoteServer "$root/samples/data" --feeds feeds.json --verbose
  useHost "https://localhost:$door"
  get X
  check "rows of a source" brings 1,2,1,2
  fetch "$prices"
  check "how long they are good" said 'Cache-Control: max-age=1, stale-while-revalidate=30, stale-if-error=604'
  fetch '/v1/history.csv?ticker=X'
  office=$serverPid
  feeds branch "{\"recipe\": \"quoteserver\", \"url\": \"http://127.0.0.1:$((door + 4))/v1/{table}.csv?ticker={symbol}\"}" ', "spare"' >branch.json
  startQuoteServer "$root/samples/data" --feeds branch.json
  curl -s "http://127.0.0.1:$serverPort$prices" >out
  check "a quote server that asks the door" grep -q '<!-- source: it' out
  kill -KILL "$office"
  wait "$office" 2>err || true
  sleep 1
  curl -s "http://127.0.0.1:$serverPort/table.csv?s=Y" >out
  check "and another source when that one is away" grep -q '<!-- source: spare' out
  stopQuoteServer
  serverPort=$(sed -n 's/.*server 127.0.0.1:\([0-9]*\);/\1/p' nginx.conf)
  fetch "$prices"
  check "a copy, while there is nobody" said 'X-Cache: STALE'
  get X
  check "a workbook's copy" brings 1,2,1,2
  fetch '/v1/history.csv?ticker=X'
  check "a table's copy: none" said 'Retry-After: '
  fetch '/table.csv?s=Y'
  check "no copy: no page, but a reset" isReset
  wine cscript //nologo "$(windowsPath "$root/tests/data/fleet/all.vbs")" >out 2>err || true
  check "nor a form's: a failure for every source, also where replies are not strict" [ "$(grep -c ' 800C0008' out)" = 6 ]
  wantedPort=$serverPort startQuoteServer "$root/samples/data" --feeds feeds.json
  get Y
  check "there again" brings 1,2,1,2
}

for test in testSecure testMany testDoor testOutage; do $test; done

say "$checks checks, $failures failed"
[ $failures = 0 ]
