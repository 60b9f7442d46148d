#!/usr/bin/env python3
"""Usage: agent_contracts.py BIN: what the real agent answers, beside two that know.

The simulated agent keeps contracts alike:

tests/contracts/sessions is put to both. Of tests/contracts/judgements the real agent is asked what
the simulated one of a Linux host refuses for what it is, in the services that the real one has, of
an interface that it has: it refuses that with the same status.

ethtool and ip tell of interfaces what the agent tells of them, and what it has set.
"""

import json
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest

from agent_under_test import (LEFT_OUT, USER, Agent, BesideTheKernelsTools, cases, connect, header,
                              lines, open_session, own_network, read_message, run)

if not own_network():
    print("left out: it takes a network of its own")
    sys.exit(LEFT_OUT)

BIN = pathlib.Path(sys.argv.pop(1))
SIMULATED = "0000:05:00.4"  # the adapter that the judgements are of
SERVED = {"2", "4", "5"}
CARDS = "139"  # properties of TCP offload, which Linux kernels do not have


def filled(block, pieces):
    """The bytes with these pieces in them."""
    block = bytearray(block)
    for piece in pieces:
        offset, sign, value = re.fullmatch("([0-9]+)([:=])(.*)", piece).groups()
        value = value.encode() if sign == ":" else bytes.fromhex(value)
        assert int(offset) + len(value) <= len(block), piece
        block[int(offset):int(offset) + len(value)] = value
    return bytes(block)


def message(text):
    service, opcode, length, *pieces = text.split()
    length, _, said = length.partition("!")
    return header(int(service), int(opcode), int(said or length)) + filled(bytes(int(length)),
                                                                           pieces)


def answer(stream, text):
    try:
        stream.sendall(message(text))
        return read_message(stream)
    except ConnectionError:  # the agent has hung up, and what was sent is to nobody
        return None


def differs(reply, expected):
    """Whether a reply is another than the case has it."""
    if reply is None or expected == "end":
        return reply is not None or expected != "end"
    status, *pieces = expected.split()
    return struct.unpack_from("<I", reply, 14)[0] != int(status) or filled(reply, pieces) != reply


class Contracts(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = cls.enterClassContext(tempfile.TemporaryDirectory())
        os.chmod(folder, 0o755)
        password = pathlib.Path(folder, "right")
        password.write_text("right\n")
        password.chmod(0o600)
        real = cls.enterClassContext(Agent(BIN, folder))
        cls.simulated = subprocess.Popen(
            [BIN / "korvane_zmsim", "--user", USER.pw_name, "--password-file", password],
            stdout=subprocess.PIPE, text=True, env={**os.environ, "HOME": folder})
        cls.addClassCleanup(cls.simulated.communicate)
        cls.addClassCleanup(cls.simulated.kill)
        cls.ports = {"sim": int(cls.simulated.stdout.readline()), "real": real.port}

    def test_sessions(self):
        for number, (agents, sent, answers) in enumerate(cases("contracts/sessions")):
            for agent in self.ports if agents == "both" else [agents]:
                # From an address of its own, that no failed login of another is held against.
                with self.subTest(agent=agent, sent=sent), \
                        connect(self.ports[agent], source=f"127.9.0.{number + 1}") as stream:
                    for text, expected in zip(sent.split(" ; "), answers.split(" ; "),
                                              strict=True):
                        reply = answer(stream, text)
                        self.assertFalse(differs(reply, expected), (text, expected, reply))

    def test_judgements(self):
        asked = 0
        with connect(self.ports["real"]) as stream:
            self.assertEqual(open_session(stream), 0)
            for agent, request, attempts in cases("contracts/judgements"):
                service, opcodes, length, *pieces = request.split()
                if agent != "linux" or service not in SERVED or opcodes == CARDS:
                    continue
                for opcode in opcodes.split(","):
                    for more, status in re.findall("([^ ]*)>([1-9][0-9]*)", attempts):
                        words = [*pieces, *filter(None, more.split(","))]
                        text = " ".join([service, opcode, length, *words])
                        text = text.replace(SIMULATED, "pair0")
                        with self.subTest(text=text):
                            self.assertFalse(differs(answer(stream, text), status))
                        asked += 1
        print(f"{asked} judgements", end=" ")
        self.assertGreater(asked, 50)


class Interfaces(BesideTheKernelsTools, unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for words in ("link add b0 type bridge", "link add i0 type ifb", "tuntap add t0 mode tap"):
            subprocess.run(["ip", *words.split()], check=True)
        folder = cls.enterClassContext(tempfile.TemporaryDirectory())
        os.chmod(folder, 0o755)
        cls.agent = cls.enterClassContext(Agent(BIN, folder))

    def ask(self, words):
        return json.loads(self.agent.ask("--format", "json", *words.split()).stdout)

    def tell(self, command):
        return run("sh", "-c", command).stdout

    def test_they_are_told(self):
        names = set()
        for card in self.ask("korvane listadapterprops")["result"]:
            name = card["card_name"]
            driver = lines(self.tell(f"ethtool -i {name}"))
            expected = {"pci_bus_location": name, "port_count": 1,
                        "driver_firmware_version": driver["version"]}
            self.assertEqual({key: card[key] for key in expected}, expected)
            self.expect_as_told_by_oracle(name, name)
            names.add(name)
        self.assertEqual(names, {"b0", "i0", "pair0", "pair1", "t0"})

    def test_counters_are_the_kernels_and_the_drivers(self):
        kernel = json.loads(self.tell("ip -j -s link show pair0"))[0]["stats64"]
        driver = lines(self.tell("ethtool -S pair0"), "peer_ifindex")
        told = self.ask("korvane getportstats pci=pair0 port=0")["result"]
        own = sorted(counter["name"] for counter in told if counter["kind"] == 1)
        self.assertEqual(own, sorted(name[:30] for name in driver))
        values = {counter["name"]: counter["value"] for counter in told if counter["kind"] != 1}
        self.assertGreaterEqual(values["rx_packets"], kernel["rx"]["packets"])
        self.assertGreaterEqual(values["tx_bytes"], kernel["tx"]["bytes"])
        of_card = self.ask("korvane getcardstats pci=pair0")["result"]
        self.assertEqual(of_card[0]["name"], "rx_packets")

    def test_properties_are_set(self):
        for name, words, field, expected in [
                ("pair0", "mtu=1400", "mtu", "1400"),
                ("pair0", "txcksum=0", "tx_checksum", "false"),
                ("pair0", "txcksum=1 rxcksum=0", "rx_checksum", "false"),
                ("pair0", "tso=0", "tso", "false"),
                ("pair0", "lso=1", "tso", "true"),
                ("pair0", "scattergather=0", "scatter_gather", "false"),
                ("pair0", "scattergather=1 gso=0 mtu=1300", "gso", "false"),
                ("t0", "speedduplex=1000-half", "duplex", "half"),
                ("t0", "speedduplex=100-full", "fixed_speed", "100"),
                ("t0", "speedduplex=auto", "speed_mode", "true"),
                ("t0", "msglevel=7", "message_level", "7")]:
            with self.subTest(words=words):
                reply = self.ask(f"korvane setportproperty pci={name} port=0 {words}")
                self.assertEqual(reply["status"], 0)
                self.assertEqual(self.oracle(name)[field], expected)
        self.assertEqual(self.ask("net mtu set mtu=1280 ifname=pair1")["status"], 0)
        self.assertEqual(self.oracle("pair1")["mtu"], "1280")


unittest.main(verbosity=2)
