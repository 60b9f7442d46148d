#!/usr/bin/env python3
"""Usage: machine.py BIN: the agent in an emulated machine, on the drivers of real adapters."""

import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest

from agent_under_test import BesideTheKernelsTools, cases, lines

BIN = pathlib.Path(sys.argv.pop(1)).resolve()
SOURCE = pathlib.Path(__file__).resolve().parent.parent
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache",
                     "zwmgmt/machine")
PATIENCE = 240  # seconds; nothing takes as long, but on a machine that is busy with other things
VIRTIO, E1000E, VMXNET3 = "eth0", "eth1", "eth2"
IDS = {VIRTIO: (0x1AF4, 0x1000), E1000E: (0x8086, 0x10D3), VMXNET3: (0x15AD, 0x07B0)}

QEMU = """qemu-system-x86_64 -nodefaults -no-user-config -no-reboot -display none
    -machine q35,accel=tcg -m 512 -kernel {cache}/vmlinuz -initrd {folder}/image
    -serial file:{folder}/console -qmp stdio -device virtio-rng-pci
    -chardev socket,id=channel,path={folder}/channel
    -device virtio-serial-pci -device virtserialport,chardev=channel
    -netdev user,id=outside,restrict=on,hostfwd=tcp:127.0.0.1:0-:35001
    -device virtio-net-pci,netdev=outside
    -netdev hubport,id=one,hubid=1 -device e1000e,netdev=one
    -netdev hubport,id=other,hubid=1 -device vmxnet3,netdev=other"""


class Machine:
    """Three adapters: one that the client comes by, and two on one cable."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        (self.folder / "password").write_text("right\n")
        (self.folder / "password").chmod(0o600)
        subprocess.run([SOURCE / "scripts/machine_image", BIN, self.folder / "image"], check=True)
        words = QEMU.format(folder=folder, cache=CACHE).split()
        words += ["-append", "console=ttyS0 loglevel=5 panic=-1 net.ifnames=0"]
        with socket.socket(socket.AF_UNIX) as listener:
            listener.settimeout(60)
            listener.bind(f"{folder}/channel")
            listener.listen()
            self.process = subprocess.Popen(  # gone with the test, whatever that ends by
                ["setpriv", "--pdeathsig", "KILL", *words], stdin=subprocess.PIPE,
                stdout=subprocess.PIPE, text=True)
            self.channel, _ = listener.accept()
        self.channel.settimeout(PATIENCE)
        self.replies = self.channel.makefile("rb")

    def wait(self):
        """Until the agent listens; its port is then one of the host's."""
        self.run("until netstat -ltn | grep -q :35001; do sleep 0.1; done")
        print('{"execute": "qmp_capabilities"} {"execute": "human-monitor-command", "arguments":'
              '{"command-line": "info usernet"}}', file=self.process.stdin, flush=True)
        told = "".join(self.process.stdout.readline() for _ in range(3))
        self.port = re.search(r"HOST_FORWARD\]\s+\d+\s+127\.0\.0\.1\s+(\d+)", told)[1]

    def run(self, command):
        """What a command prints in the machine."""
        self.channel.sendall(command.encode() + b"\n")
        status, size = (int(word) for word in self.replies.readline().split())
        printed = self.replies.read(size).decode()
        assert status == 0, f"{command}: {printed}"
        return printed

    def ask(self, words):
        """The agent's reply: its status and its records."""
        told = subprocess.run(
            [BIN / "korvane_zwcli", "--port", self.port, "--verify", "off", "--user", "alice",
             "--password-file", self.folder / "password", "--format", "json", *words.split()],
            capture_output=True, text=True, timeout=PATIENCE,
            env={**os.environ, "HOME": str(self.folder)})
        assert told.stdout and told.returncode <= 1, told.stderr
        return json.loads(told.stdout)


def wait_for_link(name):
    """Drivers take it down for many a change."""
    machine.run(f"timeout {PATIENCE} sh -c 'until grep -q 1 /sys/class/net/{name}/carrier; "
                "do sleep 0.1; done'")


def wait_for_change():
    """One of the path that the client comes by follows its answer; the last line of the log."""
    return machine.run("while tail -n 1 /audit.log | grep -q 'follows the answer'; "
                       "do sleep 0.1; done; tail -n 1 /audit.log")


