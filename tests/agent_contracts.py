#!/usr/bin/env python3
"""Usage: agent_contracts.py BIN: contracts that the simulated and the real agent keep alike.

tests/contracts/sessions is put to both. Of tests/contracts/judgements the real agent is asked what
the simulated one of a Linux host refuses for what it is, in the services that the real one has, of
an interface that it has: it refuses that with the same status.
"""

import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest

from agent_under_test import (LEFT_OUT, USER, Agent, connect, header, open_session, own_network,
                              read_message)

if not own_network():
    print("left out: it takes a network of its own")
    sys.exit(LEFT_OUT)

BIN = pathlib.Path(sys.argv.pop(1))
CONTRACTS = pathlib.Path(__file__).resolve().parent / "contracts"
SIMULATED = "0000:05:00.4"  # the adapter that the judgements are of
SERVED = {"2", "4", "5"}
CARDS = "139"  # properties of TCP offload, which Linux kernels do not have


def cases(name):
    """As tests/support.cpp reads them."""
    names = {"@user": USER.pw_name}
    for line in (CONTRACTS / name).read_text().splitlines():
        begin = line.find(" = ") + 3 if line.startswith("@") else 0
        for word in sorted(names, reverse=True):
            line = line[:begin] + line[begin:].replace(word, names[word])
        if begin != 0:
            names[line[:begin - 3]] = line[begin:]
        elif line and line[0] != "#":
            yield [cell.strip() for cell in line.split(" | ")]


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
        for number, (agents, sent, answers) in enumerate(cases("sessions")):
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
            for agent, request, attempts in cases("judgements"):
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


unittest.main(verbosity=2)
