"""The API reference has a description of everything public, and the code in it compiles:
api_reference.py SOURCE OUTPUT COMPILER

That code is what stands in the comments of the public headers, and in README.md."""
import pathlib
import re
import shutil
import subprocess
import sys

SOURCE, OUTPUT, COMPILER = pathlib.Path(sys.argv[1]), *sys.argv[2:]
HEADERS = sorted((SOURCE / "include").rglob("*.h"))
COMMENTED = re.compile(r"(?:^ *///(?:     .*)?\n)*^ *///     .*\n", re.M)
INDENTED = re.compile(r"(?:^(?:    .*)?\n)+", re.M)

found = [(path, re.sub(r"(?m)^ */// ?", "", block)) for path in HEADERS
         for block in COMMENTED.findall(path.read_text(encoding="utf-8"))]
readme = SOURCE / "README.md"
found += [(readme, block) for block in INDENTED.findall(readme.read_text(encoding="utf-8"))
          if "zwmgmt::" in block and ";" in block]
assert {path.name for path, _ in found} >= {"README.md", "result.h", "zwmgmt_interface.h"}, found

code = "".join(f"#include <{path.relative_to(SOURCE / 'include')}>\n" for path in HEADERS)
code += """#include <vector>
extern const char* password;
extern ZwMgmt_interface session;
extern zwmgmt::CommandWords command;
extern std::vector<char> buffer;
void use(std::string_view text);
"""
for number, (path, block) in enumerate(found):
    code += f'void Snippet{number}() {{\n#line 1 "code in {path.name}"\n{block}}}\n'
subprocess.run([COMPILER, "-std=c++20", "-fsyntax-only", "-Wall", "-Wextra", "-Werror",
                f"-I{SOURCE}/include", "-xc++", "-"], input=code, text=True, check=True)
print(len(found), "pieces of code compile")

if not shutil.which("doxygen"):
    print("no doxygen here")
    sys.exit(77)
subprocess.run([SOURCE / "scripts/api_reference", OUTPUT], check=True)
