"""A running agent of this machine, with what it takes, for tests and figures."""

import contextlib
import grp
import json
import os
import pathlib
import pwd
import re
import select
import signal
import socket
import ssl
import struct
import subprocess
import sys
import tempfile
import time

USER = pwd.getpwuid(os.getuid())
GROUP = grp.getgrgid(USER.pw_gid).gr_name

CONTEXT = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
CONTEXT.check_hostname = False
CONTEXT.verify_mode = ssl.CERT_NONE

TESTS = pathlib.Path(__file__).resolve().parent
LEFT_OUT = 77  # what a test ends with that cannot be made
faults = []


def check(right, what):
    if not right:
        faults.append(what)


def run(*words, **more):
    return subprocess.run([str(word) for word in words], capture_output=True, text=True, timeout=60,
                          **more)


def own_network():
    """Goes on in a network of this program's own, with the interfaces pair0 and pair1; False where
    the user may have none."""
    alone = ["unshare", "--net", "--mount"]
    if "OWN_NETWORK" not in os.environ:
        if os.getuid() != 0 or run(*alone, "true").returncode != 0:
            return False
        os.environ["OWN_NETWORK"] = "yes"
        os.execvp(alone[0], [*alone, sys.executable, *sys.argv])
    for words in ("ip link set lo up", "ip link add pair0 type veth peer name pair1",
                  "ip link set pair0 up", "ip link set pair1 up", "mount -t sysfs sysfs /sys"):
        subprocess.run(words.split(), check=True)
    return True


def connect(port, shake=True, source="127.0.0.1"):
    """A connection, with TLS or without."""
    stream = socket.create_connection(("127.0.0.1", port), 30, (source, 0))
    return CONTEXT.wrap_socket(stream) if shake else stream


def header(service=0, opcode=0, length=0):
    return struct.pack("<4xBxHxIx12x", service, opcode, length)


OPENING = header(length=580) + bytes(580)
HEADER = len(header())
CAPABILITIES = header(service=5, opcode=8)
LOGOUT = header(opcode=1)


def list_ports(name):
    return header(service=4, opcode=136, length=len(name)) + name.encode()


def login(password="right", user=USER.pw_name):
    record = struct.pack("<4x256s64s256x", user.encode(), password.encode())
    return header(length=len(record)) + record


def read_message(stream):
    """One reply, header and data; nothing when the agent has gone."""
    got = b""
    left = HEADER
    while left > 0:
        more = stream.recv(left)
        if not more:
            return None
        got += more
        length = struct.unpack_from("<I", got, 9)[0] if len(got) >= HEADER else 0
        left = HEADER + length - len(got)
    return got


def read_reply(stream):
    """Status and data of one reply."""
    got = read_message(stream)
    return got and (struct.unpack_from("<I", got, 14)[0], got[HEADER:])


def open_session(stream, password="right"):
    """The status of a login on a new connection with TLS."""
    stream.sendall(OPENING)
    read_reply(stream)
    stream.sendall(login(password))
    return (read_reply(stream) or (None,))[0]


