#!/usr/bin/env python3
"""The README's calling-order outline is taken from the example program:
every line of its C block, other than the lines that mark a cut ("..."),
stands in the example in the same order, so the outline cannot drift from a
program that compiles and runs.

Usage: readme_outline.py README.md examples/play_channel.c"""
import re
import sys

readme, example = (open(p, encoding="utf-8").read() for p in sys.argv[1:3])
section = readme.split("## Calling order", 1)
if len(section) < 2:
    sys.exit("README has no 'Calling order' section")
block = re.search(r"```c\n(.*?)```", section[1], re.S)
if not block:
    sys.exit("the 'Calling order' section has no C block")

program = [line.strip() for line in example.splitlines()]
at, checked = 0, 0
for number, line in enumerate(block.group(1).splitlines(), 1):
    text = line.strip()
    if not text or "..." in text:
        continue
    try:
        at = program.index(text, at) + 1
    except ValueError:
        sys.exit(f"outline line {number} is not in the example (in this order): {text}")
    checked += 1
if checked < 20:
    sys.exit(f"only {checked} lines of the outline are program text")
print(f"{checked} outline lines found in order in the example")
