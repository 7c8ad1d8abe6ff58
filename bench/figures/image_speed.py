"""Prints the tables of image-speed.sh from what resize_bench and image_bench measured."""
import json
import sys

least, wrong = {}, False
for program in ("resize", "image"):
    for row in json.load(open(f"{sys.argv[1]}/{program}.json"))["benchmarks"]:
        if row.get("error_occurred"):
            print(row["name"], row["error_message"])
            wrong = True
        elif row["run_type"] == "iteration":
            least[row["name"]] = min(least.get(row["name"], 1e30), row["cpu_time"])

# What is measured, the peer, how many times as fast as the peer we must be.
MUSTS = [
    ("resize/triangle", "opencv-area", 4),
    ("resize/triangle", "libyuv-box", 1),
    ("resize/catmull-rom", "zimg", 1.2),
    ("resize/catmull-rom", "opencv-cubic", 5),
    ("resize/lanczos", "zimg", 1.2),
    ("resize/lanczos", "swscale", 4),
    ("resize/nearest", "opencv", 1),
    ("sample", "opencv", 1),
    ("turn90", "opencv", 1),
    ("turn180", "opencv", 1),
    ("turn270", "opencv", 1),
    ("gray", "opencv", 1),
    ("8to24", "opencv", 1),
    ("bmp-read", "opencv", 1),
    ("bmp-write", "opencv", 1),
]
GROWTH = [  # four sizes each, each four times the pixels of the one before
    ("resize/growing/own", ["500x375-125x94", "1000x750-250x188", "2000x1500-500x375", "4000x3000-1000x750"]),
    ("sample/own", ["360x240-320x240", "720x480-640x480", "1440x960-1280x960", "2880x1920-2560x1920"]),
    ("turn90/own", ["360x240", "720x480", "1440x960", "2880x1920"]),
    ("gray/own", ["360x240", "720x480", "1440x960", "2880x1920"]),
    ("8to24/own", ["360x240", "720x480", "1440x960", "2880x1920"]),
]

print(f"{'work':38} {'ours, us':>9} {'peer':>13} {'its us':>9}  as fast    must")
for work, peer, must in MUSTS:
    for name, theirs in least.items():
        if name.startswith(f"{work}/{peer}/"):
            size = name.split("/")[-1]
            ours = least[f"{work}/own/{size}"]
            ratio = theirs / ours
            print(f"{work + ' ' + size:38} {ours:9.1f} {peer:>13} {theirs:9.1f}  {ratio:6.2f}x  {must:5.1f}x"
                  f"  {'ok' if ratio >= must else 'MISSED'}")
print("growth: microseconds, and nanoseconds a pixel of the larger side")
for work, sizes in GROWTH:
    cells = []
    for size in sizes:
        width, height = map(int, size.split("-")[0].split("x"))
        time = least[f"{work}/{size}"]
        cells.append(f"{size} {time:.0f} us {time * 1e3 / (width * height):.2f} ns")
    print(f"{work}: " + ", ".join(cells))
sys.exit(wrong)
