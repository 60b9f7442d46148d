#!/usr/bin/env python3
"""Checks that no file includes one of a room that is above its own. Usage: arrows.py SOURCE_DIR"""
import pathlib
import re
import sys

# A room a row, and those that it may include beside its own files. Each of them stands above the
# row, so that there is no way round.
ROOMS = {
    "include": "",
    "platform": "",
    "records": "include",
    "session": "include platform records",
    "output": "include platform records session",
    "commands": "include platform records session output",
    "adapters": "include platform records session output commands",
    "filters": "include platform records session output commands",
    "policies": "include platform records session output commands",
    "system": "include platform records session output commands",
    "api": "include records session output commands adapters filters policies system",
    "front_end": "include platform records session output commands policies api",
    "agent": "include platform records session commands adapters filters",
    "linux_agent": "include platform records session output commands adapters filters agent",
    "simulator": "include platform records session commands adapters filters front_end agent",
    "benchmarks": "include output agent linux_agent",
    "examples": "include",
    "fuzz": "include records output commands policies api agent simulator linux_agent",
    "scripts": "include records session output commands",
    "tests": "include platform records session output commands adapters filters policies system "
             "front_end agent linux_agent simulator",
}

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def room_of(path):
    first = path.split("/")[0]
    return "include" if first == "zwmgmt" else first


def faults(source):
    known = set()
    for room, others in ROOMS.items():
        yield from (f"{room}: {other} does not stand above it" for other in others.split()
                    if other not in known)
        known.add(room)
    files = [path for path in source.glob("*/**/*")
             if path.name.endswith((".cpp", ".h", ".cpp.in")) and path.is_file()]
    for path in sorted(files):
        name = path.relative_to(source).as_posix()
        room = name.split("/")[0]
        if room == "build" or room.startswith("."):
            continue
        if room not in ROOMS:
            yield f"{name}: its room has no row in this table"
            continue
        for included in INCLUDE.findall(path.read_text()):
            if room_of(included) not in [room, *ROOMS[room].split()]:
                yield f"{name}: includes {included}"


found = list(faults(pathlib.Path(sys.argv[1])))
print("\n".join(found))
sys.exit(bool(found))
