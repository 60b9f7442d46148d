#!/usr/bin/env bash
# Usage: benchmarks/one_shot.sh [ROUNDS]
# A whole one-shot command over loopback (process start, connect, opening, capabilities, listing,
# logout) against OpenSSL's own s_client connecting to the same agent and closing; alternating in
# one run. Prints the medians and their ratio.
set -euo pipefail
cd "$(dirname "$0")/.."
rounds=${1:-100}
bin=build/release/bin
scratch=$(mktemp -d)
mkfifo "$scratch/port"
HOME=$scratch "$bin/korvane_zmsim" >"$scratch/port" &
agent=$!
trap 'kill $agent; rm -rf "$scratch"' EXIT
read -r port <"$scratch/port"

command_once() { "$bin/korvane_zwcli" --known-agents "$scratch/known_agents" --port "$port" korvane listadapterprops; }
# With the same trust store as ours: the default one takes longer to load than all the rest.
s_client_once() { openssl s_client -CAfile "$bin/certs/cert.pem" -no-CApath -no-CAstore -connect "127.0.0.1:$port" </dev/null; }

# Runs a function once and appends its microseconds to a file.
measure() {
    local begin=${EPOCHREALTIME/./}
    "$1" >/dev/null 2>&1
    echo $((${EPOCHREALTIME/./} - begin)) >>"$scratch/$1"
}
median() { sort -n "$scratch/$1" | sed -n "$((rounds / 2 + 1))p"; }

for ((i = 0; i < rounds; i++)); do
    measure command_once
    measure s_client_once
done
ours=$(median command_once)
floor=$(median s_client_once)
awk -v ours="$ours" -v floor="$floor" -v rounds="$rounds" 'BEGIN {
    printf "korvane_zwcli listadapterprops  %6.2f ms\n", ours / 1000
    printf "openssl s_client, connect+close %6.2f ms\n", floor / 1000
    printf "ratio %.2f (medians of %d rounds)\n", ours / floor, rounds
}'
