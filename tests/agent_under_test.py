"""A running agent of this machine, with what it takes, for tests and figures."""

import grp
import os
import pathlib
import pwd
import signal
import socket
import ssl
import struct
import subprocess

USER = pwd.getpwuid(os.getuid())
GROUP = grp.getgrgid(USER.pw_gid).gr_name


def run(*words, **more):
    return subprocess.run([str(word) for word in words], capture_output=True, text=True, timeout=60,
                          **more)


def header(service=0, opcode=0, length=0):
    return struct.pack("<4xBxHxIx12x", service, opcode, length)


OPENING = header(length=580) + bytes(580)


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
        """A connection, with TLS or without."""
        stream = socket.create_connection(("127.0.0.1", self.port), 30, (source, 0))
        if not shake:
            return stream
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE
        return context.wrap_socket(stream)

    def halves(self):
        """The processes that talk to the network."""
        return [int(line) for line in
                run("pgrep", "-P", self.process.pid, "-f", "network-half").stdout.split()]

    def end(self, how=signal.SIGTERM):
        self.process.send_signal(how)
        return self.wait()

    def wait(self):
        _, said = self.process.communicate(timeout=60)
        return self.process.returncode, said
