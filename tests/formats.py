"""Usage: formats.py BIN DOCS

Asks simulated agents of every system everything that has data, in every format: JSON is judged by
its schema and by what the scenarios tell, CSV is read by another reader and must say the same, and
the documents must be those that the descriptions make."""

import csv
import io
import json
import subprocess
import sys

import jsonschema

from agent_under_test import check, faults

BIN, DOCS = sys.argv[1:3]

# Words, then the systems whose agents answer with data ("" is all).
SYSTEMS = ["windows", "linux", "solaris", "freebsd", "esx", "xen", "mac"]
QUESTIONS = [
    ("korvane listadapterprops", SYSTEMS),
    ("korvane listports pci=%s", SYSTEMS),
    ("korvane getcardstats pci=%s", SYSTEMS),
    ("korvane getportstats pci=%s port=0", SYSTEMS),
    ("system getcapabilities", SYSTEMS),
    ("system listdrivers", SYSTEMS),
    ("filter showcomb", ["linux"]),
    ("filter addx3 ifname=eth2 sip=10.0.0.1/8 dport=80 proto=tcp queue=3 action=pass", []),
    ("filter listx3", ["linux"]),
    ("filter maxfilters get ifname=eth2", ["linux"]),
    ("filter add pci=0000:05:00.4 vlan=5:0xff lip=10.1.2.0/24 x4action=drop", []),
    ("filter add pci=0000:05:00.4 id=8 fip=2001:db8::/32 x4action=switch eport=1", []),
    ("filter list pci=0000:05:00.4 show=all", ["linux"]),
    ("filter showactivecomb", ["linux"]),
    ("filter listadapters", ["linux"]),
    ("filter listx3adapters", ["linux"]),
    ("system loaddriver drvname=x3_tom", []),
    ("tm add ifname=eth2 policy=port 80 => offload cong reno bind random", []),
    ("tm list", ["linux"]),
    ("--wait net ping host=localhost", ["linux"]),
    ("--wait net traceroute host=localhost", ["linux"]),
    ("korvane listports pci=none", []),
    ("korvane setportproperty pci=0000:03:00.0 port=0 mtu=none", []),
]
# No agent gets these.
NOT_SENT = ["filter showcomb", "korvane setportproperty pci=0000:03:00.0 port=0 mtu=none"]
# What the Linux agent's answers hold after the changes above.
RESULTS = {
    "filter listx3": [{"interface_name": "eth2", "id": 1, "source_address": "10.0.0.1",
                       "source_prefix": 8, "destination_port": 80, "protocol": "tcp", "queue": 3,
                       "action": "pass"}],
    "filter list pci=0000:05:00.4 show=all": [
        {"id": 1, "vlan": "0x5:0xff", "lip": "10.1.2.0/24", "action": "drop"},
        {"id": 8, "fip": "2001:db8::/32", "action": "switch", "eport": 1}],
    "tm list": [{"interface_name": "eth2", "index": 1, "condition": "src port 80 or dst port 80",
                 "exact": True, "offload": True, "congestion": "reno", "bind": "random"}],
    "--wait net ping host=localhost": {"sent": 4, "received": 4, "avg_rtt_ms": 2},
    "--wait net traceroute host=localhost": [
        {"hop": 1, "address": "10.0.0.1", "avg_rtt_ms": 1, "outcome": "router"},
        {"hop": 2, "avg_rtt_ms": 0, "outcome": "timed out"},
        {"hop": 3, "address": "10.0.0.9", "avg_rtt_ms": 2, "outcome": "reached"}],
}
DIRECTIONS = ["Disabled", "Tx Enabled", "Rx Enabled", "Tx and Rx Enabled"]
# The words of fields that agents tell by numbers.
WORDS = {
    "speed_mode": ["fixed", "auto"],
    "duplex": ["half", "full"],
    "rss_profile": ["Closest Processor", "Closest Processor Static", "NUMA Scaling",
                    "NUMA Scaling Static", "Conservative Scaling"],
    "ndis_function": ["Disabled", "NIC mode", "Offload mode"],
    "performance_mode": ["Compatibility", "Performance"],
    **dict.fromkeys(["flow_control", "ipv4_checksum", "tcp_checksum_ipv4", "tcp_checksum_ipv6",
                     "udp_checksum_ipv4", "udp_checksum_ipv6"], DIRECTIONS),
}


