"""Tells doxygen what the comments of a public header mean: filter.py FILE

- The comment at the top is about the header.
- "// ---- Name ----" begins a group of members; plain comments right below are about the group.
- A comment holds for the declarations below it, up to an empty line or the next comment: for a
  request's printer, too.
- Names of headers, of what is in the namespace, of constants (kSuccess) and of the operations that
  begin with CL are references; so they are in the main page.

Lines keep their numbers, but for those of the comment at the top.
"""
import re
import sys

NAME = re.compile(r"""(?<![<:/#"\w])(?:zwmgmt/[\w/]+\.h|(?:zwmgmt|ZwMgmt_interface)::\w+|
                      (?P<constant>k[A-Z]\w+)|(?P<operation>CL[A-Za-z]\w+))""", re.X)
OWN = re.compile(r"///<|= delete;|^~")  # has a description, or needs none
PRINTER = re.compile(r"void .*_Message\* message\);")


def reference(name):
    scope = {"constant": "zwmgmt::", "operation": "ZwMgmt_interface::"}.get(name.lastgroup, "")
    return f'@ref {scope}{name[0]} "{name[0]}"'


def linked(text):
    """Not in lines of code."""
    if text.startswith("     "):
        return text
    return NAME.sub(reference, re.sub(r"(?<!\w)%", r"\%", text))


def about_group(match):
    about = re.sub(r"\n *//", r"\n", match[2])
    return f"/** @}} */ /** @name {match[1]}{linked(about)} */ /** @{{ */"


def repeated(lines):
    comment, whole = [], False  # whole: the line before ends a declaration
    for line in lines:
        text = line.strip()
        if text.startswith("///"):
            comment = [*([] if whole else comment), text[3:].strip()]
            whole = False
        elif not text or text.startswith(("/", "}")) or text.endswith(("{", ":")):
            comment, whole = [], False
        else:
            if whole and comment and not OWN.search(text):
                told = ["Prints the reply."] if PRINTER.match(text) else []
                line = f"/** {' '.join(told + comment)} */ {line}"
            whole = text.startswith("#define") or text.partition("  ///<")[0].endswith((";", "}"))
        yield line


with open(sys.argv[1], encoding="utf-8") as file:
    source = file.read()
if sys.argv[1].endswith(".md"):
    source = linked(source)
else:
    source = re.sub(r"\A(///[^\0]*?\n)#pragma once", r"/// @file\n\1", source)
    source = re.sub(r"(///<?)(.*)", lambda match: match[1] + linked(match[2]), source)
    source, groups = re.subn(r"// -+ (.*?) -+((?:\n +//[^/].*)*)", about_group, source)
    if groups:
        source = source.replace("/** @} */", "", 1).replace(" private:", "/** @} */ private:")
    source = "\n".join(repeated(source.split("\n")))
print(source)
