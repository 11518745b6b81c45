#!/usr/bin/env bash
# Installs, repairs, upgrades and removes the library with the setup programs as a user does, and compares
# registry and disk with before; then uses the portable archive where nothing is registered:
#
#   tests/package/run.sh
#
# It needs a built tree and makes the packages itself. The installations for oneself and for all users
# run at the same time, each in a Wine prefix of its own: 64-bit Windows with both bitnesses. Wine finds
# classes of one user nowhere, so programs run after the installation for all users; the one for
# oneself is judged by its registry entries.
set -euo pipefail
part=${1:-} packages=${2:-}  # of its own runs
VTDL_BITS=64
VTDL_WINEPREFIX=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/build/wine-package-$part
. "$(dirname "${BASH_SOURCE[0]}")/../../script/common.sh"
scratch=$(mktemp -d)
if [ -z "$part" ]; then
  trap 'rm -rf "$scratch"' EXIT
  "$root/script/package" --output "$scratch" >/dev/null
  "$root/script/package" --output "$scratch/old" --version 4.0.9 >/dev/null
  (cd "$scratch" && sha256sum -c --status SHA256SUMS.txt)
  status=0
  "${BASH_SOURCE[0]}" user "$scratch" &
  "${BASH_SOURCE[0]}" machine "$scratch" || status=1
  wait $! || status=1
  exit $status
fi
failures=0 checks=0
# Whatever a program does, the run goes on and ends.
run() { timeout 120 wine "$@"; }

cleanUp() {
  local status=$?
  trap - EXIT
  [ $status = 0 ] || say "FAILED with status $status" >&2
  stopQuoteServer
  wineserver -k 2>/dev/null || true
  [ $status != 0 ] || rm -rf "$WINEPREFIX"  # it is large; a failed one is left to look at
  rm -rf "$scratch"
  exit $status
}
trap cleanUp EXIT

check() {
  checks=$((checks + 1))
  "${@:2}" && return
  failures=$((failures + 1))
  printf 'FAILED: %s\n' "$1" >&2
}

# What Wine and its components write into the registry as they run: a component that registers itself
# on its first use, devices that are found, Explorer's and WinINet's own notes.
ofWine='Software\\\\Classes\\\\Typelib\\\\\{3F4DACA7-160D-11D2-A8E9-00104B365C9F\}
Software\\\\Microsoft\\\\Windows\\\\CurrentVersion\\\\(Explorer|Internet Settings)
Software\\\\Microsoft\\\\Windows NT\\\\CurrentVersion\\\\NetworkCards
System\\\\CurrentControlSet\\\\(Control|Enum|Hardware)'

# The registry, a line a key or value, sorted. Changes of a key's time are none of its content.
registry() {
  wineserver -w
  local hive
  for hive in system user; do
    sed -E '/^#/d; /^WINE REGISTRY/d; s/^(\[[^]]*\]) [0-9]+$/\1/' "$WINEPREFIX/$hive.reg" |
      awk -v hive=$hive '/^\[/ { key = $0 } NF { print hive " " key " " $0 }'
  done | grep -vE "^(system|user) \[($(paste -sd '|' <<<"$ofWine"))" | LC_ALL=C sort
}

# The disk without WinINet's cache, and the copies of uninstallers, which the system is told to delete
# when it starts again.
disk() {
  (cd "$WINEPREFIX/drive_c" && find . -path ./windows -prune -o -print |
    grep -vE '^\./users/[^/]+/(Temp/~nsu|AppData/Local/(Temp/~nsu|Microsoft/Windows/INetC))' |
    LC_ALL=C sort)
}
remember() { registry >"$scratch/registry.$1"; disk >"$scratch/disk.$1"; }
same() { diff "$scratch/$1.before" "$scratch/$1.$2" >&2; }
asBefore() {
  remember "$1"
  check "the registry is as before" same registry "$1"
  check "the disk is as before" same disk "$1"
}

# has HIVE KEY BITS: a key of the registry.
has() { run reg query "$1\\$2" "/reg:$3" >/dev/null 2>&1; }
lacks() { ! "$@"; }
uninstallKey='Software\Microsoft\Windows\CurrentVersion\Uninstall\VestoraDownloadLibrary'
machineVersion() { run reg query "HKLM\\$uninstallKey" /v DisplayVersion /reg:64 | tr -d '\r' | grep -oE '[0-9.]+$'; }