class Adapters(BesideTheKernelsTools, unittest.TestCase):
    maxDiff = None

    def ask(self, words):
        return machine.ask(words)

    def tell(self, command):
        return machine.run(command)

    def cards(self):
        cards = machine.ask("korvane listadapterprops")["result"]
        return {card["card_name"]: card for card in cards}

    def setUp(self):
        self.at = {name: card["pci_bus_location"] for name, card in self.cards().items()}

    def test_adapters_are_told_as_by_the_kernel(self):
        cards = self.cards()
        self.assertEqual(set(cards), set(IDS))
        for name, card in cards.items():
            driver = lines(machine.run(f"ethtool -i {name}"))
            versions = filter(None, [driver["version"], driver["firmware-version"]])
            facts = machine.run(f"cd /sys/bus/pci/devices/{driver['bus-info']} && cat class irq")
            expected = {"pci_bus_location": driver["bus-info"], "port_count": 1,
                        "driver_firmware_version": " fw ".join(versions)}
            keys = ("vendor_id", "device_id", "device_class", "interrupt_request")
            expected |= zip(keys, (*IDS[name], *(int(fact, 0) for fact in facts.split())))
            self.assertEqual({key: card[key] for key in expected}, expected)

    def test_ports_are_told_as_by_ethtool(self):
        for name in IDS:
            with self.subTest(name=name):
                wait_for_link(name)
                self.expect_as_told_by_oracle(name, self.at[name])

    def test_properties_are_set_or_all_stays(self):
        for name, words, outcome in cases("cases/machine_properties"):
            with self.subTest(name=name, words=words):
                wait_for_link(name)
                before = self.oracle(name)
                location = self.at[name]
                reply = machine.ask(f"korvane setportproperty pci={location} port=0 {words}")
                log = wait_for_change()
                wait_for_link(name)
                told = self.expect_as_told_by_oracle(name, self.at[name])
                if outcome[0] == "!":
                    self.assertEqual(reply["status"], 6)
                    self.assertIn(f'reason="{name}: {outcome[2:]}"\n', log)
                    self.assertEqual(told, before)
                else:
                    self.assertEqual(reply["status"], 0, log)
                    expected = dict(word.split("=") for word in outcome.split())
                    self.assertEqual({key: told[key] for key in expected}, expected)

    def test_counters_are_the_drivers(self):
        for name in IDS:
            before = machine.run(f"ethtool -S {name}").splitlines()[1:]
            told = machine.ask(f"korvane getportstats pci={self.at[name]} port=0")["result"]
            after = machine.run(f"ethtool -S {name}").splitlines()[1:]
            own = [counter for counter in told if counter["kind"] == 1]
            self.assertEqual(len(own), len(before))
            for counter, least, most in zip(own, before, after):
                key, _, least = least.rpartition(":")
                self.assertEqual(counter["name"].strip(), key.strip()[:30].strip())
                self.assertLessEqual(int(least or 0), counter["value"], key)
                self.assertLessEqual(counter["value"], int(most.rpartition(":")[2] or 0), key)
            self.assertTrue(any(counter["value"] > 0 for counter in own))

    def test_drivers_go_and_come(self):
        steps = [  # command, driver, status, whether the adapter is there then
            ("unload", "vmxnet3", 0, False),
            ("unload", "vmxnet3", 67, False),
            ("load", "vmxnet3", 0, True),
            ("load", "vmxnet3", 304, True),
            ("reload", "vmxnet3", 0, True),
            ("unload", "net_failover", 413, True),
            ("reload", "net_failover", 413, True),
            ("unload", "e1000e", 301, True),
            ("load", "no-such-module", 310, True),
        ]
        expected = {"e1000e": True, "net_failover": True, "no_such_module": False,
                    "virtio_net": True}
        for command, driver, status, there in steps:
            with self.subTest(command=command, driver=driver):
                reply = machine.ask(f"system {command}driver drvname={driver}")
                self.assertEqual(reply["status"], status, machine.run("tail -n 1 /audit.log"))
                self.assertEqual(VMXNET3 in self.cards(), there)
                self.assertEqual(VMXNET3 in machine.run("ls /sys/class/net"), there)
                drivers = machine.ask("system listdrivers")["result"]
                self.assertEqual({row["name"]: row["loaded"] for row in drivers},
                                 expected | {"vmxnet3": there})
        machine.run(f"ip link set {VMXNET3} up")

    def test_the_own_driver_goes_when_the_answer_has_gone_out(self):
        reply = machine.ask("system reloaddriver drvname=virtio_net")
        self.assertEqual(reply["status"], 0)
        self.assertIn('text="virtio_net" status=0', wait_for_change())
        machine.run(f"ip link set {VIRTIO} up; ip address add 10.0.2.15/24 dev {VIRTIO}")
        wait_for_link(VIRTIO)
        self.assertIn(VIRTIO, self.cards())


