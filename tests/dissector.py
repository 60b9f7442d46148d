"""Usage: dissector.py BIN SCRIPT

Captures real sessions on the loopback and has the packet analyser take them apart with the script:
it must tell, message by message and field by field, what the front end's own trace tells. A session
of an agent that sends wrong lengths must be marked."""

import ipaddress
import json
import os
import shutil
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import time

from agent_under_test import LEFT_OUT, check, faults

BIN, SCRIPT = sys.argv[1:3]
FILTER = "filter add pci=0000:05:00.4 id=8 type=ipv6 lip=fe80::1/64 tos=0x4:0xf dmac=00:11:22:33:44:55"
COMMANDS = [
    "korvane listadapterprops", "korvane listports pci=0000:05:00.4",
    "korvane getportstats pci=0000:05:00.4 port=0", "korvane listports pci=none",
    "korvane setportproperty pci=0000:05:00.4 port=0 mtu=9000 speedduplex=1000-Full",
    "korvane setcardproperty pci=0000:05:00.4 mss=1460", "system listdrivers",
    "system install type=nic,toe zwirepath=%s", "filter addx3 ifname=eth2 sip=10.1.0.0/16 proto=tcp",
    "filter listx3", FILTER + " x4action=drop", "filter list pci=0000:05:00.4 show=all",
    "system loaddriver drvname=x3_tom", "tm add ifname=eth2 id=1 policy=dst\u00a0port\u00a080=>ddp",
    "tm list", "net mtu set ifname=eth2 mtu=9000", "--wait net traceroute host=beta",
]


def zwcli(port, words, *options):
    command = [BIN + "/korvane_zwcli", "--verify", "off", "--port", str(port), "--keylog", "keys"]
    words = [word.replace("\u00a0", " ") for word in words.split(" ")]
    subprocess.run([*command, *options, *words], capture_output=True, timeout=60,
                   stdin=subprocess.DEVNULL)


def analyse(name, port, *options):
    command = ["tshark", "-r", name, "-X", "lua_script:" + SCRIPT, "-o", "tls.keylog_file:keys",
               "-d", f"tcp.port=={port},tls", "-d", f"tls.port=={port},korvane", *options]
    return subprocess.run(command, capture_output=True, timeout=120).stdout.decode()


def capture(port, sessions, run):
    """The name of a file with all packets of as many sessions; none where that is not allowed."""
    name = f"{port}.pcapng"
    dumpcap = subprocess.Popen(["dumpcap", "-i", "lo", "-f", f"tcp port {port}", "-w", name],
                               stderr=subprocess.PIPE)
    while not (line := dumpcap.stderr.readline()).startswith(b"File:"):
        if not line:
            return None
    run()
    for _ in range(600):  # until the end of each session is in the file
        ended = analyse(name, port, "-Y", "tcp.flags.fin==1 || tcp.flags.reset==1",
                        "-T", "fields", "-e", "tcp.stream")
        if len(set(ended.split())) >= sessions:
            break
        time.sleep(0.05)
    dumpcap.terminate()
    dumpcap.wait()
    return name


def leaves(pairs):
    """The names and values of what a layer shows, in order, without those of the tree."""
    for name, value in pairs:
        if isinstance(value, list):
            yield from leaves(value)
        elif name.startswith("korvane.") and name != "korvane.refused":
            yield name, value


def as_shown(value, shown):
    """Whether what the analyser shows of a field is the trace's value."""
    if isinstance(value, int):
        return int(shown, 0) == value
    if value == shown or value.rstrip("\0") == shown:
        return True
    try:
        packed = ipaddress.ip_address(shown).packed.hex()
        return value == packed or value == packed + 24 * "0"
    except ValueError:
        return shown.replace(":", "").rstrip("0") == value.rstrip("0")


