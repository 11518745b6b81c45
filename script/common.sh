# Sourced by the scripts of this folder: where things are, and what several of them do.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# The project's own Wine prefix; no other prefix is read or written.
export WINEPREFIX=${VTDL_WINEPREFIX:-$root/build/wine}
export WINEARCH=win32 WINEDLLOVERRIDES='mscoree=;mshtml=' WINEDEBUG=${WINEDEBUG:--all}

say() { printf '%s: %s\n' "$(basename "$0")" "$*"; }

# Makes the Wine prefix unless it is there; the lock keeps parallel builds from making it twice.
ensurePrefix() {
  [ -f "$WINEPREFIX/.ready" ] && return
  mkdir -p "$WINEPREFIX"
  (
    flock 9
    [ -f "$WINEPREFIX/.ready" ] && exit
    wineboot -i >/dev/null 2>&1
    wineserver -w
    touch "$WINEPREFIX/.ready"
  ) 9>"$WINEPREFIX.lock"
}

# Configures a preset on its first use, and builds it.
buildPreset() {
  [ -f "$root/build/$1/build.ninja" ] || (cd "$root" && cmake --preset "$1" >/dev/null)
  (cd "$root" && cmake --build --preset "$1" -- --quiet "${@:2}")
}
