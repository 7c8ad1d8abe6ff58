"""Ratios of the rows of classify_bench, and qv info on 10,000 files that did not change beside ffprobe: each beside the
figure asked. Arguments: folder with rows.json, to work in; the program."""
import json
import os
import subprocess
import sys
import time

work, qv = sys.argv[1:3]
FILES = 10000


def row(name):
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    for one in json.load(open(f"{work}/rows.json"))["benchmarks"]:
        if one["name"] == name:
            return one["real_time"] * units[one["time_unit"]]
    sys.exit(f"no row {name}")


def show(what, value, asked):
    print(f"{what:64} {value:>12}   asked: {asked}")


def process_rows():
    show("load of 100,000 elements", f"{row('classify/cache-load/100000') * 1e3:.1f} ms", "under 150 ms")
    show("hit among 100,000, the file not opened", f"{row('classify/cache-hit/100000') * 1e6:.2f} us", "under 20 us")
    each = [row(f"classify/cache-insert/{count}") / count * 1e9 for count in (1000, 10000, 100000)]
    show("insertion of one at 1k, 10k, 100k", " ".join(f"{t:.0f}" for t in each) + " ns", "not growing as the count")
    probe = row("classify/process/dv-avi/ffprobe/real_time")
    media = row("classify/process/dv-avi/mediainfo/real_time")
    info = row("classify/process/dv-avi/qv-info/real_time")
    show("qv info on a DV AVI, whole process", f"{info * 1e3:.2f} ms", "under 10 ms")
    show("  times faster than ffprobe", f"{probe / info:.1f}", "8")
    show("  times faster than mediainfo", f"{media / info:.1f}", "3")


def make_files():
    folder = f"{work}/files"
    os.mkdir(folder)
    tape = f"{folder}/0.avi"
    subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=s=720x480:r=30000/1001", "-f", "lavfi", "-i",
                    "sine=r=48000", "-ac", "2", "-c:a", "pcm_s16le", "-frames:v", "10", "-c:v", "dvvideo", "-pix_fmt", "yuv411p", tape],
                   check=True)
    os.utime(tape, (time.time() - 3600,) * 2)
    for number in range(1, FILES):  # one content under many names: what is known is known by name
        os.link(tape, f"{folder}/{number}.avi")
    return folder


def timed(command):
    start = time.monotonic()
    out = subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout
    return time.monotonic() - start, out


def warm():
    folder = make_files()
    os.environ["QVLIBS_HOME"] = f"{work}/home"
    os.mkdir(f"{work}/home")
    for name, value in (("MainApplication", "qv"), ("ImageTemp", f"{work}/home")):
        subprocess.run([qv, "settings", "set", "Common", name, value], check=True, stdout=subprocess.DEVNULL)
    first, cold = timed([qv, "info", "--json", folder])
    again, same = min(timed([qv, "info", "--json", folder]) for _ in range(3))
    if cold != same or len(json.loads(same)) != FILES:
        sys.exit("what is remembered is not what was found")
    some = [f"{folder}/{number}.avi" for number in range(0, FILES, FILES // 50)]
    probe = sum(timed(["ffprobe", "-v", "error", "-show_format", "-show_streams", path])[0] for path in some) / len(some)
    show("qv info, 10,000 files for the first time, a file", f"{first / FILES * 1e3:.2f} ms", "-")
    show("qv info, 10,000 unchanged files, a file", f"{again / FILES * 1e6:.1f} us", "-")
    show("ffprobe, a file", f"{probe * 1e3:.1f} ms", "-")
    show("  times faster than ffprobe a file", f"{probe / (again / FILES):.0f}", "300")


process_rows()
warm()