def run(port, form, question, options=()):
    words = question.split(" ")
    if "policy=" in question:
        head, policy = question.split("policy=")
        words = head.split() + ["policy=" + policy]
    if form != "text":
        words = ["--format", form] + words
    done = subprocess.run([BIN + "/korvane_zwcli", "--verify", "off", "--port", port, *options] + words, capture_output=True,
                          timeout=60, stdin=subprocess.DEVNULL)
    return done.returncode, done.stdout


def preview(system, question, validator):
    """What a dry run tells of each field must be what lies in the bytes that it shows."""
    answer = json.loads(run("1", "json", question, ["--dry-run", "--agent-os", system])[1])
    for error in validator.iter_errors(answer):
        check(False, f"{question}: {error.json_path}: {error.message}")
    for message in answer["dry_run"]["messages"]:
        check(len(message["data"]) == 2 * message["length"], question + ": length")
        for part, fields in (("header", "header_fields"), ("data", "fields")):
            for field in message[fields]:
                lies = bytes.fromhex(message[part])[field["offset"]:][:field["width"]]
                value = field["value"]
                if isinstance(value, int):
                    tells = int.from_bytes(lies, "little", signed=value < 0)
                elif field["name"].endswith(("address", ".mask")):
                    tells = lies.hex()
                else:
                    tells = lies.rstrip(b"\0")
                    value = value.encode()
                check(value == tells, f"{question}: {field}")


def cell(value):
    if value is None:
        return ""
    if isinstance(value, bool):
        return str(value).lower()
    return ", ".join(value) if isinstance(value, list) else str(value)


def ask(port, question, has_data, validator):
    where = question
    code, out = run(port, "json", question)
    answer = json.loads(out)
    for error in validator.iter_errors(answer):
        check(False, f"{where}: {error.json_path}: {error.message}")
    check(answer["exit_status"] == code, where + ": exit status")
    check(bool(answer["result"]) == has_data, f"{where}: {answer['result']} {answer['message']}")
    expected = RESULTS.get(question, answer["result"])
    check(answer["result"] == expected, f"{where}: {answer['result']}")
    if not has_data or "--wait" in question:
        return answer
    check(len(answer["messages"]) == ("host" in answer), f"{where}: data among {answer['messages']}")
    one_line = run(port, "jsonl", question)[1]
    check(one_line.count(b"\n") == 1, where + ": jsonl in one line")
    again = json.loads(one_line)
    if "stats" not in question:  # counters move on
        check(again["result"] == answer["result"], where + ": jsonl")
        text = run(port, "csv", question)[1].decode()
        check(text.count("\r\n") == text.count("\n"), where + ": line ends of CSV")
        rows = list(csv.DictReader(io.StringIO(text, newline="")))
        records = answer["result"] if isinstance(answer["result"], list) else [answer["result"]]
        check(len(rows) == len(records), where + ": CSV rows")
        for row, record in zip(rows, records):
            given = {name: value for name, value in row.items() if value}
            check(given == {name: cell(value) for name, value in record.items()}, where + ": CSV")
            check(set(record) <= set(row), where + ": CSV header")
    if "host" in answer:
        many = run(port, "json", f"--hosts 127.0.0.1:[1,{port}] {question}")[1]
        for error in validator.iter_errors(json.loads(many)):
            check(False, f"{where} of two hosts: {error.json_path}: {error.message}")
    code, table = run(port, "table", question)
    check(code == 0 and table.count(b"\n") > 1, where + ": table")
    return answer


