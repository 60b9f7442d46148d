#!/usr/bin/env bash
# Usage: run_consumer.sh CERTIFICATES AGENT CONSUMER [EMULATOR]
# Runs the consumer example against a simulated agent that asks for a login.
set -euo pipefail
certificates=$1 agent=$2 consumer=$3 emulator=("${@:4}")

scratch=$(mktemp -d)
[[ ${#emulator[@]} -gt 0 ]] || export HOME=$scratch  # what the agent keeps for its user
echo secret >"$scratch/password"
mkfifo "$scratch/port"
"${emulator[@]}" "$agent" --user operator --password-file "$scratch/password" >"$scratch/port" &
trap 'kill -INT $!; wait; rm -rf "$scratch"' EXIT
read -r port <"$scratch/port"
"${emulator[@]}" "$consumer" "$certificates" operator 127.0.0.1 "${port%$'\r'}" <"$scratch/password"