# An uninstaller copies itself and returns at once; where its files are, it waits.
uninstall() {
  run "$1\\uninstall.exe" /S "${@:2}" || return
  local try
  for try in $(seq 100); do
    [ -e "$(unixPath "$1")/uninstall.exe" ] || { timeout 60 wineserver -w; return; }
    sleep 0.1
  done
  return 1
}
unixPath() { local path=${1#?:}; printf '%s/drive_c%s' "$WINEPREFIX" "${path//\\//}"; }

setup=VTDL-$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$root/build/win64/CMakeCache.txt")-setup.exe
machineFolder='C:\Program Files\Vestora\VTDL'
ask=(get YAHOOHIST TICKER=AAPL STARTDATE=2008-10-10 ENDDATE=2008-10-14 --format csv)
manager='Software\Classes\vtdl.CManager'

# Both programs of a folder download from the quote server.
downloads() {
  local bits
  for bits in x86 x64; do
    run "$1\\$bits\\vtdl.exe" "${ask[@]}" >"$scratch/out.$bits" 2>"$scratch/err.$bits" || {
      cat "$scratch/err.$bits" >&2
      return 1
    }
    grep -q '^2008-10-14,116.26,' "$scratch/out.$bits" || { cat "$scratch/out.$bits" >&2; return 1; }
  done
}

settings() { printf '%s\n' "$WINEPREFIX"/drive_c/users/*/AppData/Local/Vestora/VTDL/VTDL33.Settings.xml; }
strictIs() { grep -qF "<key name=\"strict\">$1</key>" "$(settings)"; }

# What the log of the quote server says since it was last read. It is another one's port if somebody
# runs a server on this machine.
startsByItself() {
  local try log=$1/quoteserver.log
  for try in $(seq 100); do
    [ -s "$log" ] && break
    sleep 0.1
  done
  grep -qE '^quoteserver: (serving .*feeds\.json on|cannot listen on .*: the port is in use)' "$log" && rm "$log"
}

# The server of an installation, which a setup ends, and the user's file, which it does not touch.
testLiving() {
  local folder=$1 data
  data=$(dirname "$(settings)")
  check "the file of feeds is there" [ -f "$data/feeds.json" ]
  check "installing again starts the server" run "$packages/$setup" /S /LIVING=1
  local server=$folder\\x64\\quoteserver.exe
  check "it begins" startsByItself "$data"
  check "the file of feeds has no mistake" run "$server" --check "$(windowsPath "$data/feeds.json")" >/dev/null
  run wineboot
  check "and begins at log-on" startsByItself "$data"
  echo '// mine' >>"$data/feeds.json"
  local other jobs=()
  other=$(windowsPath "$root/build/win64/quoteserver.exe")
  for server in "$server" "$other"; do
    run "$server" --port 0 --data "$folder\\samples\\data" >"$scratch/server" 2>&1 &
    jobs+=($!)
    until [ -s "$scratch/server" ] || ! kill -0 "${jobs[-1]}"; do sleep 0.1; done
  done
  check "installing again replaces a program that runs" run "$packages/$setup" /S
  check "it was ended" wait "${jobs[0]}"
  check "another one was not" kill -0 "${jobs[1]}"
  run "$other" --stop
  check "the start at log-on stays" startsByItself "$data"
  check "the user's file stays" grep -q '^// mine$' "$data/feeds.json"
  check "without the choice nothing starts" run "$packages/$setup" /S /LIVING=0
  check "nor at log-on" [ -z "$(find "$WINEPREFIX/drive_c/users" -name '*quote server.lnk' -path '*Startup*')" ]
  check "installing with it again" run "$packages/$setup" /S /LIVING=1
  check "it begins" startsByItself "$data"
}

testUserInstallation() {
  local folder key
  check "the setup installs for oneself" run "$packages/$setup" /S
  wineserver -w
  folder=$(find "$WINEPREFIX/drive_c/users" -path '*Programs/Vestora/VTDL' -printf '%P\n')
  folder='C:\users\'${folder//\//\\}
  check "the classes are the user's, 32-bit" has HKCU "$manager" 32
  for key in "$manager" "$uninstallKey" 'Software\Vestora\VTDL'; do
    check "the user has $key" has HKCU "$key" 64
  done
  check "no classes are the machine's" lacks has HKLM "$manager" 64
  check "replies are strict" strictIs 1
  check "the samples are there" [ -f "$(unixPath "$folder")/samples/data/AAPL.csv" ]
  remember installed
  check "the comparison sees the classes" lacks same registry installed 2>/dev/null
  check "the comparison sees the files" lacks same disk installed 2>/dev/null
  testLiving "$folder"
  check "it is removed, and what it set" uninstall "$folder" /PURGE
  asBefore user
}

testMachineInstallation() {
  check "an older version installs for all users" run "$packages/old/VTDL-4.0.9-setup.exe" /S /ALLUSERS /STRICT=0
  check "it says so" [ "$(machineVersion)" = 4.0.9 ]
  check "it works" downloads "$machineFolder"
  echo stale >"$(unixPath "$machineFolder")/x86/stale.txt"
  check "the new version installs over it" run "$packages/$setup" /S /ALLUSERS
  check "the settings file is left alone" strictIs 0
  check "it says so too" [ "$(machineVersion)" = "$(cut -d- -f2 <<<"$setup")" ]
  check "it works too" downloads "$machineFolder"
  check "a file of somebody else stays" rm "$(unixPath "$machineFolder")/x86/stale.txt"
}

# An installation of other bitness lives when one is unregistered; installing again repairs.
testRepair() {
  run 'C:\windows\system32\regsvr32.exe' /s /u "$machineFolder\\x64\\VTDL33.dll"
  check "the 64-bit class is gone" lacks run "$machineFolder\\x64\\vtdl.exe" sources >/dev/null 2>&1
  check "the 32-bit library still works" run "$machineFolder\\x86\\vtdl.exe" sources >/dev/null
  check "what both share stays" has HKLM "$manager" 64
  rm "$(unixPath "$machineFolder")/x64/VTDL33.dll"
  check "installing again succeeds" run "$packages/$setup" /S /ALLUSERS
  check "and repairs" downloads "$machineFolder"
}

testInUse() {
  stopQuoteServer
  startQuoteServer "$root/samples/data"
  kill -STOP "$serverPid"
  makeDataFolder "$scratch/data" "$serverPort"
  run "$machineFolder\\x86\\vtdl.exe" "${ask[@]}" >/dev/null 2>&1 &
  local host=$! status=0
  sleep 3
  run "$packages/$setup" /S /ALLUSERS || status=$?
  check "a library in use stops the setup" [ $status = 5 ]
  kill -CONT "$serverPid"
  wait $host || true
  check "and is left as it was" downloads "$machineFolder"
}

testRemoval() {
  local data=$1 bits
  for bits in x86 x64; do
    rm -rf "$data"
    (unset VTDL_DATA && run "$machineFolder\\$bits\\vtdl.exe" sources >/dev/null)
    check "settings go where the installation says, $bits" [ -f "$data/VTDL33.Settings.xml" ]
  done
  echo '// mine' >"$data/feeds.json"
  check "it is removed for all users" uninstall "$machineFolder" /ALLUSERS
  check "the settings are kept" [ -f "$data/VTDL33.Settings.xml" ]
  check "so is the user's file of feeds" grep -q '^// mine$' "$data/feeds.json"
  check "installed once more" run "$packages/$setup" /S /ALLUSERS
  check "removed with everything" uninstall "$machineFolder" /ALLUSERS /PURGE
  asBefore machine
}

testPortable() {
  local folder=$WINEPREFIX/drive_c/portable
  mkdir "$folder"
  (cd "$folder" && cmake -E tar xf "$packages/${setup%setup.exe}portable.zip")
  folder='C:\portable\'${setup%setup.exe}portable
  check "the portable programs work" downloads "$folder"
  local bits
  for bits in x86 x64; do
    check "the sample host works, $bits" grep -q '^[1-9][0-9]* data sources' \
      <(run "$folder\\$bits\\host.exe" | tr -d '\r')
    check "the doctor knows this form, $bits" grep -q '^note  portable: .*VTDL33.dll is used' \
      <(run "$folder\\$bits\\vtdl.exe" doctor | tr -d '\r')
  done
  rm -rf "$WINEPREFIX/drive_c/portable"
  asBefore portable
}

rm -rf "$WINEPREFIX"
ensurePrefix
# These keys are there on Windows.
run reg add 'HKCU\Software\Classes' /f >/dev/null
run reg add 'HKCU\Software\Microsoft\Windows\CurrentVersion\Uninstall' /f >/dev/null
cd "$scratch"
remember before
startQuoteServer "$root/samples/data"
makeDataFolder "$scratch/data" "$serverPort"

if [ "$part" = user ]; then
  testUserInstallation
else
  testMachineInstallation
  testRepair
  testInUse
  user=$(find "$WINEPREFIX/drive_c/users" -mindepth 1 -maxdepth 1 ! -name Public)
  testRemoval "$user/AppData/Local/Vestora/VTDL"
  testPortable
fi

[ $failures = 0 ] || { say "$part: $failures of $checks checks failed" >&2; exit 1; }
say "$part: $checks checks passed"
