#!/usr/bin/env bash
# Usage: benchmarks/fan_out.sh [HOSTS]
# One command at many simulated agents, one process on many addresses of the loopback: the CPU time
# of a host against a bare OpenSSL loop that exchanges the same messages, and against a process a
# host under xargs; with 20 ms before each reply the time against that of one host.
set -euo pipefail
cd "$(dirname "$0")/.."
count=${1:-1000}
fanout=64
bin=build/release/bin
scratch=$(mktemp -d)
agents=()
trap 'kill "${agents[@]}"; rm -rf "$scratch"' EXIT

start_agent() {
    mkfifo "$scratch/port$1"
    HOME=$scratch "$bin/korvane_zmsim" --listen 0.0.0.0 --delay "$1" >"$scratch/port$1" &
    agents+=($!)
    read -r "port$1" <"$scratch/port$1"
}
# User and system time of a command, and the time that passed, in milliseconds.
measure() {
    local TIMEFORMAT='%U %S %R'
    { time "$@" >"$scratch/out" 2>"$scratch/err" </dev/null; } 2>&1 |
        awk '{ printf "%d %d\n", 1000 * ($1 + $2), 1000 * $3 }'
}
hosts() { for ((i = 0; i < count; i++)); do echo "127.0.$((i / 250 + 1)).$((i % 250 + 1)):$1"; done; }
zwcli() { "$bin/korvane_zwcli" --verify off "$@"; }
ask_many() { zwcli --hosts @"$scratch/hosts$1" --fanout $fanout korvane listadapterprops; }
ask_one() { zwcli --host "127.0.1.1:$1" korvane listadapterprops; }
each_alone() {
    xargs -P $fanout -I{} "$bin/korvane_zwcli" --verify off --host {} korvane listadapterprops \
        <"$scratch/hosts$1"
}
bare() { build/release/bin/zwmgmt_bare_sessions "$1" "$count"; }

start_agent 0
start_agent 20
hosts "$port0" >"$scratch/hosts$port0"
hosts "$port20" >"$scratch/hosts$port20"
ask_many "$port0" >/dev/null 2>&1
read -r ours ours_wall < <(measure ask_many "$port0")
answers=$(grep -c "Vendor ID" "$scratch/out")
read -r floor _ < <(measure bare "$port0")
read -r processes _ < <(measure each_alone "$port0")
read -r _ one < <(measure ask_one "$port20")
read -r _ slow < <(measure ask_many "$port20")
awk -v n="$count" -v f=$fanout -v ours="$ours" -v floor="$floor" -v processes="$processes" \
    -v one="$one" -v slow="$slow" -v wall="$ours_wall" -v answers="$answers" 'BEGIN {
    printf "%d hosts, %d at once, %d adapters listed in %d ms\n", n, f, answers, wall
    printf "CPU a host: ours %.2f ms, bare OpenSSL %.2f ms, a process each %.2f ms\n",
           ours / n, floor / n, processes / n
    printf "ratio to bare %.2f, to processes %.2f\n", ours / floor, ours / processes
    printf "20 ms a reply: %d ms, of one host %d ms; ratio to hosts/fan-out of these %.2f\n",
           slow, one, slow / (one * n / f)
}'
