# Sourced by the scripts of this folder: where things are, and what several of them do.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# The project's own Wine prefixes, one for 32-bit Windows and, with VTDL_BITS=64, one for 64-bit
# Windows, which also runs 32-bit programs; no other prefix is read or written.
PATH=${PATH//$root\/cmake\/wine64:/}  # of a caller that uses the other one
if [ "${VTDL_BITS:-32}" = 64 ]; then
  export WINEPREFIX=${VTDL_WINEPREFIX:-$root/build/wine64} WINEARCH=win64
  # The distribution's wine is the 32-bit one, which starts 64-bit programs by way of another that
  # takes no signals.
  PATH=$root/cmake/wine64:$PATH
else
  export WINEPREFIX=${VTDL_WINEPREFIX:-$root/build/wine} WINEARCH=win32
fi
# Nor does Wine put Start-menu entries into the menus of whoever runs it.
export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe=d' WINEDEBUG=${WINEDEBUG:--all}

# -h or --help: the comment at the head of the script that was started.
case ${1:-} in -h | --help) sed -n '/^#!/d; /^#/!q; s/^# \{0,1\}//p' "$0"; exit ;; esac

say() { printf '%s: %s\n' "$(basename "$0")" "$*"; }

# Makes the Wine prefix unless it is there; the lock keeps parallel builds from making it twice. Each is a
# copy of a new one, made once for each bitness, with links to Windows' own files: they are half a gigabyte
# for 32 bits and more than one for 64, and nobody writes to them.
ensurePrefix() {
  [ -d "$WINEPREFIX" ] && return
  mkdir -p "$(dirname "$WINEPREFIX")"
  (
    flock 9
    [ -d "$WINEPREFIX" ] && exit
    local new=$root/build/wine-new${VTDL_BITS:-32} made=$WINEPREFIX.part
    rm -rf "$made"
    if [ "$WINEPREFIX" = "$new" ]; then
      (WINEPREFIX=$made; makePrefix)
    else
      ensureNewPrefix
      mkdir -p "$made/drive_c"
      cp -r --link "$new/drive_c/windows" "$made/drive_c"
      cp -r --no-clobber "$new/." "$made"
    fi
    mv "$made" "$WINEPREFIX"
  ) 9>"$WINEPREFIX.lock"
}

ensureNewPrefix() (WINEPREFIX=$root/build/wine-new${VTDL_BITS:-32}; ensurePrefix)

makePrefix() {
  wineboot -i >/dev/null 2>&1
  # A program that crashes ends; nobody is there to close a window about it. Nor is there a window
  # manager, for which Wine would wait two seconds at every window that closes.
  wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f >/dev/null 2>&1
  wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1
  wineserver -w
}

# Wine's desktop has the display of the program that it was started for, or none, and outlives it by some
# seconds. Waits, not for ever, until one of another display is gone: DDE and dialogs need theirs.
awaitOwnDesktop() {
  [ -n "${DISPLAY:-}" ] || return 0
  local process
  for process in /proc/[0-9]*; do
    grep -qs 'explorer\.exe' "$process/cmdline" &&
      grep -qszxF "WINEPREFIX=$WINEPREFIX" "$process/environ" &&
      ! grep -qszxF "DISPLAY=$DISPLAY" "$process/environ" || continue
    timeout 20 wineserver -w || true
    return 0
  done
}

configurePreset() { [ -f "$root/build/$1/build.ninja" ] || (cd "$root" && cmake --preset "$1" >/dev/null); }

# Configures a preset on its first use, and builds it.
buildPreset() {
  configurePreset "$1"
  (cd "$root" && cmake --build --preset "$1" -- --quiet "${@:2}" | sed '/^ninja: no work to do/d')
}

# The Windows form of a Unix path, for programs under Wine.
windowsPath() { printf 'Z:%s' "${1//\//\\}"; }

# The tests have one that runs under the sanitizers.
quoteServer=${VTDL_QUOTESERVER:-$root/build/native/quoteserver}

# Starts the quote server, or windowsServer under Wine, on a free port or wantedPort: startQuoteServer FOLDER
# [OPTION]... Sets serverPid and serverPort; the caller ends it with stopQuoteServer.
startQuoteServer() {
  local log program=("$quoteServer")
  [ -z "${windowsServer:-}" ] || program=(wine "$windowsServer")
  log=$(mktemp)
  "${program[@]}" --port "${wantedPort:-0}" --data "$@" >"$log" 2>&1 &
  serverPid=$!
  local line=
  for _ in $(seq 100); do
    line=$(head -n 1 "$log" | tr -d '\r')
    [ -n "$line" ] && break
    kill -0 "$serverPid" 2>/dev/null || break
    sleep 0.05
  done
  serverPort=${line##*:}
  rm -f "$log"
  [ -n "$serverPort" ] || { say "the quote server did not start: $line" >&2; return 1; }
}

stopQuoteServer() {
  [ -n "${serverPid:-}" ] || return 0
  kill "$serverPid" 2>/dev/null || true
  wait "$serverPid" 2>/dev/null || true
  serverPid=
}

# Starts the sample DDE server: startDdeServer [OPTION]... It needs a display, the one of its clients. The
# caller ends it with stopDdeServer.
startDdeServer() {
  local log
  log=$(mktemp)
  wine "$root/build/win32/vtdldemo.exe" --data "$(windowsPath "$root/samples/data")" "$@" >"$log" 2>&1 &
  ddeServerPid=$!
  local line=
  for _ in $(seq 200); do
    line=$(head -n 1 "$log" | tr -d '\r')
    [ -n "$line" ] && break
    kill -0 "$ddeServerPid" 2>/dev/null || break
    sleep 0.05
  done
  rm -f "$log"
  case $line in *serving*) ;; *) say "the DDE server did not start: $line" >&2; return 1 ;; esac
}

stopDdeServer() {
  [ -n "${ddeServerPid:-}" ] || return 0
  kill -INT "$ddeServerPid" 2>/dev/null || true
  wait "$ddeServerPid" 2>/dev/null || true
  ddeServerPid=
}

# Makes a data folder whose settings file names the services' server and keeps errors to the log:
# makeDataFolder FOLDER PORT. Programs under Wine find it through VTDL_DATA.
makeDataFolder() {
  mkdir -p "$1"
  {
    printf '%s\r\n' '<?xml version="1.0"?>' '<sections name="XML settings file">' '<section name="hosts">'
    for service in yahoo.chart yahoo.quotes google.finance pcquote pifin cboe ino ivolatility \
      vestora; do
      printf '<key name="%s">127.0.0.1:%s</key>\r\n' "$service" "$2"
    done
    printf '%s\r\n' '</section>' '<section name="pcquote/parameters"><key name="user">demo</key>' \
      '<key name="password">demo</key></section>' '<section name="errorhandler"><key name="actions">2</key></section>' \
      '</sections>'
  } >"$1/VTDL33.Settings.xml"
  VTDL_DATA=$(windowsPath "$1")
  export VTDL_DATA
}

# Registers the library of a build folder in the Wine prefix: registerLibrary [FOLDER]. For all of its
# users, because Wine 8 looks up classes nowhere else.
registerLibrary() {
  ensurePrefix
  # The full path: a 32-bit Wine would start its own one in a 64-bit prefix.
  wine 'C:\windows\system32\regsvr32.exe' /s "$(windowsPath "${1:-$root/build/win${VTDL_BITS:-32}}/VTDL33.dll")" ||
    { say "the library could not be registered in $WINEPREFIX" >&2; return 1; }
}
