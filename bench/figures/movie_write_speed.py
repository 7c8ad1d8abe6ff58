"""Times qv movie and ffmpeg at the same work: a picture of 24 megapixels, 5 s of PAL DV AVI with silence."""
import pathlib
import re
import statistics
import subprocess
import sys
import time

qv, work = sys.argv[1], pathlib.Path(sys.argv[2])
picture = work / "picture.jpg"
FRAMES = 125


def run(command):
    return subprocess.run(command, check=True, capture_output=True, text=True)


def timed(name, command, times):
    """The median of some runs, each of which makes the file anew."""
    out = work / f"{name}.avi"
    seconds = []
    for _ in range(times):
        out.unlink(missing_ok=True)
        began = time.monotonic()
        run([*command, str(out)])
        seconds.append(time.monotonic() - began)
    return statistics.median(seconds)


run(["ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i", "mandelbrot=s=6000x4000,noise=alls=14", "-frames:v", "1",
     "-q:v", "3", str(picture)])
silence = ["-f", "lavfi", "-i", "anullsrc=r=48000:cl=stereo"]
fitted = "scale=720:512,pad=720:576:0:32"
dv = ["-t", "5", "-pix_fmt", "yuv420p", "-c:v", "dvvideo", "-c:a", "pcm_s16le"]
ffmpeg = ["ffmpeg", "-y", "-v", "error"]
ours = timed("ours", [qv, "movie", "-q", str(picture), "--system", "pal", "-o"], 11)
usual = timed("usual", [*ffmpeg, "-loop", "1", "-framerate", "25", "-t", "5", "-i", str(picture), *silence, "-vf", fitted,
                        *dv], 1)
once = timed("once", [*ffmpeg, "-i", str(picture), *silence, "-vf", f"{fitted},loop=-1:1,fps=25", *dv], 3)

for name in ("ours", "usual", "once"):
    frames = run(["ffprobe", "-v", "error", "-count_packets", "-select_streams", "v", "-show_entries",
                  "stream=nb_read_packets", "-of", "csv=p=0", str(work / f"{name}.avi")]).stdout.strip()
    if frames != str(FRAMES):
        sys.exit(f"{name}: {frames} frames")
judged = run(["ffmpeg", "-v", "info", "-i", str(work / "ours.avi"), "-i", str(work / "usual.avi"), "-lavfi", "psnr", "-f",
              "null", "-"]).stderr
luma = float(re.search(r"PSNR y:([\d.]+)", judged).group(1))
if luma < 38:
    sys.exit(f"the pictures differ: luma {luma} dB")
size = (work / "ours.avi").stat().st_size
print(f"picture of {picture.stat().st_size / 1e6:.1f} MB, luma of both movies equal to {luma:.1f} dB")
print(f"qv movie                          {ours * 1000:8.1f} ms   {size / ours / 1e6:.0f} MB/s of movie, whole process")
print(f"ffmpeg -loop 1                    {usual * 1000:8.1f} ms   {usual / ours:6.1f}x   must 60x")
print(f"ffmpeg, picture decoded once only {once * 1000:8.1f} ms   {once / ours:6.1f}x")
