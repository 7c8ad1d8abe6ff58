"""The shared library runs no initialisers but its own attach, and exports only what public headers declare."""
import pathlib
import re
import subprocess
import sys

library, headers = sys.argv[1], sys.argv[2:]
words = set()
for header in headers:
    words.update(re.findall(r"\w+", pathlib.Path(header).read_text()))


def symbols(*options):
    lines = subprocess.run(["nm", *options, library], capture_output=True, text=True, check=True).stdout
    return [line.split(maxsplit=2)[-1] for line in lines.splitlines() if line.strip()]


wrong = []
# A namespace-scope object with an initialiser would be built after attach has run, over what attach stored.
for name in symbols():
    if re.match(r"_GLOBAL__(sub_)?I|__cxx_global_var_init", name):
        wrong.append(f"dynamic initialiser: {name}")
for name in symbols("-D", "-C", "--defined-only"):
    plain = re.sub(r"^(typeinfo name for|typeinfo for|vtable for|VTT for|guard variable for|"
                   r"(non-)?virtual thunk to) ", "", name)
    plain = plain.split("(")[0]
    while "<" in plain and "operator<" not in plain:
        shorter = re.sub(r"<[^<>]*>", "", plain)
        if shorter == plain:
            break
        plain = shorter
    plain = plain.split()[-1]  # a template's return type comes first
    first = [word for word in re.findall(r"\w+", plain) if word not in {"qv", "trace"}]
    if plain.startswith(("std::", "operator", "__gnu_cxx::")):
        continue
    if not first or first[0] not in words:
        wrong.append(f"exported, but in no public header: {name}")
print("\n".join(wrong) or "only the interface is exported")
sys.exit(1 if wrong else 0)
