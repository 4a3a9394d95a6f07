#!/usr/bin/env python3
"""The shared object exports exactly the TQL_API functions of the public
header, and leaves every port function the header declares undefined, for the
host to define."""
import re
import subprocess
import sys

lib, header = sys.argv[1], sys.argv[2]

text = open(header).read()
text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
text = re.sub(r"//[^\n]*", " ", text)
text = re.sub(r"^\s*#.*$", " ", text, flags=re.M)
decls = [" ".join(d.split()) for d in text.split(";")]

exports, imports = set(), set()
for d in decls:
    if d.startswith("typedef") or "{" in d or "}" in d and "(" not in d:
        continue
    m = re.search(r"\b((?:tql_|tamber_HT_)\w+)\s*\(", d)
    if not m or "(*" in d:
        continue
    (exports if "TQL_API" in d else imports).add(m.group(1))


def symbols(flag):
    out = subprocess.run(["nm", "-D", flag, lib], check=True, capture_output=True, text=True).stdout
    return {line.split()[-1].split("@")[0] for line in out.splitlines() if line.strip()}


defined = symbols("--defined-only")
undefined = symbols("--undefined-only")

problems = []
if defined - exports:
    problems.append("exported but not in the public API: " + ", ".join(sorted(defined - exports)))
if exports - defined:
    problems.append("public API functions not exported: " + ", ".join(sorted(exports - defined)))
if imports - undefined:
    problems.append("port functions not left undefined: " + ", ".join(sorted(imports - undefined)))
if len(imports) != 31:
    problems.append(f"expected the 31 port functions in the header, found {len(imports)}: {sorted(imports)}")
for p in problems:
    print(p)
if not problems:
    print(f"exports: {len(exports)} tql_ functions; port imports: {len(imports)} left undefined")
sys.exit(1 if problems else 0)