class Filters(unittest.TestCase):
    """Rules of the adapter on the cable's one end."""

    def setUp(self):
        for card in machine.ask("korvane listadapterprops")["result"]:
            if card["card_name"] == E1000E:
                self.at = card["pci_bus_location"]
        self.clear()

    def clear(self):
        machine.run(f"/usr/sbin/tc qdisc delete dev {E1000E} clsact 2>&1 || true")

    def ask(self, command, words="", status=0):
        target = f"ifname={E1000E}" if "x3" in command else f"pci={self.at}"
        reply = machine.ask(f"filter {command} {target} {words}")
        self.assertEqual(reply["status"], status, machine.run("tail -n 1 /audit.log"))
        return reply["result"]

    def told(self, own=True):
        """The filters as tc tells them, without their actions' numbers and times."""
        filters = []
        for told in json.loads(machine.run(f"/usr/sbin/tc -s -j filter show dev {E1000E} ingress")):
            [action] = told.get("options", {}).get("actions", [{}])
            marked = bytes.fromhex(action.get("cookie", "")).startswith(b"korvane-zmagent")
            if action and marked == own:
                keys = " ".join(f"{key}={value}".replace(" ", "")
                                for key, value in told["options"]["keys"].items())
                does = action["control_action"]["type"]
                filters.append((told["pref"], f"{told['protocol']} {does} {keys}".strip(),
                                action["stats"]["drops"]))
        return filters

    def test_rules_are_filters_as_tc_tells_them(self):
        for words, expected in cases("cases/traffic_filters"):
            with self.subTest(words=words):
                self.clear()
                if expected[0] == "!":
                    self.ask("add", f"id=8 {words}", 6)
                    self.assertIn(f'reason="{expected[2:]}"', machine.run("tail -n 1 /audit.log"))
                    self.assertEqual(self.told(), [])
                    continue
                self.ask("add", f"id=8 {words}")
                self.assertEqual(self.told(), [(0xD008, expected, 0)])
                self.ask("modify", "id=8 smac=001122334455")
                self.assertIn(" src_mac=00:11:22:33:44:55", self.told()[0][1] + " ")
                self.ask("delete", "id=8")
                self.assertEqual(self.told(), [])

    def test_filters_of_others_stay(self):
        add = f"/usr/sbin/tc filter add dev {E1000E} ingress"
        machine.run(f"/usr/sbin/tc qdisc replace dev {E1000E} clsact; {add} pref 10 protocol ip "
                    f"flower ip_proto udp action drop; {add} pref {0xD001} protocol all flower "
                    f"action pass; {add} pref {0xD002} chain 1 flower action drop")
        others = self.told(own=False)
        self.assertEqual(len(others), 3)
        self.ask("list", "show=all", 264)
        for command, words, status in [
                ("add", "id=1 protocol=6", 259), ("delete", "id=1", 259), ("modify", "id=2", 259),
                ("add", "protocol=6 lport=80 x4action=drop", 0), ("add", "id=2 protocol=6", 259),
                ("add", "id=4096 protocol=6", 259), ("add", "id=4095 protocol=6", 0),
                ("add", "fip=fe80::1", 0), ("add", "id=7 protocol=6", 259),
                ("addx3", "sip=10.1.0.0/16 dport=80 proto=tcp vlanid=5 prio=2", 0),
                ("addx3", "sip=10.1.0.0/0 action=drop", 0), ("modifyx3", "id=2 proto=frag", 0),
                ("modify", "id=2 lport=81", 0), ("modify", "id=2 lport=82:0xff", 0),
                ("modify", "id=2 vlan=5", 0), ("modify", "id=2 fip=fe80::1", 6),
                ("modify", "id=4095 x4action=drop", 0), ("deletex3", "id=7", 259)]:
            self.ask(command, words, status)
        expected = [
            (0xD002, "802.1Q drop vlan_id=5 vlan_ethtype=ip eth_type=ipv4 ip_proto=tcp "
                     "dst_port=82 dst_port_mask=ff", 0),
            (0xD004, "ipv6 pass eth_type=ipv6 src_ip=fe80::1", 0),
            (0xDFFF, "ip drop eth_type=ipv4 ip_proto=tcp", 0),
            (0xE001, "802.1Q pass vlan_id=5 vlan_prio=2 vlan_ethtype=ip eth_type=ipv4 ip_proto=tcp "
                     "src_ip=10.1.0.0/16 dst_port=80", 0),
            (0xE002, "ip drop eth_type=ipv4 ip_flags={'frag':True}", 0)]
        self.assertEqual(self.told(), expected)
        rules, x3 = self.ask("list", "show=all"), machine.ask("filter listx3")["result"]
        machine.run("killall korvane_zmagent; while pidof korvane_zmagent; do sleep 0.1; done; "
                    "korvane_zmagent >/dev/ttyS0 2>&1 &")
        machine.run("until netstat -ltn | grep -q :35001; do sleep 0.1; done")
        self.assertEqual(self.ask("list", "show=all"), rules)
        self.assertEqual(machine.ask("filter listx3")["result"], x3)
        for rule in rules:
            self.ask("delete", f"id={rule['id']}")
        for rule in x3:
            self.ask("deletex3", f"id={rule['id']}")
        self.assertEqual(self.told(), [])
        self.assertEqual(self.told(own=False), others)

    def test_packets_pass_or_do_not(self):
        def passes(words):
            return machine.run(f"{inside} {words} >/dev/null 2>&1 </dev/null; echo $?") == "0\n"

        inside = "/usr/bin/ip netns exec peer"
        ping, connect = "ping -c 1 -W 1 10.9.0.1", "nc -w 2 10.9.0.1 35001"
        machine.run(f"/usr/bin/ip netns add peer && /usr/bin/ip link set {VMXNET3} netns peer && "
                    f"{inside} /usr/bin/ip address add 10.9.0.2/24 dev {VMXNET3} && "
                    f"{inside} /usr/bin/ip link set {VMXNET3} up && "
                    f"/usr/bin/ip address add 10.9.0.1/24 dev {E1000E}")
        try:
            wait_for_link(E1000E)
            machine.run(f"timeout {PATIENCE} sh -c 'until {inside} {ping}; do true; done'")
            for command, words, ping_passes, connection_passes in [
                    ("add", "id=8 lip=10.9.0.1 protocol=6 lport=35001 x4action=drop", True, False),
                    ("modify", "id=8 lport=35002", True, True),
                    ("modify", "id=8 lport=35001:0xff00", True, False),
                    ("add", "id=9 fip=10.9.0.0/24 x4action=drop", False, False),
                    ("add", "id=2 fip=10.9.0.2 protocol=6 x4action=pass", False, True),
                    ("add", "id=1 smac=525400123458 x4action=drop", False, False),
                    ("modify", "id=1 smac=525400123459", False, True),
                    ("delete", "id=9", True, True),
                    ("addx3", "id=1 sip=10.9.0.2 proto=any action=drop", False, True),
                    ("deletex3", "id=1", True, True)]:
                self.ask(command, words)
                with self.subTest(words=words):
                    self.assertEqual((passes(ping), passes(connect)),
                                     (ping_passes, connection_passes))
        finally:
            machine.run(f"{inside} /usr/bin/ip link set {VMXNET3} netns 1; "
                        f"/usr/bin/ip netns delete peer; /usr/bin/ip link set {VMXNET3} up")


if shutil.which("qemu-system-x86_64") is None or not (CACHE / "made_from").exists():
    print("left out: needs what scripts/setup --machine installs and unpacks")
    sys.exit(77)
with tempfile.TemporaryDirectory() as scratch:
    machine, succeeded = Machine(scratch), False
    try:
        machine.wait()
        succeeded = unittest.main(verbosity=2, exit=False).result.wasSuccessful()
    finally:
        machine.process.kill()
        machine.process.wait()
        if not succeeded:
            print((machine.folder / "console").read_text(), file=sys.stderr)
sys.exit(not succeeded)