class Agent:
    """A running agent, with PAM services, certificate and log of its own."""

    def __init__(self, programs, folder, operators=(GROUP,), readers=(), environment=None,
                 before=(), pass_fds=(), address="127.0.0.1", client=(), **settings):
        self.programs = pathlib.Path(programs)
        self.folder = pathlib.Path(folder)
        self.address = address
        self.client = client  # what a command line is begun with
        self.log = self.folder / "audit.log"
        self.config = self.folder / "agent.toml"
        certificate = self.folder / "certificate.pem"
        if not certificate.exists():
            self.make(certificate)
        self.write(operators, readers, **settings)
        self.process = subprocess.Popen(
            [*before, self.programs / "korvane_zmagent", "--config", self.config],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            env={**os.environ, **(environment or {})}, pass_fds=pass_fds)
        self.port = None if pass_fds else int(self.process.stdout.readline())

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.end(signal.SIGKILL)

    def make(self, certificate):
        """A key, and a PAM service that takes the password "right" of anybody."""
        made = run(self.programs / "korvane_zmagent", "--make-certificate", certificate)
        assert made.returncode == 0, made.stderr
        check = self.folder / "check"
        check.write_text('#!/bin/sh\nread -r password\n[ "$password" = right ]\n')
        check.chmod(0o755)
        (self.folder / "pam").mkdir()
        (self.folder / "pam" / "korvane-zmagent").write_text(
            f"auth required pam_exec.so expose_authtok quiet {check}\n"
            "account required pam_permit.so\n")

    def write(self, operators=(GROUP,), readers=(), confirm_seconds=0, tls="", packages=(),
              **limits):
        lines = "".join(f"{name} = {value}\n" for name, value in limits.items())
        self.config.write_text(f"""
[listen]
addresses = ["{self.address}"]
port = 0
[tls]
certificate = "{self.folder}/certificate.pem"
{tls}
[limits]
{lines}
[login]
pam_folder = "{self.folder}/pam"
operators = {list(operators)}
readers = {list(readers)}
[audit]
to = "{self.log}"
[adapters]
virtual = true
confirm_seconds = {confirm_seconds}
[process]
user = "nobody"
folder = "{self.folder}/empty"
[packages]
spool = "{self.folder}/spool"
{"".join(line + chr(10) for line in packages)}""")

    def ask(self, *words, password="right", user=USER.pw_name):
        file = self.folder / "password"
        file.write_text(password + "\n")
        file.chmod(0o600)
        return run(*self.client, self.programs / "korvane_zwcli", "--host", self.address, "--port",
                   self.port, "--verify", "off", "--user", user, "--password-file", file, *words)

    def connect(self, shake=True, source="127.0.0.1"):
        return connect(self.port, shake, source)

    def halves(self):
        """The processes that talk to the network."""
        return [int(line) for line in
                run("pgrep", "-P", self.process.pid, "-f", "network-half").stdout.split()]

    def processes(self):
        return [self.process.pid, *self.halves()]

    def memory(self):
        """MB that each half has for itself (PSS)."""
        def of(process):
            told = pathlib.Path(f"/proc/{process}/smaps_rollup").read_text()
            return int(re.search(r"^Pss: +([0-9]+)", told, re.MULTILINE)[1]) / 1024
        return [of(process) for process in self.processes()]

    def threads(self):
        return [len(os.listdir(f"/proc/{process}/task")) for process in self.processes()]

    def holds(self):
        """The kinds of descriptors that each half has, and how many threads and children; of the
        network half root alone may look at them. Nothing while they come and go."""
        def of(process):
            links = [os.readlink(entry) for entry in pathlib.Path(f"/proc/{process}/fd").iterdir()]
            tasks = list(pathlib.Path(f"/proc/{process}/task").iterdir())
            children = sum(len((task / "children").read_text().split()) for task in tasks)
            return sorted(link.split(":")[0] for link in links), len(tasks), children
        try:
            return [of(process) for process in self.processes()]
        except FileNotFoundError:
            return None

    def rest(self):
        """What they hold when nobody is there, the kernel's sockets open that they keep. Without
        clients each has a thread, and the network half one that accepts."""
        def quiet(last):
            held = self.holds()
            while held is None or self.threads() != [1, 2] or last not in (None, held[1]):
                select.select([], [], [], 0.02)
                held = self.holds()
            return held
        new = quiet(None)
        assert self.ask("korvane", "listadapterprops").returncode == 0
        return quiet(new[1])

    def comes_to(self, rest, patience=60):
        """Whether the halves hold what they held at rest, once those have gone that have to."""
        end = time.monotonic() + patience
        while time.monotonic() < end:
            if self.holds() == rest:
                return True
            select.select([], [], [], 0.02)
        return False

    def end(self, how=signal.SIGTERM):
        self.process.send_signal(how)
        return self.wait()

    def wait(self):
        _, said = self.process.communicate(timeout=60)
        return self.process.returncode, said


def cases(name):
    """The cells of tests/NAME, as tests/support.cpp reads them."""
    names = {"@user": USER.pw_name}
    for line in (TESTS / name).read_text().splitlines():
        begin = line.find(" = ") + 3 if line.startswith("@") else 0
        for word in sorted(names, reverse=True):
            line = line[:begin] + line[begin:].replace(word, names[word])
        if begin != 0:
            names[line[:begin - 3]] = line[begin:]
        elif line and line[0] != "#":
            yield [cell.strip() for cell in line.split(" | ")]


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


class BesideTheKernelsTools:
    """What a test case has that asks an agent with ask(), and with tell() the host's shell."""

    def oracle(self, name):
        """The fields of a port as ethtool and ip tell them."""
        link = json.loads(self.tell(f"/usr/bin/ip -j link show {name}"))[0]
        fields, texts = {"name": name, "mtu": str(link["mtu"])}, {}
        for field, command, heading, key in cases("cases/ethtool_fields"):
            if command not in texts:
                texts[command] = self.tell(f"{command} {name} 2>&1 || true")
            fields[field] = plain(lines(texts[command], heading).get(key, ""))
        return fields

    def expect_as_told_by_oracle(self, name, location):
        [port] = self.ask(f"korvane listports pci={location}")["result"]
        expected = self.oracle(name)
        self.assertEqual(port.pop("port_instance"), 0)
        for field, value in port.items():
            told = plain(value)
            if expected[field] or told not in ("false", "255"):  # which also say "unknown"
                self.assertEqual(told, expected[field], f"{name} {field}")
        return expected


@contextlib.contextmanager
def agent_of_root(programs, **settings):
    """One with a folder of its own. Who is not root cannot see what the network half holds."""
    if os.getuid() != 0:
        print("left out: it takes root to see what the network half holds")
        sys.exit(LEFT_OUT)
    with tempfile.TemporaryDirectory() as folder:
        os.chmod(folder, 0o755)
        with Agent(programs, folder, **settings) as agent:
            yield agent
