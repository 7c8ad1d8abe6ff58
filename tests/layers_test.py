"""Holds every #include against layers.txt: a file includes its own line and the lines above it."""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
order = {}
for number, line in enumerate((root / "layers.txt").read_text().splitlines()):
    for prefix in line.split("#")[0].split():
        order[prefix] = number


def layer(path):
    known = [prefix for prefix in order if path.startswith(prefix)]
    return order[max(known, key=len)] if known else None


wrong = []
for path in sorted((root / "qvlibs").rglob("*")):
    if path.suffix not in {".h", ".cpp"} or path.name.endswith("_test.cpp") or path.name == "qvlibs.h":
        continue
    name = path.relative_to(root).as_posix()
    own = layer(name)
    if own is None:
        wrong.append(f"{name}: in no layer")
        continue
    for number, line in enumerate(path.read_text().splitlines(), 1):
        found = re.match(r'\s*#\s*include\s+["<](qvlibs/[^">]+)[">]', line)
        if found and (layer(found.group(1)) is None or layer(found.group(1)) > own):
            wrong.append(f"{name}:{number}: includes {found.group(1)}, which lies above it")
for folder, allowed in {"tools": ("qvlibs/", "tools/"), "codecs": ("qvlibs/plugins/", "qvlibs/framework/",
                        "qvlibs/platform/GlobalMemory.h", "qvlibs/platform/AviHeader.h", "qvlibs/util/Bytes.h", "qvlibs/util/AtomicFile.h", "qvlibs/image/MaxDecodeSize.h",
                        # The DV writer encodes through the bridge, so that a user's choice of component holds for it too.
                        "qvlibs/media/DvBridge.h", "qvlibs/media/DvAspect.h", "qvlibs/settings/ProfileCtrl.h", "qvlibs/timecode/DvStamp.h",
                        "codecs/")}.items():
    for path in sorted((root / folder).rglob("*")):
        if path.suffix not in {".h", ".cpp", ".c"} or path.name.endswith("_test.cpp"):
            continue
        for number, line in enumerate(path.read_text().splitlines(), 1):
            found = re.match(r'\s*#\s*include\s+"([^"]+/[^"]+)"', line)
            if found and not found.group(1).startswith(allowed):
                wrong.append(f"{path.relative_to(root)}:{number}: may not include {found.group(1)}")
print("\n".join(wrong) or "every include keeps to the layers")
sys.exit(1 if wrong else 0)
