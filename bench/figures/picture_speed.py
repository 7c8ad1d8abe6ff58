"""Prints the table of picture-speed.sh: what picture_bench measured, and whole processes, timed here."""
import json
import subprocess
import sys
import time

work, qv = sys.argv[1:3]
least = {}
for row in json.load(open(f"{work}/bench.json"))["benchmarks"]:
    if row["run_type"] == "iteration":
        name = row["name"].split("/real_time")[0]
        least[name] = min(least.get(name, 1e30), row["real_time"])


def line(what, ours, peer, unit, must):
    ratio = ours / peer
    print(f"{what:32} {ours:9.2f} {peer:9.2f} {unit}  {ratio:5.2f} of {must:4.2f}  {'ok' if ratio <= must else 'MISSED'}")


print(f"{'what':32} {'ours':>9} {'library':>9}     ratio")
for name in sorted(least):
    if "/own/" in name and "info" not in name:
        line(name.replace("/own/", " "), least[name], least[name.replace("/own/", "/library/")], "ms", 1.15)
info = least["info/own/jpeg-640x480"]
print(f"{'GetInfo, a file of 1,000 JPEGs':32} {info:9.2f} us, must be under 50  {'ok' if info < 50 else 'MISSED'}")


def run(command):
    start = time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return (time.perf_counter() - start) * 1e3


photo = f"{work}/photo.jpg"
commands = ([qv, "convert", photo, f"{work}/ours.jpg", "--size", "256x171", "--quiet"],
            ["ffmpegthumbnailer", "-i", photo, "-o", f"{work}/peer.jpg", "-s", "256"])
times = [[run(command) for command in commands] for _ in range(11)]
line("24-megapixel JPEG to 256 wide", min(t[0] for t in times), min(t[1] for t in times), "ms", 0.5)
print("  (the last line: qv convert beside ffmpegthumbnailer, whole processes)")
