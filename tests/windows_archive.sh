#!/usr/bin/env bash
# Usage: windows_archive.sh ARCHIVE
# Unpacks the archive for Windows, builds the example with its headers and import library, and runs
# that under Wine with its DLL against its simulated agent.
set -euo pipefail
archive=$(realpath "$1") project=$(realpath "$(dirname "$0")/..")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unzip -q "$archive" -d "$work"
cd "$work"/zwmgmt-*
for file in LICENSE README.md docs/policy.md bin/korvane_zwcli.ps1 licences/libssl-dev.txt; do
    [[ -s $file ]] || { echo "the archive has no $file" >&2 && exit 1; }
done
x86_64-w64-mingw32-g++-posix -std=c++20 -static -Iinclude examples/consumer/consumer.cpp \
    lib/libzwmgmt.dll.a -o bin/consumer.exe
said=$("$project/tests/run_consumer.sh" bin bin/consumer.exe "$project/scripts/wine")
grep -q 'eth4  4 ports' <<<"$said" || { echo "$said" >&2 && exit 1; }
echo "the archive for Windows: built with, and run"
