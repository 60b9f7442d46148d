#!/usr/bin/env bash
# Usage: systems_test.sh EMULATOR LINUX_PROGRAMS WINDOWS_PROGRAMS
# The front end of Linux with the simulated agent of Windows, and the other way round: each prints
# what the Linux front end prints of a Linux agent, in its system's line ends.
set -euo pipefail
emulator=$1
windows_cli=("$emulator" "$3/korvane_zwcli.exe") windows_sim=("$emulator" "$3/korvane_zmsim.exe")

scratch=$(mktemp -d)
linux_cli=$2/korvane_zwcli linux_sim=(env "HOME=$scratch" "$2/korvane_zmsim")
agents=()
trap 'kill -INT "${agents[@]}"; wait; rm -rf "$scratch"' EXIT
echo secret >"$scratch/password"
package=$scratch/Zürich-日本/KorvaneZwire-4.3.0.tar.gz
mkdir "$(dirname "$package")"
head -c 100000 /dev/urandom >"$package"

# Starts an agent and leaves its port in $port.
start() {
    mkfifo "$scratch/port"
    "$@" --os linux --user operator --password-file "$scratch/password" >"$scratch/port" &
    agents+=($!)
    read -r port <"$scratch/port"
    port=${port%$'\r'}
    rm "$scratch/port"
}

# Runs commands of every kind of exchange against the agent at $port: lists, blocks, changes, a file.
talk() {
    local command
    while read -ra command; do
        "$@" --verify off --port "$port" --user operator --password-file "$scratch/password" "${command[@]}" </dev/null
    done <<COMMANDS
korvane listadapterprops
korvane listports pci=0000:03:00.0
korvane setportproperty pci=0000:03:00.0 port=1 mtu=9000
korvane listports pci=0000:03:00.0
system listdrivers
system install type=nic,toe zwirepath=$package
filter addx3 ifname=eth2 id=5 sip=10.1.0.0/16 dport=80 proto=tcp action=drop
filter listx3
COMMANDS
}

start "${linux_sim[@]}"
talk "$linux_cli" >"$scratch/expected"
[[ $(grep -c "Command completed successfully" "$scratch/expected") -ge 2 ]]

start "${windows_sim[@]}"
talk "$linux_cli" >"$scratch/windows_agent"
diff "$scratch/expected" "$scratch/windows_agent"

start "${linux_sim[@]}"
talk "${windows_cli[@]}" >"$scratch/windows_front_end"
sed -i 's/\r$//' "$scratch/windows_front_end"
diff "$scratch/expected" "$scratch/windows_front_end"
echo "the systems agree on $(wc -l <"$scratch/expected") lines"
