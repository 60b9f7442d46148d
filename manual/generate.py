"""Writes the manual pages: generate.py PROGRAMS SOURCE OUTPUT VERSION PAGE...

The pages beside this script are written by hand. A line of theirs that begins with "@" stands for
what the programs, the public headers or the documents say themselves, and is replaced with that.
"""
import functools
import json
import pathlib
import re
import subprocess
import sys

PROGRAMS, SOURCE, OUTPUT = (pathlib.Path(path) for path in sys.argv[1:4])
VERSION, PAGES = sys.argv[4], [pathlib.Path(page) for page in sys.argv[5:]]


@functools.cache
def said(program, *words):
    """What a program prints, whatever its user has set."""
    run = subprocess.run([PROGRAMS / program, *words], capture_output=True, text=True, check=True,
                         env={"HOME": str(OUTPUT), "LC_ALL": "C.UTF-8"})
    return run.stdout.splitlines()


@functools.cache
def lines_of(file):
    return (SOURCE / file).read_text(encoding="utf-8").splitlines()


# ---- mdoc ---------------------------------------------------------------------------------------

SIGNS = {"\\": r"\e", "~": r"\(ti", "^": r"\(ha", "`": r"\(ga", '"': r"\(dq", "'": r"\(aq"}


def escaped(text):
    text = re.sub(r"[\\~^`\"']", lambda sign: SIGNS[sign[0]], text)
    return re.sub(r"(?<!\w)-", r"\\-", text)  # an option's, not a hyphen


def prose(text):
    """Markdown text as lines, a sentence each."""
    text = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", text).strip()
    marked = [rf"\fB{escaped(part)}\fP" if i % 2 else escaped(part)
              for i, part in enumerate(text.split("`"))]
    lines = re.sub(r"(?<=\w[.)]) +(?=[A-Z\\])", "\n", "".join(marked)).split("\n")
    return [r"\&" + line if line.startswith(".") else line for line in lines if line]


def item(macro, head, text):
    return [f'.It {macro} "{escaped(head)}"', *prose(text)]


def listed(items, kind="-tag -width Ds"):
    lines = [line for each in items for line in each]
    return [f".Bl {kind}", *lines, ".El"] if lines else []


def literal(lines):
    return [".Bd -literal -offset indent", *(r"\&" + escaped(line) for line in lines), ".Ed"]


# ---- what programs say --------------------------------------------------------------------------

def option(names, rest, text):
    """An option as CLI11 describes it."""
    relations = dict(re.findall(r"(Needs|Excludes): ((?:--\S+ ?)+)", rest))
    rest = re.sub(r" ?(Needs|Excludes): .*", "", rest).removesuffix(" ...")
    value, check, default = re.fullmatch(r"([\w.|]*)(?::(.*?))?(?:=(.*))?", rest).groups()
    facts = []
    if span := re.search(r"\[(\d+) - (\d+)\]", check or ""):
        facts.append(f"{span[1]} to {span[2]}")
    elif choice := re.search(r"\{(.*?)\}", check or ""):
        facts.append(re.sub(r"->\w+", "", choice[1]).replace(",", ", "))
    if default:
        facts.append("default: " + default)
    for relation, words in (("Needs", "with"), ("Excludes", "not with")):
        if relation in relations:
            facts.append(f"{words} " + ", ".join(relations[relation].split()))
    flags = " , ".join("Fl " + escaped(name.removeprefix("-").partition("{")[0])
                       for name in names.split(","))
    kind = {"": "", "UINT": " Ar number", "INT": " Ar number"}.get(value, f" Ar {value.lower()}")
    return [f".It {flags}{kind}", *prose(text + (f" ({'; '.join(facts)})" if facts else "") + ".")]


def options(program):
    text = "\n".join(said(program, "--help")).partition("\nOptions:\n")[2].partition("\n\n")[0]
    found = re.findall(r"^  (-\S+) ?(.*?)(?: {2,}|\n {10,})(\S.*)$", text, re.M)
    assert len(found) == len(re.findall("^  -", text, re.M)), f"{program}: unknown form of --help"
    return listed(option(names, rest.strip(), what) for names, rest, what in found)


def exit_statuses():
    rows = (re.fullmatch(r"  (\d+) +(.*)", line) for line in said("korvane_zwcli", "--help"))
    return listed((item("Li", row[1], row[2] + ".") for row in rows if row), "-tag -width 130")


def usages(lines):
    """Usage, and what it does in indented lines below."""
    found = []
    for line in lines:
        if line.startswith(" "):
            found[-1][1].append(line.strip())
        elif line and not line.startswith("not in this version"):
            found.append((line, []))
    return [(usage, " ".join(what)) for usage, what in found]


@functools.cache
def formats(form):
    return said("zwmgmt_describe_formats", form)


def helped(are_requests):
    """The commands with help: requests to agents, or those that the front end answers itself."""
    schema = json.loads("\n".join(formats("schema")))
    requests = schema["$defs"]["answer"]["properties"]["command"]["enum"]
    return [(usage, what) for usage, what in usages(said("korvane_zwcli", "help"))
            if (" ".join(usage.split()[:2]) in requests) == are_requests]


def sentence(text):
    return prose(text[0].upper() + text[1:] + ".")


def own_commands():
    return [line for usage, what in helped(False)
            for line in (*literal(usage.split(" | ")), *sentence(what))]


def services():
    names = dict.fromkeys(usage.split()[0] for usage, _ in helped(True))
    return listed([[f".It Xr korvane_zwcli-{name} 1",
                    ", ".join(usage.split()[1] for usage, _ in helped(True)
                              if usage.split()[0] == name)] for name in names])