def batch(port, commands, validator):
    """Commands of a file answer as each of them alone, in an array or in lines."""
    for form, parse in [("json", json.loads), ("jsonl", lambda out: [json.loads(line) for line in out.splitlines()])]:
        done = subprocess.run([BIN + "/korvane_zwcli", "--verify", "off", "--port", port, "--format", form,
                               "--keep-going", "--batch", "-"], capture_output=True, timeout=60,
                              input="\n".join(commands).encode())
        answers = parse(done.stdout)
        for error in validator.iter_errors(answers if form == "json" else answers[0]):
            check(False, f"batch: {error.json_path}: {error.message}")
        check([answer.pop("line") for answer in answers] == list(range(1, len(commands) + 1)), "batch: lines")
        for answer, command in zip(answers, commands):
            alone = json.loads(run(port, "json", command)[1])
            check(dict(answer, messages=[]) == dict(alone, messages=[]), f"batch: {command}")


def watch(port, location, validator):
    """Rounds are answers with a time, and their counters are rates from the second on."""
    question = f"korvane getcardstats pci={location}"
    answers = json.loads(run(port, "json", question, ["--watch", "100ms", "--count", "2", "--rate"])[1])
    for error in validator.iter_errors(answers):
        check(False, f"watch: {error.json_path}: {error.message}")
    check([("time" in answer, "interval_ms" in answer) for answer in answers] ==
          [(True, False), (True, True)], f"watch: {answers}")


def as_told(value, told):
    """Whether a value is what the scenario tells the agent, in the scenario's own notation."""
    if isinstance(value, bool):
        return value == (str(told) in ("1", "True"))
    if isinstance(value, int):
        return value == int(str(told), 0)
    return value == told


def compare(answer, told, where):
    check(len(answer["result"]) == len(told), where + ": records")
    for record, scenario in zip(answer["result"], told):
        for name, value in record.items():
            if name in scenario:
                number = scenario[name]
                expected = WORDS[name][int(number)] if name in WORDS else number
                check(as_told(value, expected), f"{where}: {name}: {value}")
            else:
                check(value in (0, False, "fixed", "half") or name == "port_count",
                      f"{where}: nobody told {name}: {value}")


def main():
    for what, name in [("document", "formats.md"), ("schema", "formats.schema.json")]:
        made = subprocess.run([BIN + "/zwmgmt_describe_formats", what], capture_output=True)
        with open(f"{DOCS}/{name}", "rb") as file:
            check(made.stdout == file.read(), f"docs/{name} is not current: run scripts/formats")
    with open(DOCS + "/formats.schema.json") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    for system in SYSTEMS:
        with open(f"{DOCS}/../simulator/scenarios/{system}.json") as file:
            told = json.load(file)
        agent = subprocess.Popen([BIN + "/korvane_zmsim", "--os", system], stdout=subprocess.PIPE)
        try:
            port = agent.stdout.readline().decode().split()[-1]
            location = ""
            for question, systems in QUESTIONS:
                if systems != SYSTEMS and system != "linux":
                    continue
                asked = question % location if "%s" in question else question
                if question not in NOT_SENT:
                    preview(system, asked.replace("--wait ", ""), validator)
                answer = ask(port, asked, system in systems, validator)
                if "listadapterprops" in question:
                    compare(answer, told["adapters"], system + " adapters")
                elif question == "korvane listports pci=%s":
                    compare(answer, told["adapters"][0]["ports"], system + " ports")
                elif "listdrivers" in question:
                    compare(answer, told["drivers"], system + " drivers")
                if not location:
                    location = answer["result"][0]["pci_bus_location"]
            batch(port, ["korvane listadapterprops", f"korvane listports pci={location}",
                         "system listdrivers"], validator)
            watch(port, location, validator)
        finally:
            agent.terminate()
            agent.wait()
    print("\n".join(faults))
    return bool(faults)


sys.exit(main())
