"""Reads compound files with three other readers and holds what they find against a list.

storage_judges.py LIST [--foreign]: a line "file <tab> path <tab> size <tab> crc32 in hex" for every stream, "file <tab> path/"
for every storage, names in UTF-8. Prints what differs; the last line counts files and streams of each reader. With --foreign 7-Zip alone
is asked, and files that it cannot open are left out.
"""
import collections
import ctypes
import ctypes.util
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import zlib

import olefile


def by_olefile(files):
    for file in files:
        found = {}
        ole = olefile.OleFileIO(file, raise_defects=olefile.DEFECT_INCORRECT, path_encoding=None)
        for path in ole.listdir(streams=True, storages=False):
            data = ole.openstream(path).read()
            found["/".join(path)] = (len(data), zlib.crc32(data))
        for path in ole.listdir(streams=False, storages=True):
            found["/".join(path) + "/"] = None
        problems = [str(text) for kind, text in ole.parsing_issues if "transaction" not in str(text)]
        ole.close()
        yield file, found, problems


def gsf_library():
    gsf, glib = ctypes.CDLL("libgsf-1.so.114"), ctypes.CDLL("libgobject-2.0.so.0")
    for name in ("gsf_input_stdio_new", "gsf_infile_msole_new", "gsf_infile_child_by_index", "gsf_input_read"):
        getattr(gsf, name).restype = ctypes.c_void_p
    gsf.gsf_infile_name_by_index.restype = ctypes.c_char_p
    gsf.gsf_input_size.restype = ctypes.c_longlong
    gsf.gsf_init()
    return gsf, glib


def by_gsf(files):
    gsf, glib = gsf_library()
    pointer = ctypes.c_void_p

    def walk(folder, prefix, found):
        for index in range(gsf.gsf_infile_num_children(pointer(folder))):
            name = prefix + gsf.gsf_infile_name_by_index(pointer(folder), index).decode()
            child = gsf.gsf_infile_child_by_index(pointer(folder), index)
            if not child:
                found[name] = "cannot be opened"
                continue
            if gsf.gsf_infile_num_children(pointer(child)) >= 0:
                found[name + "/"] = None
                walk(child, name + "/", found)
            else:
                size = gsf.gsf_input_size(pointer(child))
                data = b""
                if size:
                    at = gsf.gsf_input_read(pointer(child), ctypes.c_size_t(size), None)
                    data = ctypes.string_at(at, size) if at else b"?"
                found[name] = (size, zlib.crc32(data))
            glib.g_object_unref(pointer(child))

    for file in files:
        found = {}
        source = gsf.gsf_input_stdio_new(os.fsencode(file), None)
        root = gsf.gsf_infile_msole_new(pointer(source), None)
        problems = [] if root else ["cannot be opened"]
        if root:
            walk(root, "", found)
            glib.g_object_unref(pointer(root))
        glib.g_object_unref(pointer(source))
        yield file, found, problems


def by_7zip(files, at_once=200):
    program = shutil.which("7zz") or shutil.which("7z")
    for start in range(0, len(files), at_once):
        batch = files[start:start + at_once]
        with tempfile.TemporaryDirectory() as folder:
            for number, file in enumerate(batch):
                os.symlink(os.path.abspath(file), f"{folder}/{number}.stg")
            run = subprocess.run([program, "x", "-y", "-bd", "-tCompound", f"-o{folder}/out/*", f"{folder}/*.stg"],
                                 capture_output=True, text=True, env={**os.environ, "LC_ALL": "C.UTF-8"})
            failed = [line for line in run.stdout.splitlines() + run.stderr.splitlines() if "ERROR" in line]
            for number, file in enumerate(batch):
                top = pathlib.Path(folder, "out", str(number))
                found = {}
                for path in top.rglob("*"):
                    # Control characters come out as numbers.
                    name = re.sub(r"\[(\d+)\]", lambda number: chr(int(number[1])), path.relative_to(top).as_posix())
                    data = path.read_bytes() if path.is_file() else None
                    found[name + ("/" if data is None else "")] = (
                        None if data is None else (len(data), zlib.crc32(data)))
                if at_once > 1 or not run.returncode:
                    yield file, found, [line for line in failed if f"/{number}.stg" in line]
            if run.returncode and at_once == 1:
                yield batch[0], None, []
            elif run.returncode and not failed:
                yield batch[0], {}, [f"7-Zip ends with {run.returncode}: {run.stdout[-300:]}"]


expected = collections.defaultdict(dict)
for line in pathlib.Path(sys.argv[1]).read_text().splitlines():
    file, path, *rest = line.split("\t")
    if path:
        expected[file][path] = (int(rest[0]), int(rest[1], 16)) if rest else None
    else:
        expected[file]

def by_7zip_alone(files):
    return by_7zip(files, at_once=1)


wrong = 0
counts = []
for reader in (by_7zip_alone,) if "--foreign" in sys.argv else (by_olefile, by_gsf, by_7zip):
    streams = left_out = 0
    for file, found, problems in reader(list(expected)):
        if found is None:
            left_out += 1
            continue
        differing = sorted(set(found.items()) ^ set(expected[file].items()), key=str)
        streams += sum(1 for value in found.values() if value is not None)
        if problems or differing:
            wrong += 1
            print(f"{reader.__name__}: {file}: {problems[:3]} {differing[:4]}")
    counts.append(f"{reader.__name__} {len(expected) - left_out} files {streams} streams"
                  + (f", {left_out} left out" if left_out else ""))
print("; ".join(counts))
sys.exit(1 if wrong else 0)
