"""Usage: worked_example.py SOURCE_DIR OUTPUT_DIR

Takes the example of docs/architecture.md apart: its files go into OUTPUT_DIR, its row into a copy of
the table of commands."""

import pathlib
import re
import sys

source, output = (pathlib.Path(name) for name in sys.argv[1:3])
pieces = dict(re.findall(r"^```cpp (\S+)\n(.*?)^```$", (source / "docs/architecture.md").read_text(),
                         re.MULTILINE | re.DOTALL))
routes = (source / "api/routes.cpp").read_text()
table = "constexpr Route kRoutes[] = {\n"
assert table in routes and len(pieces) == 3
pieces["api/routes.cpp"] = '#include "system/connections.h"\n' + routes.replace(
    table, table + pieces["api/routes.cpp"])
for name, text in pieces.items():
    (output / name).parent.mkdir(parents=True, exist_ok=True)
    (output / name).write_text(text)