def command_help(service, command, usage, what):
    page = [f".Ss {service} {command}", *literal([usage]), *sentence(what)]
    keys, notes = [], []

    def flush():
        nonlocal keys, notes
        page.extend([".Pp", *prose(" ".join(notes))] if notes else [])
        page.extend(listed(keys, "-tag -width 20n -compact -offset indent"))
        keys, notes = [], []

    for line in said("korvane_zwcli", "help", service, command)[2:]:
        if key := re.fullmatch(r" {4}(\S+) +(.*)", line):
            keys.append(item("Cm", key[1], key[2]))
        elif example := re.fullmatch("Example: (.*)", line):
            flush()
            page.extend([".Pp", "Example:", *literal(["korvane_zwcli " + example[1]])])
        elif line:
            notes.append(line)
        else:
            flush()
    return page


def commands(service):
    return [line for usage, what in helped(True) if usage.split()[0] == service
            for line in command_help(service, usage.split()[1], usage, what)]


def fields(service):
    """The records of the answers of a service's commands."""
    page = []
    for section in "\n".join(formats("document")).split("\n### ")[1:]:
        name, what, *rows = [line for line in section.split("\n") if line]
        if f"`{service} " not in what:
            continue
        page += [f".Ss {name}", *prose(what)]
        page += rows_of(rows, "-tag -width 20n -compact")
    return page


def settings():
    page, rows, purpose = [], [], ""
    for line in [*said("korvane_zmagent", "--print-config"), "[]"]:
        if line.startswith("["):
            page += [*listed(rows), *([f".Ss {escaped(line)}"] if line != "[]" else [])]
            rows = []
        elif line.startswith("# "):
            purpose = line.removeprefix("# ")
        elif line:
            rows.append(item("Ic", line, "") + sentence(purpose))
    return page


# ---- what headers and documents say -------------------------------------------------------------

def rows_of(lines, kind="-tag -width Ds"):
    """A table in markdown, without its head."""
    cells = [[cell.strip().replace("\\0", "|") for cell in line.replace("\\|", "\\0").split("|")[1:-1]]
             for line in lines if line.startswith("|")][2:]
    return listed((item("Sy", row[0].replace("`", ""), "; ".join(cell for cell in row[1:] if cell))
                   for row in cells), kind)


def block_from(file, start):
    """The lines from the one that begins so to the next empty one."""
    lines = lines_of(file)
    first = next((i for i, line in enumerate(lines) if line.startswith(start)), None)
    if first is None:
        sys.exit(f"{file}: no line begins with \"{start}\"")
    return lines[first:[*lines, ""].index("", first)]


def table(file, *start):
    return rows_of(block_from(file, "| " + " ".join(start)))


def code(file, *start):
    return literal(line.removeprefix("    ") for line in block_from(file, "    " + " ".join(start)))


def file(name):
    return literal(lines_of(name))


def first_sentence(comment):
    return sentence(re.split(r"\.(?: |$)", " ".join(comment))[0])


def headers():
    found = []
    for path in sorted((SOURCE / "include/zwmgmt").rglob("*.h")):
        name = path.relative_to(SOURCE / "include")
        head = [line[4:] for line in lines_of(path) if line.startswith("///")]
        if head:
            found.append([f".It In {name}", *first_sentence(head)])
    return listed(found)


def statuses():
    rows = (re.fullmatch(r"    (k\w+) = (\d+),(?: +///< (.*))?", line)
            for line in lines_of("include/zwmgmt/status.h"))
    return listed((item("Dv", row[1], f"{row[2]}: {row[3] or 'success'}.") for row in rows if row),
                  "-tag -width 20n -compact")


def operations():
    """The members of the class, each with the first sentence of what its header says."""
    page, found, comment, declaration = [], [], [], ""
    lines = lines_of("include/zwmgmt/zwmgmt_interface.h")
    for line in lines[next(i for i, each in enumerate(lines) if each.startswith("class")):]:
        line = line.strip()
        if line == "private:":
            break
        if group := re.fullmatch(r"// -+ (.*?) -+", line):
            page += [*listed(found), f".Ss {group[1]}"]
            found = []
        elif line.startswith("/// "):
            comment.append(line[4:])
        elif line and not line.startswith("//"):
            line, _, behind = line.partition(" ///< ")
            comment += [behind] if behind else []
            declaration += line.strip() + " "
        if not declaration.endswith("; "):
            continue
        name = re.search(r"(~?\w+)\(", declaration)
        if name and (comment or not found):
            found.append([f".It Fn {name[1]}", *(first_sentence(comment) if comment else [])])
        elif name and name[1] not in found[-1][0].split():
            found[-1][0] += f" , Fn {name[1]}"
        comment, declaration = [], ""
    return page + listed(found)


# ---- pages --------------------------------------------------------------------------------------

BLOCKS = {"options": options, "exit-statuses": exit_statuses, "own-commands": own_commands,
          "services": services, "commands": commands, "fields": fields, "settings": settings,
          "table": table, "code": code, "file": file, "headers": headers, "statuses": statuses,
          "operations": operations}


def main():
    for page in PAGES:
        written = []
        for line in page.read_text(encoding="utf-8").replace("@VERSION@", VERSION).splitlines():
            name, *words = line[1:].split(" ")
            written += BLOCKS[name](*words) if line.startswith("@") else [line]
        folder = OUTPUT / ("man" + page.suffix[1:])
        folder.mkdir(parents=True, exist_ok=True)
        (folder / page.name).write_text("\n".join(written) + "\n", encoding="utf-8")


main()
