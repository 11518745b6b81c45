#!/usr/bin/env bash
# The built programs are as hardened as they are linked to be: tests/images.sh OBJDUMP PROGRAM...
set -euo pipefail
objdump=$1
failures=0
expect() { "${@:2}" || { printf '%s: %s\n' "$program" "$1"; failures=$((failures + 1)); }; }
says() { grep -aqE "$1" <<<"$headers"; }

for program in "${@:2}"; do
  headers=$("$objdump" -ph "$program")
  flags=0x$(awk '$1 == "DllCharacteristics" { print $2; exit }' <<<"$headers")
  expect "stays at one address" test $((flags & 0x40)) != 0
  expect "may run data" test $((flags & 0x100)) != 0
  if says 'pei-x86-64'; then
    expect "uses low addresses only" test $((flags & 0x20)) != 0
  fi
  # Without a table of relocations the flag alone would be an empty promise.
  expect "cannot be moved" says '^Entry 5 [0-9a-f]+ [0-9a-f]*[1-9a-f][0-9a-f]* Base Relocation'
  expect "lacks .text" says '\.text'
  text=$(grep -A1 '\.text' <<<"$headers")
  expect "runs what it can write" grep -q 'READONLY' <<<"$text"
  expect "does not guard its stack" grep -aq 'stack smashing detected' "$program"
  case $program in
    *.dll) ;;
    *) expect "Windows redirects its writes" \
      grep -aqs '"asInvoker"' "$program" "$program.manifest" ;;
  esac
done
[ $# -gt 1 ] && [ $failures = 0 ]
