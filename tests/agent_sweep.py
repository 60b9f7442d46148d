#!/usr/bin/env python3
"""Usage: agent_sweep.py BIN: clients that fall silent, break off or send rubbish within a session.

The bytes of a whole session, TLS and all, are sent up to every 23rd and around the end of every
record; with KORVANE_FULL_SWEEP=1 up to each byte. Then the client ends it in one of several ways.
Afterwards both halves of the agent hold what they held before, the log has what was asked for, and
a client is served.
"""

import collections
import concurrent.futures
import os
import re
import socket
import ssl
import struct
import sys

from agent_under_test import (CAPABILITIES, CONTEXT, LOGOUT, OPENING, agent_of_root, check,
                              faults, list_ports, login, read_reply)

STEP = 1 if os.environ.get("KORVANE_FULL_SWEEP") else 23
AT_ONCE = 200  # of those that fall silent
RUBBISH = b"\x17\x03\x03\x00\x20" + 59 * b"\xff"
MESSAGES = [(OPENING, None), (login(), "login"), (CAPABILITIES, "system getcapabilities"),
            (list_ports("lo"), "korvane listports"), (LOGOUT, None)]


class Cut(Exception):
    pass


class Client:
    """TLS over a connection that takes so many bytes and no more."""

    def __init__(self, stream, most=1 << 30):
        self.stream, self.left, self.ends = stream, most, [0]
        self.incoming, self.outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
        self.tls = CONTEXT.wrap_bio(self.incoming, self.outgoing)

    def flush(self):
        waiting = self.outgoing.read()
        self.stream.sendall(waiting[:self.left])
        if waiting:
            self.ends.append(self.ends[-1] + len(waiting))
        self.left -= len(waiting)
        if self.left <= 0:
            raise Cut

    def do(self, step, *arguments):
        while True:
            try:
                done = step(*arguments)
                self.flush()
                return done
            except ssl.SSLWantReadError:
                self.flush()
                came = self.stream.recv(1 << 16)
                if not came:
                    raise EOFError from None
                self.incoming.write(came)

    def recv(self, most):
        return self.do(self.tls.read, most)

    def talk(self):
        """The commands that the agent has got whole."""
        asked = []
        try:
            self.do(self.tls.do_handshake)
            for message, command in MESSAGES:
                try:
                    self.do(self.tls.write, message)
                finally:
                    if command and self.left >= 0:
                        asked.append(command)
                if message is not LOGOUT:
                    read_reply(self)
        except Cut:
            pass
        return asked


def drain(stream):
    """Until the agent has gone."""
    with stream:
        try:
            while stream.recv(1 << 16):
                pass
        except ConnectionResetError:
            pass


def break_off(stream):
    stream.shutdown(socket.SHUT_WR)
    drain(stream)


def reset(stream):
    stream.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    stream.close()


def send_rubbish(stream):
    try:
        stream.sendall(RUBBISH)
        stream.shutdown(socket.SHUT_WR)
    except OSError:
        pass
    drain(stream)


# How it ends, and whether what the agent has got whole may be lost before it is read.
WAYS = [(break_off, False), (send_rubbish, False), (reset, True), (drain, False)]


def lines_of(agent):
    lines = collections.defaultdict(list)
    for line in agent.log.read_text().splitlines():
        lines[re.search(' address="([^"]*)"', line)[1]].append(line)
    return lines


def sweep(agent, number, way, may_lose, places):
    asked = {}

    def one(place):
        address = f"127.{number + 1}.{place // 250}.{place % 250 + 1}"
        stream = agent.connect(shake=False, source=address)
        asked[address] = place, Client(stream, place).talk()
        if way is not drain:
            way(stream)
        return stream

    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        for first in range(0, len(places), AT_ONCE):
            for stream in list(pool.map(one, places[first:first + AT_ONCE])):
                if way is drain:
                    way(stream)
    served = agent.ask("korvane", "listadapterprops")
    check(served.returncode == 0, f"{way.__name__}: not served: {served.stderr}")
    return asked


def compare(agent, way, may_lose, asked):
    lines = lines_of(agent)
    for address, (place, commands) in asked.items():
        told = [re.search(' command="([^"]*)"', line)[1] for line in lines[address]]
        right = told == commands or (may_lose and told == commands[:len(told)]
                                     and len(told) + 1 == len(commands))
        check(right, f"{way.__name__} at byte {place}: {told}, not {commands}")


def main():
    limits = {f"{name}_seconds": 2 for name in ("handshake", "opening", "login", "idle", "request")}
    with agent_of_root(sys.argv[1], **limits) as agent:
        rest = agent.rest()
        whole = Client(agent.connect(shake=False))
        check(len(whole.talk()) == 3, "a whole session")
        whole.stream.close()
        last = whole.ends[-1]
        places = {place for end in whole.ends for place in (end - 1, end, end + 1)}
        places = sorted(place for place in places | set(range(1, last, STEP)) if 0 < place <= last)
        for number, (way, may_lose) in enumerate(WAYS):
            asked = sweep(agent, number, way, may_lose, places)
            check(agent.comes_to(rest), f"{way.__name__}: {agent.holds()} instead of {rest}")
            compare(agent, way, may_lose, asked)
        print(f"{len(WAYS)} ways at {len(places)} of {last} bytes")
        check(agent.end() == (0, ""), "the agent complained")
    print("\n".join(faults[:20]))
    return bool(faults)


sys.exit(main())
