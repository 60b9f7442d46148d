#!/usr/bin/env python3
"""Follows the transcripts of a document and compares what they show with what happens.

    transcripts.py PROGRAMS DOCUMENT     PROGRAMS: the folder of korvane_zwcli and korvane_zmsim

A transcript is an indented block with commands behind "$ ". All commands of a document run in one
shell, one after the other, in a folder that holds the project's examples: what one leaves, the next
finds. A line "..." stands for any lines. Commands that build, install or set the path are what
the test has done itself, and left out. Agents get free ports behind those that they are asked for,
keys are any ("SHA256:..."), and the home is an operator's.
"""
import contextlib
import difflib
import os
import re
import signal
import subprocess
import sys
import tempfile

LEFT_OUT = ("scripts/", "export PATH=", "sudo ", "cmake ", "mkdir -p build", "build/", "g++ ")

WRAPPERS = {
    "korvane_zwcli": """
args=(--port 35001 "$@")
shopt -s nullglob
for asked in "$PORTS"/*; do
    for ((i = 1; i < ${#args[@]}; ++i)); do
        if [[ ${args[i-1]} == --port ]]; then args[i]=${args[i]/#${asked##*/}/$(<"$asked")}; fi
        args[i]=${args[i]//:${asked##*/}/:$(<"$asked")}
    done
done
exec "$PROGRAMS/korvane_zwcli" "${args[@]}"
""",
    "korvane_zmsim": """
args=("$@")
for ((i = 1; i < ${#args[@]}; ++i)); do
    if [[ ${args[i-1]} == --port ]]; then asked=${args[i]} args[i]=0; fi
done
exec 3< <(exec "$PROGRAMS/korvane_zmsim" "${args[@]}")
agent=$!
trap 'kill $agent 2>/dev/null' TERM INT
read -r port <&3 && echo "$port" >"$PORTS/$asked" && echo "$asked"
wait $agent || wait $agent
""",
}


def transcripts(text):
    """The commands with their first lines and what they are said to show."""
    found = []
    inside = False
    for number, line in enumerate(text.split("\n"), 1):
        if line.startswith("    $ "):
            inside = True
            found.append((number, line[6:], []))
        elif inside and (line.startswith("    ") or not line):
            command = found[-1]
            if command[1].endswith("\\"):
                found[-1] = (command[0], command[1] + "\n" + line[4:], command[2])
            else:
                command[2].append(line[4:])
        else:
            inside = False
    for _, _, shown in found:
        while shown and not shown[-1]:
            shown.pop()
    return [entry for entry in found if not entry[1].startswith(LEFT_OUT)]


def on_screen(text):
    """Lines as a terminal shows them: a carriage return overwrites what stands before it."""
    lines = [re.sub(r".*\r(?=.)|\r$", "", line).rstrip() for line in text.split("\n")]
    while lines and not lines[-1]:
        lines.pop()
    return lines


def as_asked(text, folder):
    """With the ports and the home that the document knows."""
    for asked in os.listdir(os.path.join(folder, "ports")):
        with open(os.path.join(folder, "ports", asked), encoding="utf-8") as file:
            text = re.sub(r"(port |:)%s\b" % file.read().strip(), r"\g<1>" + asked, text)
    return text.replace(os.path.join(folder, "home"), "/home/operator")


def same(shown, happened):
    pattern = "".join("(?:.*\n)*" if line.strip() == "..." else re.escape(line.rstrip()) + "\n"
                      for line in shown).replace(re.escape("SHA256:..."), "SHA256:[A-Za-z0-9+/]{43}")
    return re.fullmatch(pattern, "".join(line + "\n" for line in happened)) is not None


def script(commands):
    parts = []
    for i, (_, command, _) in enumerate(commands):
        parts.append("{ %s\n} >out.%d 2>&1 </dev/null" % (command, i))
        if command.endswith("&"):
            parts.append("for try in {1..600}; do [[ -s out.%d ]] && break; sleep 0.1; done" % i)
    return "\n".join(parts) + "\n"


def main():
    programs, document = map(os.path.abspath, sys.argv[1:])
    project = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    with open(document, encoding="utf-8") as file:
        commands = transcripts(file.read())
    with tempfile.TemporaryDirectory() as folder:
        for name in ("bin", "ports", "home"):
            os.mkdir(os.path.join(folder, name))
        os.symlink(os.path.join(project, "examples"), os.path.join(folder, "examples"))
        for name, text in WRAPPERS.items():
            with open(os.path.join(folder, "bin", name), "w", encoding="utf-8") as file:
                file.write("#!/usr/bin/env bash\n" + text)
            os.chmod(file.name, 0o755)
        environment = dict(os.environ, PROGRAMS=programs, PORTS=os.path.join(folder, "ports"),
                           HOME=os.path.join(folder, "home"), LC_ALL="C.UTF-8",
                           PATH=os.path.join(folder, "bin") + ":" + os.environ["PATH"])
        shell = subprocess.Popen(["bash"], stdin=subprocess.PIPE, cwd=folder, env=environment,
                                 start_new_session=True)
        try:
            shell.communicate(script(commands).encode(), timeout=240)
        finally:
            with contextlib.suppress(ProcessLookupError):  # nothing was left in the background
                os.killpg(shell.pid, signal.SIGTERM)
        failed = 0
        for i, (number, command, shown) in enumerate(commands):
            with open(os.path.join(folder, "out.%d" % i), encoding="utf-8", newline="") as file:
                happened = on_screen(as_asked(file.read(), folder))
            if same(shown, happened):
                continue
            failed += 1
            print("%s:%d: $ %s" % (os.path.basename(document), number, command))
            print("\n".join(difflib.unified_diff(shown, happened, "shown", "happened", lineterm="")))
    print("%d transcripts, %d failed" % (len(commands), failed))
    return 1 if failed or not commands else 0


sys.exit(main())
