#!/usr/bin/env python3
"""Compares sets of hosts with what ClusterShell makes of them. Usage: hosts.py BINARY_DIR"""
import random
import subprocess
import sys

from agent_under_test import check, faults

try:
    from ClusterShell.NodeSet import NodeSet
except ImportError:
    print("python3-clustershell is not installed: nothing to compare with")
    sys.exit(77)

ZWCLI = sys.argv[1] + "/korvane_zwcli"
SETS = ["node[001-003,1200],rack[1-3]n[01-16]!rack2n[03-05],node002", "a,b,a", "n[0-30/10]",
        "10.0.0.[1-12]!10.0.0.7", "n[8-11],n[08-11]", "a[1-2]b,a3b", "n[98-101],n[098-101]",
        "r[1-4]!r[2-3],r3", "n007,n7,n07", "x[1-3]y[2,4]z[05-06]!x2y4z05", "a!a,b"]
# What an independent reader does not know, and how it is shown, in order.
OURS = [("[::1]:35,::1,[::1]:35001", "[::1]:35 [::1]"), ("B[2,1],b1:35001", "B2 B1"),
        ("n[1-2]:4000,n1", "n1:4000 n2:4000 n1"), ("# c\r\n\n b,n[3-4]!n3 # c\na c\n", "b n4 a c"),
        ("h[1-3] !h2", "h1 h3")]
WRONG = [("", "a host is missing at the end"), ("a,,b", "column 3: a host is missing"),
         ("a!", "missing"), ("n[1-", 'column 1: "n[1-": a "[" without its "]"'),
         ("a,n]", 'column 3: "n]": a "]" without'), ("n[x]", '"x" is no number'), ("n[]", "no number"),
         ("n[9-1]", "backwards"), ("n[1-9/0]", "no steps"), ("n[08-100]", "differ in length"),
         ("n[1-1000001]", "a million"), ("n[0-999][1-999999999999999999]", "a million"),
         ("n:99999", "port"), (":35", "names no host"), ("@/nowhere", "cannot read /nowhere: "),
         ("a\nb,n[\n", 'standard input line 2, column 3: "n["'), ("@x\n", "names no other")]


def hosts(expression, *words):
    is_file = "\n" in expression
    done = subprocess.run([ZWCLI, *words, "-" if is_file else expression], capture_output=True,
                          text=True, timeout=60, input=expression if is_file else "")
    return done.returncode, done.stdout, done.stderr


def compare(expression):
    other = NodeSet(expression)
    code, out, err = hosts(expression, "hosts")
    names = out.split()
    check(code == 0 and sorted(names) == sorted(other), (expression, out, err))
    folded = hosts(expression, "hosts", "fold")[1].strip()
    if names:
        check(NodeSet(folded) == other, (expression, folded))
        if len(list(other.contiguous())) == 1 and "," not in str(other):
            check(folded == str(other), (expression, folded, str(other)))


def some_set(random_numbers):
    def numbers():
        width = random_numbers.choice([0, 3])
        first = random_numbers.randrange(1, 120)
        last = first + random_numbers.randrange(30)
        return random_numbers.choice([f"{first:0{width}}", f"{first:0{width}}-{last:0{width}}"])

    def pattern():
        text = random_numbers.choice(["n", "rack"]) + f"[{numbers()},{numbers()}]"
        return text + random_numbers.choice(["", "", f"x[{numbers()}]", "-ib"])

    text = pattern()
    for _ in range(random_numbers.randrange(6)):
        text += random_numbers.choice(",!") + pattern()
    return text


for each in SETS:
    compare(each)
generator = random.Random(20)
for _ in range(150):
    compare(some_set(generator))
for each, expected in OURS:
    check(hosts(each, "hosts")[1].split() == expected.split(), (each, hosts(each, "hosts")))
for each, expected in WRONG:
    code, out, err = hosts(each, "hosts")
    check((code, out) == (2, "") and expected in err, (each, code, out, err))
check(hosts("n[1-4]", "--exclude", "n[2-3]", "--format", "jsonl", "hosts")[1] ==
      '{"command":"hosts","result":{"count":2,"folded":"n[1,4]","hosts":["n1","n4"]},'
      '"exit_status":0}\n', "JSON")
print("\n".join(map(str, faults)))
sys.exit(bool(faults))
