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


def lines(text, heading=""):
    """The "key: value" lines below a heading, with the lines that go on."""
    found, key = {}, ""
    for line in text[max(text.find(heading), 0):].splitlines():
        name, colon, value = (part.strip() for part in line.partition(":"))
        if colon and name in found:
            break  # of the next heading
        key = name if colon else key
        found[key] = f"{found.get(key, '')} {value if colon else name}".strip()
    return found


def plain(value):
    """Both sides' words for one thing, alike; what there is not, is empty."""
    text = re.sub(r" ?\[.*| ?mb/s$|^unknown!.*", "", str(value).lower().strip("[ ]"))
    if text.startswith("0x"):
        text = str(int(text.split()[0], 16))
    words = {"yes": "true", "on": "true", "auto": "true", "no": "false", "off": "false",
             "fixed": "false"}
    nothing = ("none", "not reported", "disabled", "d", "n/a", "0")
    return "" if text in nothing else words.get(text, text)


def cases(name):
    """The cells of tests/cases/NAME."""
    for line in (SOURCE / "tests/cases" / name).read_text().splitlines():
        if not line.startswith("#"):
            yield [cell.strip() for cell in line.split(" | ")]


def oracle(name):
    """The fields of a port as ethtool and ip tell them."""
    link = json.loads(machine.run(f"/usr/bin/ip -j link show {name}"))[0]
    fields, texts = {"name": name, "mtu": str(link["mtu"])}, {}
    for field, command, heading, key in cases("ethtool_fields"):
        if command not in texts:
            texts[command] = machine.run(f"{command} {name} 2>&1 || true")
        fields[field] = plain(lines(texts[command], heading).get(key, ""))
    return fields


def wait_for_link(name):
    """Drivers take it down for many a change."""
    machine.run(f"timeout {PATIENCE} sh -c 'until grep -q 1 /sys/class/net/{name}/carrier; "
                "do sleep 0.1; done'")


def wait_for_change():
    """One of the path that the client comes by follows its answer; the last line of the log."""
    return machine.run("while tail -n 1 /audit.log | grep -q 'follows the answer'; "
                       "do sleep 0.1; done; tail -n 1 /audit.log")


class Adapters(unittest.TestCase):
    maxDiff = None

    def cards(self):
        cards = machine.ask("korvane listadapterprops")["result"]
        return {card["card_name"]: card for card in cards}

    def setUp(self):
        self.at = {name: card["pci_bus_location"] for name, card in self.cards().items()}

    def expect_as_told_by_oracle(self, name):
        [port] = machine.ask(f"korvane listports pci={self.at[name]}")["result"]
        expected = oracle(name)
        self.assertEqual(port.pop("port_instance"), 0)
        for field, value in port.items():
            told = plain(value)
            if expected[field] or told not in ("false", "255"):  # which also say "unknown"
                self.assertEqual(told, expected[field], f"{name} {field}")
        return expected

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
                self.expect_as_told_by_oracle(name)

    def test_properties_are_set_or_all_stays(self):
        for name, words, outcome in cases("machine_properties"):
            with self.subTest(name=name, words=words):
                wait_for_link(name)
                before = oracle(name)
                location = self.at[name]
                reply = machine.ask(f"korvane setportproperty pci={location} port=0 {words}")
                log = wait_for_change()
                wait_for_link(name)
                told = self.expect_as_told_by_oracle(name)
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

    def test_the_network_half_is_caged(self):
        [file] = machine.run("grep -l '[-]-network-half' /proc/[0-9]*/cmdline").split()
        half = file.removesuffix("/cmdline")
        status = machine.run(f"cat {half}/status")
        for name, value in {"CapEff": "0" * 16, "CapBnd": "0" * 16, "NoNewPrivs": "1",
                            "Seccomp": "2", "Uid": "\t".join(["65534"] * 4)}.items():
            self.assertIn(f"\n{name}:\t{value}\n", status)
        self.assertEqual(machine.run(f"readlink {half}/root"), "/empty\n")


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
