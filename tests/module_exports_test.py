"""Modules export functions that plugin_api.h has for their kind and nothing else; the movie modules all of them."""
import pathlib
import re
import subprocess
import sys

header, folder = map(pathlib.Path, sys.argv[1:])
parts = re.split(r"^/\* ---- (.+?) ----", header.read_text(), flags=re.M)[1:]
api = {title: set(re.findall(r"^\w[\w* ]*[ *](\w+)\(", text, re.M)) for title, text in zip(parts[::2], parts[1::2])}
every, reading, writing, sounds, titles, pictures, properties, _ = api.values()
# What a module may export, and what it must.
kinds = {".vcp": every | reading | writing, ".acp": every | reading | sounds, ".tcp": every | reading | titles,
         ".pcp": every | pictures, ".pbp": properties | {"IsSupported"}}
whole = {"dv.vcp": every | reading | writing, "movie.vcp": every | reading}

wrong = []
modules = sorted(path for path in folder.iterdir() if path.suffix in kinds)
for module in modules:
    lines = subprocess.run(["nm", "-D", "--defined-only", module], capture_output=True, text=True, check=True).stdout
    exported = {name for name in re.findall(r"\S+$", lines, re.M) if not name.startswith("_Z")}  # of the C++ library
    wrong += [f"{module.name}: {name} is not of its kind" for name in sorted(exported - kinds[module.suffix])]
    wrong += [f"{module.name}: {name} is missing" for name in sorted(whole.get(module.name, set()) - exported)]
print("\n".join(wrong) or f"{len(modules)} modules")
sys.exit(1 if wrong or not modules else 0)
