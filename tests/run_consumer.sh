#!/usr/bin/env bash
# Usage: run_consumer.sh BIN CONSUMER [EMULATOR]
# Runs the consumer example against a simulated agent that asks for a login.
set -euo pipefail
bin=$1 consumer=$2 emulator=("${@:3}")
suffix=
[[ $consumer != *.exe ]] || suffix=.exe
agent=$bin/korvane_zmsim$suffix front_end=$bin/korvane_zwcli$suffix

scratch=$(mktemp -d)
[[ ${#emulator[@]} -gt 0 ]] || export HOME=$scratch  # what the agent keeps for its user
echo secret >"$scratch/password"
mkfifo "$scratch/port"
"${emulator[@]}" "$agent" --user operator --password-file "$scratch/password" >"$scratch/port" &
trap 'kill -INT $!; wait; rm -rf "$scratch"' EXIT
read -r port <"$scratch/port"
port=${port%$'\r'}
key=$("${emulator[@]}" "$front_end" agents scan "127.0.0.1:$port" | cut -d' ' -f2 | tr -d '\r')
"${emulator[@]}" "$consumer" "$key" operator 127.0.0.1 "$port" <"$scratch/password"
if "${emulator[@]}" "$consumer" "${key/%?????/ABCDE}" operator 127.0.0.1 "$port" 2>/dev/null; then
    echo "an agent with another key was talked to"
    exit 1
fi
