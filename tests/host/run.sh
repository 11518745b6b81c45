#!/usr/bin/env bash
# Registers the library of a build folder in the project's Wine prefix and runs the host tests on it:
# run.sh BUILD_FOLDER
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/../../script/common.sh"
build=$(cd "$1" && pwd)

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

registerLibrary "$build"
makeDataFolder "$scratch/data" 1
VTDL_DLL=$(windowsPath "$build")\\VTDL33.dll
export VTDL_DLL
cd "$scratch"  # where error logs land
if [ "${VTDL_BITS:-32}" = 32 ]; then
  cp "$(i686-w64-mingw32-g++-posix -print-file-name=libgcc_s_dw2-1.dll)" \
    /usr/i686-w64-mingw32/lib/libwinpthread-1.dll .
fi

wine "$build/host_tests.exe" --gtest_brief=1
