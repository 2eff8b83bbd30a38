#!/usr/bin/env python3
"""zsl-replay's folders depend one way, as its build file says: each folder
(a library, zsl_replay_FOLDER) may include the folders it links, and theirs,
and no other. Every folder sees the tool's whole include root, so an include
that runs the wrong way would compile; this finds it.
usage: check_include_order.py TOOL_DIR"""

import os
import re
import sys

tool = sys.argv[1]
with open(os.path.join(tool, "CMakeLists.txt")) as file:
    build = file.read()
links = {}
for name, body in re.findall(r"zsl_replay_folder\((\w+)(.*?)\)\s*\n", build, re.S):
    links[name] = set(re.findall(r"zsl_replay_(\w+)", body))


def reach(name, seen=None):
    seen = set() if seen is None else seen
    for other in links.get(name, ()):
        if other not in seen:
            seen.add(other)
            reach(other, seen)
    return seen | {name}


wrong = []
for folder in sorted(links):
    allowed = reach(folder)
    for root, _, files in os.walk(os.path.join(tool, folder)):
        for name in sorted(files):
            if not name.endswith((".h", ".cpp")):
                continue
            path = os.path.join(root, name)
            with open(path, encoding="utf-8") as file:
                for number, line in enumerate(file, 1):
                    found = re.match(r'\s*#\s*include\s+"(\w+)/', line)
                    if found and found.group(1) in links and found.group(1) not in allowed:
                        wrong.append(f"{os.path.relpath(path, tool)}:{number}: {folder}/ includes "
                                     f"{found.group(1)}/, which it does not link (it may use: "
                                     f"{', '.join(sorted(allowed))})")
if len(links) < 8:
    wrong.append(f"only {len(links)} folders found in the build file: the check reads it wrongly")
print("\n".join(wrong) or f"{len(links)} folders, every include one way")
sys.exit(1 if wrong else 0)
