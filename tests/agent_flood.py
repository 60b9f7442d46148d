#!/usr/bin/env python3
"""Usage: agent_flood.py BIN [COUNT]

Many clients of the real agent that do nothing, take their time or guess passwords (COUNT that do
nothing, default 300). While they do, one that logs in is served, and memory stays bounded. Prints
figures; ends with 1 where one does not hold.
"""

import contextlib
import resource
import ssl
import sys
import threading
import time

from agent_under_test import (CONTEXT, HEADER, OPENING, agent_of_root, check, faults,
                              open_session)

COUNT = int(sys.argv[2]) if len(sys.argv) > 2 else 300
FEW = min(COUNT, 1000)  # of those that take more than a socket
GUESSERS = min(COUNT // 10, 100)
MOST_MEMORY = 2000 if "san/" in sys.argv[1] else 100  # MB; of each half


def address(number):
    return f"127.1.{number // 250}.{number % 250 + 1}"


def hello():
    """The first bytes of a TLS client."""
    outgoing = ssl.MemoryBIO()
    client = CONTEXT.wrap_bio(ssl.MemoryBIO(), outgoing)
    with contextlib.suppress(ssl.SSLWantReadError):
        client.do_handshake()
    return outgoing.read()


def do_nothing(agent, begun, over):
    streams = []
    for number in range(COUNT):
        with contextlib.suppress(OSError):
            streams.append(agent.connect(shake=False, source=address(number)))
    begun.set()
    over.wait()
    for stream in streams:
        stream.close()


def dribble(shake, message, sent_at_once):
    """A byte a second, by each of many; who is cut off begins anew."""
    def attack(agent, begun, over):
        clients = [(None, 0)] * FEW
        while not over.is_set():
            for number, (stream, sent) in enumerate(clients):
                if over.is_set():
                    break
                try:
                    if stream is None:
                        stream, sent = agent.connect(shake, address(number)), sent_at_once
                        stream.sendall(message[:sent])
                    stream.sendall(message[sent:sent + 1])
                    clients[number] = stream, min(sent + 1, len(message) - 2)  # never the last
                except OSError:
                    clients[number] = None, 0
                    if stream is not None:
                        stream.close()
            begun.set()
            over.wait(1)
        for stream, _ in clients:
            if stream is not None:
                stream.close()
    return attack


def guess(agent, begun, over):
    def one(first):
        number = first
        while not over.is_set():
            with contextlib.suppress(OSError, TypeError):
                with agent.connect(source=address(number % 10_000)) as stream:
                    open_session(stream, "wrong")
            number += GUESSERS
            begun.set()
    threads = [threading.Thread(target=one, args=[first]) for first in range(GUESSERS)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()


ATTACKS = [  # what they do, how many, how
    ("say nothing", COUNT, do_nothing),
    ("shake hands, a byte a second", FEW, dribble(False, hello(), 0)),
    ("say hello, a byte a second", FEW, dribble(True, OPENING, 0)),
    ("the same behind the header", FEW, dribble(True, OPENING, HEADER)),
    ("guess passwords", GUESSERS, guess),
]


def withstand(agent, rest, what, count, attack):
    begun, over = threading.Event(), threading.Event()
    attacker = threading.Thread(target=attack, args=[agent, begun, over])
    attacker.start()
    begun.wait()
    slowest, memory, threads = 0, [], 0
    try:
        for _ in range(5):
            begin = time.monotonic()
            # One that is slow, as under a sanitizer, may itself be the oldest, and lose its place.
            answer = agent.ask("--retries", "5", "korvane", "listadapterprops")
            slowest = max(slowest, time.monotonic() - begin)
            check(answer.returncode == 0, f"{what}: not served: {answer.stderr}")
            memory.append(agent.memory())
            threads = max(threads, sum(agent.threads()))
    finally:
        over.set()
        attacker.join()
    most = [max(half) for half in zip(*memory)]
    print(f"{what:30} {count:6}  at most {1000 * slowest:6.0f} ms"
          f"  {most[0]:7.1f} {most[1]:7.1f} MB  {threads:7}", flush=True)
    check(max(most) < MOST_MEMORY, f"{what}: {most} MB")
    check(agent.comes_to(rest), f"{what}: left behind: {agent.holds()} instead of {rest}")


def main():
    _, most = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    with agent_of_root(sys.argv[1]) as agent:
        rest = agent.rest()
        print(f"{'clients that':30}  count   another's command      memory of halves  threads")
        for row in ATTACKS:
            withstand(agent, rest, *row)
        check(agent.end() == (0, ""), "the agent complained")
    print("\n".join(faults))
    return bool(faults)


sys.exit(main())
