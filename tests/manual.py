"""The manual pages: manual.py BUILD. mandoc has nothing against them, and nothing is left out."""
import pathlib
import re
import shutil
import subprocess
import sys

build = pathlib.Path(sys.argv[1])
pages = {path.name: path for path in (build / "share/man").glob("man*/*")}
text = {name: path.read_text(encoding="utf-8") for name, path in pages.items()}
wrong = []


def said(program, *words):
    return subprocess.run([program, *words], capture_output=True, text=True).stdout


def pages_with(pattern):
    return [name for name in text if re.search(pattern, text[name], re.M)]


commands = re.findall(r"^(?!not in)(\S+ \S+)", said(build / "bin/korvane_zwcli", "help"), re.M)
for command in commands:
    where = pages_with(rf"^(\.Ss |\\&){re.escape(command)}( |$)")
    wrong += [f"{command}: in {where}"] if len(where) != 1 else []
agent = build / "bin/korvane_zmagent"
settings = re.findall(r"^\w+ = ", said(agent, "--print-config"), re.M) if agent.exists() else []
for setting in settings:
    where = pages_with(rf'^\.It Ic "{re.escape(setting)}')
    wrong += [f"{setting}: in {where}"] if where != ["zmagent.toml.5"] else []
for name in text:
    wrong += [f"{name}: there is no {page}" for page in
              map(".".join, re.findall(r"^\.(?:It )?Xr (\S+) (\d)", text[name], re.M))
              if page not in pages]
if shutil.which("mandoc"):
    for name, path in pages.items():
        wrong += said("mandoc", "-T", "lint", "-W", "warning", path).splitlines()
        wrong += [f"{name}: an escape shows"] if "\\" in said("mandoc", "-T", "ascii", path) else []
print(f"{len(pages)} pages, {len(commands)} commands, {len(settings)} settings")
print("\n".join(wrong))
if wrong or not commands or agent.exists() != bool(settings):
    sys.exit(1)
if not shutil.which("mandoc"):
    print("left out: what mandoc says of them, as it is not installed")
    sys.exit(77)
