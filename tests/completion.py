#!/usr/bin/env python3
"""Presses Tab in real shells. Usage: completion.py BINARY_DIR SCRIPTS SHELL"""
import atexit
import os
import pty
import select
import shutil
import subprocess
import sys
import tempfile
import time

BINARIES, SCRIPTS = map(os.path.abspath, sys.argv[1:3])
SHELL = sys.argv[3]
# Told to the shell before anything is typed: what completes, and a key that shows the line and empties it.
STARTS = {
    "bash": (["--norc", "--noprofile", "-i"],
             f"PS1=; bind 'set bell-style none'; source {SCRIPTS}/korvane_zwcli.bash; "
             "bind -x '\"\\C-t\": printf \"<%s>\\n\" \"$READLINE_LINE\"; READLINE_LINE='; echo $((40+2)) ready\n"),
    "zsh": (["-f", "-i"],
            f"PS1=; unsetopt beep; fpath=({SCRIPTS} $fpath); autoload -U compinit; compinit -u -D; "
            "show() { zle -I; print -r -- \"<$BUFFER>\"; BUFFER= }; zle -N show; bindkey '^T' show; "
            "echo $((40+2)) ready\n")}
# What is typed before Tab, and the line that is there behind it.
CASES = [("filter addx", "filter addx3 "), ("filter listx", "filter listx3"),
         ("korvane getportst", "korvane getportstats "), ("filter setcomb c", "filter setcomb comb="),
         ("filter list show=al", "filter list show=all "), ("--format=c", "--format=csv "),
         ("--format c", "--format csv "), ("--host rack1:", "--host rack1:4000 "),
         ("--host '[fd", "--host '[fd00::7]' "), ("--hosts a,ra", "--hosts a,rack1:4000 "),
         ("--hosts 'n[1-3],ra", "--hosts 'n[1-3],rack1:4000' "), ("--hosts @w", "--hosts @web "),
         ("--ca ru", "--ca rules/"), ("--ca=ru", "--ca=rules/"),
         ("tm add policy=@rules/a", "tm add policy=@rules/a.policy "),
         ("policy fmt ~/ru", "policy fmt ~/rules/"), ("policy fmt rules/m", "policy fmt rules/mine\\ too "),
         ("policy fmt 'rules/m", "policy fmt 'rules/mine too' "),
         ("filter list pci=", "filter list pci=0000:"),
         ("filter list pci=0000:05:0", "filter list pci=0000:05:00.4 "), ("nothing a", "nothing a")]

if shutil.which(SHELL) is None:
    print(f"{SHELL} is not installed")
    sys.exit(77)
home = tempfile.mkdtemp()
atexit.register(shutil.rmtree, home)
os.makedirs(home + "/.config/korvane")
os.mkdir(home + "/rules")
for name in ("rules/a.policy", "rules/mine too"):
    open(f"{home}/{name}", "w").close()
with open(home + "/.config/korvane/zwcli.toml", "w") as settings:
    settings.write('[groups]\nweb = "rack1:4000,fd00::7"\n')
arguments, start = STARTS[SHELL]
environment = {"HOME": home, "PATH": BINARIES + ":/usr/bin:/bin", "TERM": "dumb", "LANG": "C",
               "COLUMNS": "200"}
agent = subprocess.Popen([BINARIES + "/korvane_zmsim", "--port", "0"], stdout=subprocess.PIPE,
                         env=environment)
atexit.register(agent.kill)
host = "127.0.0.1:" + agent.stdout.readline().decode().strip()
environment |= {"KORVANE_HOST": host, "KORVANE_COMPLETE_LIVE": "60s"}
subprocess.run([BINARIES + "/korvane_zwcli", "agents", "add", host], check=True, env=environment)
process, terminal = pty.fork()
if process == 0:
    os.chdir(home)
    os.execvpe(SHELL, [SHELL, *arguments], environment)


def read_until(mark):
    text, end = "", time.monotonic() + 60
    while mark not in text:
        if not select.select([terminal], [], [], max(0, end - time.monotonic()))[0]:
            sys.exit(f"no {mark!r} in {text!r}")
        text += os.read(terminal, 4096).decode()
    return text


failures = []
os.write(terminal, start.encode())
read_until("42 ready")
for typed, expected in CASES:
    os.write(terminal, f"korvane_zwcli {typed}\t\x14".encode())
    line = read_until(">\r\n").rpartition("<")[2].partition(">")[0]
    if line != "korvane_zwcli " + expected:
        failures.append(f"{typed}: {line}")
os.close(terminal)
os.waitpid(process, 0)
print("\n".join(failures))
sys.exit(1 if failures else 0)
