#!/usr/bin/env bash
# Registers the library of a build folder in the project's Wine prefix and runs the host tests on it
# against a quote server of their own, a second time with a decimal comma: run.sh BUILD_FOLDER
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/../../script/common.sh"
build=$(cd "$1" && pwd)
international='HKCU\Control Panel\International'

scratch=$(mktemp -d)
cleanUp() {
  stopQuoteServer
  wine reg add "$international" /v sDecimal /d . /f >/dev/null 2>&1 || true
  rm -rf "$scratch"
}
trap cleanUp EXIT

registerLibrary "$build"
startQuoteServer "$root/samples/data"
VTDL_DLL=$(windowsPath "$build")\\VTDL33.dll
export VTDL_DLL
cd "$scratch"  # where error logs land
if [ "${VTDL_BITS:-32}" = 32 ]; then
  cp "$(i686-w64-mingw32-g++-posix -print-file-name=libgcc_s_dw2-1.dll)" \
    /usr/i686-w64-mingw32/lib/libwinpthread-1.dll .
fi

for separator in . ,; do
  echo "== host tests, decimal separator '$separator'"
  makeDataFolder "$scratch/data" "$serverPort"
  wine reg add "$international" /v sDecimal /d "$separator" /f >/dev/null 2>&1
  only='*'
  [ "$separator" = . ] || only='DownloadTest.*'
  VTDL_DECIMAL_SEPARATOR=$separator wine "$build/host_tests.exe" --gtest_brief=1 --gtest_filter="$only"
done
