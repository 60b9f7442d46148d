#!/usr/bin/env python3
"""Usage: zmagent.py BIN: the real agent's daemon: logins, roles, reloads, limits, cage and log."""

import contextlib
import fcntl
import hashlib
import json
import os
import pathlib
import pwd
import re
import resource
import select
import signal
import socket
import sys
import tempfile
import unittest

from agent_under_test import GROUP, OPENING, USER, Agent, run

BIN = pathlib.Path(sys.argv.pop(1))
IS_ROOT = os.getuid() == 0


class Daemon(unittest.TestCase):
    def setUp(self):
        self.scope = contextlib.ExitStack()
        self.addCleanup(self.scope.close)
        self.folder = self.scope.enter_context(tempfile.TemporaryDirectory())
        os.chmod(self.folder, 0o755)

    def start(self, **more):
        agent = Agent(BIN, self.folder, **more)
        self.scope.callback(lambda: agent.process.poll() is not None or agent.end(signal.SIGKILL))
        return agent

    def test_logins_and_roles(self):
        change = ("net", "mtu", "set", "ifname=none0", "mtu=1400")
        question = ("korvane", "listadapterprops")
        cases = [  # password, command, groups of operators and readers, exit status, log
            ("right", question, [GROUP], [], 0, 'command="korvane listadapterprops" status=0'),
            ("right", question, [], [GROUP], 0, 'command="korvane listadapterprops" status=0'),
            ("right", change, [], [GROUP], 1, 'ifname="none0" mtu="1400" status=9 '),
            ("right", change, [GROUP], [], 1, 'mtu="1400" status=97 '),
            ("wrong", question, [GROUP], [], 4, 'command="login" failures="1" status=225 '),
            ("right", question, [], [], 4, 'reason="in none of the groups that may log in"'),
        ]
        for password, words, operators, readers, status, logged in cases:
            with self.subTest(password=password, words=words, readers=readers):
                agent = self.start(operators=operators, readers=readers)
                answer = agent.ask(*words, password=password)
                self.assertEqual(answer.returncode, status,
                                 answer.stdout + answer.stderr + agent.log.read_text())
                log = agent.log.read_text().replace("interface_name", "ifname")
                self.assertIn(logged, log)
                self.assertIn(f'user="{USER.pw_name}" address="127.0.0.1"', log)
                self.assertNotIn(password, log)
                self.assertEqual(agent.end(), (0, ""))
                agent.log.unlink()

    def test_the_network_half_is_caged(self):
        agent = self.start()
        [half] = agent.halves()
        status = pathlib.Path(f"/proc/{half}/status").read_text()
        wanted = {"CapEff": "0000000000000000", "NoNewPrivs": "1"}
        if "asan" not in str(BIN) and "tsan" not in str(BIN):
            wanted["Seccomp"] = "2"
        if IS_ROOT:
            wanted["CapBnd"] = "0000000000000000"
            wanted["Uid"] = "\t".join([str(pwd.getpwnam("nobody").pw_uid)] * 4)
            self.assertEqual(os.readlink(f"/proc/{half}/root"), f"{self.folder}/empty")
        for name, value in wanted.items():
            self.assertIn(f"\n{name}:\t{value}\n", status)
        os.kill(half, signal.SIGKILL)
        self.assertEqual(agent.wait(), (1, "korvane_zmagent: the process that talks to the network "
                                           "was ended by signal 9\n"))

    def test_probes(self):
        agent = self.start()
        near = ("ip=127.0.0.1", "ipversion=ipv4")
        for words, told in [
                (("ping", *near, "numpkts=2"), "Packets: sent = 2 received = 2 avgRtt = 0 ms"),
                (("ping", "host=nobody-is-called-so"), "Host Not Reachable."),
                (("traceroute", *near), "127.0.0.1\nTrace success"),
                (("traceroute", "ip=::1", "ipversion=ipv6"), "Trace success")]:
            with self.subTest(words=words):
                self.assertIn(told, agent.ask("--wait", "net", *words).stdout)
        # The outcome is there for a session of its own, but only for what was begun.
        self.assertIn("Trace success", agent.ask("net", "traceroute", "getresult").stdout)
        self.assertIn("not for this command", agent.ask("net", "ping", "getresult").stdout)

    def test_reloads_and_stops(self):
        agent = self.start(finish_seconds=1)
        [before] = agent.halves()
        with agent.connect() as old:
            agent.write(operators=[], readers=[])
            agent.process.send_signal(signal.SIGHUP)
            self.assertEqual(old.recv(1), b"")  # it waited for nothing
        self.assertEqual(agent.ask("korvane", "listadapterprops").returncode, 4)
        while before in agent.halves():  # it goes, or the test runs into its limit
            select.select([], [], [], 0.05)
        self.assertEqual(len(agent.halves()), 1)
        agent.config.write_text("[listen]\nport = 70000\n")
        agent.process.send_signal(signal.SIGHUP)
        said = agent.process.stderr.readline()
        self.assertIn("still serving as before", said)
        self.assertIn(":2: port is a number from 0 to 65535", said)
        self.assertEqual(agent.ask("korvane", "listadapterprops").returncode, 4)
        self.assertEqual(agent.end(), (0, ""))

    def test_clients_of_one_address_keep_nobody_else_waiting(self):
        agent = self.start(clients=40, clients_of_address=30)
        silent = [agent.connect(shake=False) for _ in range(20)]
        opened = [agent.connect() for _ in range(10)]
        with self.assertRaises(OSError):  # from there no more are taken
            agent.connect().recv(1)
        with agent.connect(source="127.0.0.2") as other:
            other.send(OPENING)
            self.assertEqual(len(other.recv(26)), 26)
        for stream in silent + opened:
            stream.close()
        self.assertEqual(agent.end(), (0, ""))

    def packages(self, *more):
        """The settings for a hook that does what the name of its package says. While it runs, it
        and its children hold the lock, and "started" is a pipe that it writes to."""
        hook = pathlib.Path(self.folder, "hook")
        hook.write_text(f"""#!/bin/sh
exec 9>{self.folder}/lock; flock 9
case $KORVANE_PACKAGE in
*hangs) trap '' TERM; echo on >{self.folder}/started; sleep 1000 & wait; sleep 1000;;
*prints) exec yes;;
*leaves) sleep 1000 & ;;
*needs) echo needs more; exit 10;;
*signal) kill -USR1 $$;;
*) (cd ..; pwd; stat -c %a .; cat "$1" | sha256sum; env; ls /proc/self/fd) >{self.folder}/got;;
esac
""")
        hook.chmod(0o755)
        with contextlib.suppress(FileExistsError):
            os.mkfifo(f"{self.folder}/started")
        return [f'install_hook = "{hook}"', *more]

    def install(self, agent, what, *before):
        file = pathlib.Path(self.folder, "KorvaneZwire-" + what)
        file.write_bytes(os.urandom(40_000))
        return agent.ask(*before, "system", "install", "type=nic,toe", f"zwirepath={file}",
                         "conftype=3")

    def nothing_is_left(self):
        """In the spool, and of the hook's processes: while there are any this waits."""
        with open(f"{self.folder}/lock", "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
        self.assertEqual(os.listdir(f"{self.folder}/spool"), [])

    def test_packages_are_installed_by_the_hook(self):
        left = pathlib.Path(self.folder, "spool", "0" * 32)
        left.mkdir(parents=True)
        left.parent.chmod(0o700)
        agent = self.start(packages=self.packages())
        self.assertEqual(agent.ask("system", "getinstallresult").returncode, 1)
        installed = self.install(agent, "fits", "--wait")
        self.assertIn("KorvaneZwire-fits: installed\n", installed.stdout)
        package = pathlib.Path(self.folder, "KorvaneZwire-fits")
        checksum = hashlib.sha256(package.read_bytes()).hexdigest()
        got = pathlib.Path(self.folder, "got").read_text()
        self.assertTrue(got.startswith(f"{self.folder}/spool\n700\n{checksum}  -\n"), got)
        for line in ("KORVANE_PACKAGE=KorvaneZwire-fits", "KORVANE_SIZE=40000", "LC_ALL=C",
                     f"KORVANE_SHA256={checksum}", f"KORVANE_USER={USER.pw_name}",
                     "KORVANE_TYPES=nic,toe", "KORVANE_CONF_TYPE=3"):
            self.assertIn(line + "\n", got)
        self.assertNotIn("PYTHON", got)
        self.assertTrue(got.endswith("\n0\n1\n2\n3\n9\n"), got)  # 3: ls; 9: the lock
        cases = [  # package, status of the outcome, log
            ("needs", 75, ' exit_status="10" printed="needs more" status=75 '),
            ("signal", 1, "by signal 10"),
            ("leaves", 0, ""),
        ]
        for what, status, logged in cases:
            with self.subTest(what=what):
                outcome = self.install(agent, what, "--wait", "--format", "json")
                self.assertEqual(json.loads(outcome.stdout)["status"], status, outcome.stdout)
                self.assertIn(logged, agent.log.read_text())
                self.nothing_is_left()
        self.assertEqual(agent.end(), (0, ""))

    def test_hooks_that_do_not_end_are_ended(self):
        agent = self.start(packages=self.packages("hook_seconds = 1"))
        with open(f"{self.folder}/started", "r+b", buffering=0) as started:
            for what in ("hangs", "prints"):
                with self.subTest(what=what):
                    outcome = self.install(agent, what, "--wait")
                    self.assertIn("(status 1)", outcome.stderr)
                    self.assertIn('reason="it took too long"', agent.log.read_text())
                    self.nothing_is_left()
            self.assertEqual(started.read(3), b"on\n")
            self.assertEqual(agent.end(), (0, ""))
            agent = self.start(packages=self.packages())
            self.assertEqual(self.install(agent, "hangs").returncode, 0)
            self.assertEqual(started.read(3), b"on\n")
            self.assertIn("(status 55)", agent.ask("system", "getinstallresult").stderr)
            self.assertEqual(agent.end(), (0, ""))
        self.assertIn('reason="the agent was stopped"', agent.log.read_text())
        self.nothing_is_left()

    def test_packages_are_refused(self):
        others = pathlib.Path(self.folder, "others")
        link = pathlib.Path(self.folder, "link")
        safe = self.packages()
        others.write_text("#!/bin/sh\n")
        others.chmod(0o777)
        link.symlink_to(f"{self.folder}/hook")
        cases = [  # settings, readers, status, log
            ([], [], 1, "no hook is configured"),
            (safe, [GROUP], 9, ""),
            ([f'install_hook = "{others}"'], [], 1, "can be changed by others"),
            ([f'install_hook = "{link}"'], [], 1, "is a link"),
            ([*safe, "package_most_bytes = 39_999"], [], 6, "such a size"),
        ]
        for packages, readers, status, logged in cases:
            with self.subTest(logged=logged):
                agent = self.start(packages=packages, readers=readers,
                                   operators=[] if readers else [GROUP])
                answer = self.install(agent, "fits")
                self.assertIn(f"(status {status})", answer.stderr, answer.stdout)
                self.assertEqual(agent.end(), (0, ""))
                announced = agent.log.read_text().splitlines()[-1]
                self.assertIn(' file_size="40000" ', announced)
                self.assertIn(logged, announced)
                spool = pathlib.Path(self.folder, "spool")
                self.assertEqual(list(spool.iterdir()) if spool.exists() else [], [])

    def test_systemd(self):
        path = f"{self.folder}/notify"
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notices, \
                socket.create_server(("::", 0), family=socket.AF_INET6,
                                     dualstack_ipv6=True) as listener:
            notices.bind(path)
            notices.settimeout(30)
            os.set_inheritable(listener.fileno(), True)
            start = f"exec 3<&{listener.fileno()}; export LISTEN_PID=$$ LISTEN_FDS=1; exec \"$@\""
            agent = self.start(environment={"NOTIFY_SOCKET": path, "WATCHDOG_USEC": "300000"},
                               before=["bash", "-c", start, "bash"],
                               pass_fds=[listener.fileno()])
            agent.port = listener.getsockname()[1]
            self.assertEqual(notices.recv(100), b"READY=1")
            self.assertEqual(notices.recv(100), b"WATCHDOG=1")
            self.assertEqual(agent.ask("korvane", "listadapterprops").returncode, 0)
            self.assertIn(' address="127.0.0.1" ', agent.log.read_text())
            self.assertEqual(agent.end(), (0, ""))

    def test_configurations(self):
        file = pathlib.Path(self.folder, "tried.toml")
        printed = run(BIN / "korvane_zmagent", "--print-config").stdout
        cases = [  # text, what is wrong with it
            (printed, ""),
            ("[limits]\nclients = 0\n", ":2: clients is a number from 1 to 10000"),
            ("[limits]\nclients = \"9\"\n", ":2: clients is a number from 1 to 10000"),
            ("[listen]\nport = 1\n\n[listne]\n", ':4: there is no table "listne"'),
            ("[listen]\nprot = 1\n", ':2: there is no setting "listen.prot"'),
            ("[login]\nreaders = [1]\n", ":2: readers is a list of texts"),
            ("[adapters]\nvirtual = 1\n", ":2: virtual is true or false"),
            ("[audit\n", ":1: "),
        ]
        for text, wrong in cases:
            with self.subTest(text=text):
                file.write_text(text)
                checked = run(BIN / "korvane_zmagent", "--check-config", "--config", file)
                self.assertIn(wrong, checked.stderr)
                self.assertEqual(checked.returncode, 2 if wrong else 0)

    def test_a_key_that_others_can_read_is_refused(self):
        agent = self.start()
        agent.end()
        pathlib.Path(self.folder, "certificate.pem").chmod(0o640)
        again = run(BIN / "korvane_zmagent", "--config", agent.config)
        self.assertEqual(again.returncode, 1)
        self.assertRegex(again.stderr, re.compile("holds a key that others can read"))
        made = run(BIN / "korvane_zmagent", "--make-certificate", agent.folder / "certificate.pem")
        self.assertEqual(made.returncode, 1)

    def test_a_new_certificate_names_its_host_and_is_whole_or_not_there(self):
        def make(most_bytes):
            def limit():
                signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
                resource.setrlimit(resource.RLIMIT_FSIZE, (most_bytes, most_bytes))
            return run(BIN / "korvane_zmagent", "--make-certificate", file, preexec_fn=limit)

        file = pathlib.Path(self.folder, "new.pem")
        self.assertIn("File too large", make(1024).stderr)
        self.assertFalse(file.exists())
        self.assertEqual(make(1 << 20).returncode, 0)
        for check, name, does in [("-checkhost", "localhost", "does"), ("-checkip", "::1", "does"),
                                  ("-checkhost", socket.gethostname(), "does"),
                                  ("-checkhost", "node7.example", "does NOT")]:
            said = run("openssl", "x509", "-in", file, "-noout", check, name).stdout
            self.assertIn(f"{name} {does} match certificate", said)

    def test_certificates_log_in(self):
        def certify(name, authority):
            made = run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                       "ec_paramgen_curve:P-256", "-nodes", "-days", "2",
                       "-subj", f"/CN={name}", "-keyout", f"{self.folder}/{name}.key", "-out",
                       f"{self.folder}/{name}.pem", *(
                           ("-CA", f"{self.folder}/{authority}.pem", "-CAkey",
                            f"{self.folder}/{authority}.key", "-addext",
                            "basicConstraints=CA:FALSE") if authority else ()))
            self.assertEqual(made.returncode, 0, made.stderr)

        for name, authority in [("authority", None), ("other", None),
                                (USER.pw_name, "authority"), ("nobody", "authority")]:
            certify(name, authority)
        agent = self.start(readers=[GROUP], operators=[], tls=f"""
client_authorities = "{self.folder}/authority.pem"
certificates_log_in = true""")
        question, change = "korvane listadapterprops", "net mtu set ifname=none0 mtu=1400"
        by = 'command="login" by="certificate" status='
        for name, words, password, status, logged in [
                (USER.pw_name, question, "wrong", 0, f'{by}0'),
                (USER.pw_name, change, "wrong", 1, 'mtu="1400" status=9 '),
                ("nobody", question, "right", 0, f'{by}225 "user name'),
                ("nobody", question, "wrong", 4, f'{by}225 "user name'),
                ("other", question, "right", 3, ""),
                (None, question, "right", 0, 'command="login" status=0'),
                (None, question, "wrong", 4, 'command="login" failures="1" status=225')]:
            with self.subTest(name=name, words=words, password=password):
                agent.log.write_text("")
                shown = [f"--client-cert={self.folder}/{name}.pem",
                         f"--client-key={self.folder}/{name}.key"] if name else []
                answer = agent.ask(*shown, *words.split(), password=password)
                self.assertEqual(answer.returncode, status, answer.stdout + answer.stderr)
                self.assertIn(logged, agent.log.read_text())

    def test_a_change_of_the_own_path_is_confirmed_by_coming_again(self):
        """The client comes by a cable, which is a port of a bridge that has the address."""
        host, outside = f"zwa{os.getpid()}", f"zwb{os.getpid()}"
        if not IS_ROOT or run("ip", "netns", "add", host).returncode != 0:
            self.skipTest("no namespaces of its own here")
        for name in host, outside:
            self.scope.callback(run, "ip", "netns", "del", name)
        for words in [("netns", "add", outside),
                      ("-n", host, "link", "add", "cable", "type", "veth", "peer", "name", "cable",
                       "netns", outside),
                      ("-n", host, "link", "add", "bridge", "type", "bridge"),
                      ("-n", host, "link", "add", "other", "type", "veth"),
                      ("-n", host, "link", "set", "cable", "master", "bridge", "up"),
                      ("-n", host, "link", "set", "bridge", "up"),
                      ("-n", host, "address", "add", "192.0.2.1/24", "dev", "bridge"),
                      ("-n", outside, "link", "set", "cable", "up"),
                      ("-n", outside, "address", "add", "192.0.2.2/24", "dev", "cable")]:
            self.assertEqual(run("ip", *words).returncode, 0, words)

        def mtu(interface):
            shown = run("ip", "-n", host, "-j", "link", "show", interface)
            return json.loads(shown.stdout)[0]["mtu"]

        def change(agent, *words):
            changed = agent.ask(*words)
            self.assertEqual(changed.returncode, 0, changed.stdout + agent.log.read_text())

        def start(confirm_seconds):
            return self.start(before=["ip", "netns", "exec", host], address="192.0.2.1",
                              client=["ip", "netns", "exec", outside],
                              confirm_seconds=confirm_seconds)

        set_mtu = ("net", "mtu", "set")
        for seconds, interface, then, mtu_after in [
                (3600, "cable", "comes again", 1400), (3600, "cable", "", 1500),
                (3600, "cable", "is changed by another", 1450), (3600, "other", "", 1400),
                (0, "cable", "", 1400)]:
            with self.subTest(interface=interface, seconds=seconds, then=then):
                agent = start(seconds)
                change(agent, *set_mtu, "mtu=1500", f"ifname={interface}")
                agent.ask("korvane", "listadapterprops")
                change(agent, *set_mtu, "mtu=1400", f"ifname={interface}")
                self.assertEqual(mtu(interface), 1400)
                if then == "comes again":
                    agent.ask("korvane", "listadapterprops")
                elif then:
                    run("ip", "-n", host, "link", "set", interface, "mtu", 1450)
                self.assertEqual(agent.end(), (0, ""))  # what waits then is put back
                self.assertEqual(mtu(interface), mtu_after)
        agent = start(1)
        change(agent, *set_mtu, "mtu=1300", "ifname=cable")
        while mtu("cable") == 1300:  # it is put back, or the test runs into its limit
            select.select([], [], [], 0.05)
        self.assertIn("put back: nobody has confirmed it", agent.log.read_text())
        # A link is touched when the answer is there: what comes of it is in the log.
        change(agent, "korvane", "setportproperty", "pci=cable", "port=0", "resetautoneg=1")
        self.assertEqual(agent.end(), (0, ""))
        self.assertRegex(agent.log.read_text(), 'change="follows the answer" status=0\n.*'
                                                'status=6 .*resetautoneg')


unittest.main(verbosity=2)