def compare(shown, told):
    """A message as the analyser shows it, and its line of the trace."""
    where = f"{told['direction']} {told['command']}"
    head = {name: value for name, value in shown if name.startswith("korvane.header.")}
    for name, key in (("service", "service_number"), ("opcode", "opcode"), ("status", "status"),
                      ("data_length", "length")):
        check(int(head["korvane.header." + name]) == told[key], f"{where}: {name} {head}")
    called = shown[0][1].split(" ", 1 if told["service_number"] else 0)[-1]
    check(called == told["command"], f"{where}: is called {called}")
    fields = [(name.split(".")[-1], value) for name, value in shown[1:] if name not in head]
    if "records" not in told:
        password = [value for name, value in fields if name == "password"]
        check(not fields or password == ["(hidden)"], f"{where}: fields {fields}")
        return
    records = [(name.split(".")[-1], value) for record in told["records"]
               for name, value in record.items()]
    check(len(fields) == len(records), f"{where}: {len(fields)} fields for {len(records)}")
    for (name, value), (told_name, told_value) in zip(fields, records):
        check(name == told_name and as_shown(told_value, value),
              f"{where}: {name} {value!r} for {told_name} {told_value!r}")


def layers(packets):
    """The protocol's layers of all packets."""
    for packet in packets:
        shown = dict(dict(packet)["_source"])["layers"]
        yield from (value for name, value in shown if name == "korvane")


def compare_sessions(version):
    agent = subprocess.Popen([BIN + "/korvane_zmsim", "--tls", version, "--user", "operator",
                              "--password-file", "password"], stdout=subprocess.PIPE)
    port = int(agent.stdout.readline())
    login = ["--user", "operator", "--password-file", "password"]

    def run():
        for words in COMMANDS:
            zwcli(port, words, *login, "--trace", "trace", "--trace-data")
    open("trace", "w").close()
    name = capture(port, len(COMMANDS), run)
    agent.terminate()
    agent.wait()
    if name is None:
        return False
    shown = json.loads(analyse(name, port, "-Y", "korvane", "-T", "json"),
                       object_pairs_hook=lambda pairs: pairs)
    messages = [list(leaves(layer)) for layer in layers(shown)]
    with open("trace") as file:
        told = [json.loads(line) for line in file]
    # The farewell is shown alone; the trace does not have it.
    messages = [message for message in messages if message[0][1] != "logout"]
    check(len(messages) == len(told), f"TLS {version}: {len(messages)} messages for {len(told)}")
    for message, line in zip(messages, told):
        compare(message, line)
    marked = analyse(name, port, "-Y", "korvane.wrong_length || korvane.unasked || _ws.malformed")
    check(not marked, f"TLS {version}: marks right messages")
    return True


def lying_agent(listener):
    """Sends five bytes too many or too few, and what nobody has asked for."""
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain("agent.pem")
    opening = bytes([0, 2, 8, 1]) + bytes(22)
    for length in (38, 28):
        with context.wrap_socket(listener.accept()[0], server_side=True) as client:
            client.recv(606)
            client.sendall(opening)
            client.recv(26)
            reply = bytes([0, 2, 8, 1, 5, 0, 8, 0, 0, length]) + bytes(16) + bytes(length)
            client.sendall(reply + opening)
            client.recv(26)


def mark_lies():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        port = listener.getsockname()[1]
        agent = threading.Thread(target=lying_agent, args=(listener,))
        agent.start()
        name = capture(port, 2, lambda: [zwcli(port, "system listdrivers") for _ in range(2)])
        agent.join()
    marks = analyse(name, port, "-Y", "korvane", "-O", "korvane")
    for text in ("5 bytes where a capabilities has 33", "28 bytes where a capabilities has 33",
                 "Nobody asked for this"):
        check(text in marks, "does not mark: " + text)


def main():
    for tool in ("tshark", "dumpcap"):
        if shutil.which(tool) is None:
            print("skipped: no " + tool)
            return LEFT_OUT
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        package = folder + "/KorvaneZwire-4.3.0.tar.gz"
        COMMANDS[:] = [words.replace("%s", package) for words in COMMANDS]
        for name, text in (("password", "a-secret\n"), (package, "x" * 40000)):
            with open(name, "w") as file:
                file.write(text)
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:P-256", "-nodes", "-subj", "/CN=agent", "-keyout", "key",
                        "-out", "certificate"], check=True, capture_output=True)
        with open("agent.pem", "w") as file:
            file.write(open("key").read() + open("certificate").read())
        if not compare_sessions("1.3"):
            print("skipped: packets of the loopback cannot be captured")
            return LEFT_OUT
        compare_sessions("1.2")
        mark_lies()
    print("\n".join(faults))
    return bool(faults)


sys.exit(main())
