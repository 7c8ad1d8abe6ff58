"""Times whole processes beside their peers: movie_read_speed.py QV TAPE MPEG FOLDER. Every program takes its turn in
every round; the median counts. Prints the ratio beside the one asked and fails when a picture is not the right one."""
import os, pathlib, statistics, subprocess, sys, time

qv, tape, mpeg, folder = sys.argv[1:]
SILENT = [(os.POSIX_SPAWN_OPEN, stream, os.devnull, os.O_WRONLY, 0) for stream in (1, 2)]


def run(commands):
    """Spawned directly: subprocess takes a good part of a millisecond itself."""
    for command in commands:
        child = os.posix_spawnp(command[0], command, os.environ, file_actions=SILENT)
        if os.waitpid(child, 0)[1] != 0:
            sys.exit(f"{command[0]} failed")


def race(title, asked, rounds, programs):
    """programs: by name, the commands that do the work. No picture is there beforehand."""
    times = {name: [] for name in programs}
    for turn in range(rounds + 1):
        for name, commands in programs.items():
            for picture in pathlib.Path(folder).glob("*.jpg"):
                if turn < rounds:
                    picture.unlink()
            start = time.perf_counter()
            run(commands)
            if turn > 0:  # the first warms the caches
                times[name].append(time.perf_counter() - start)
    median = {name: statistics.median(all) * 1000 for name, all in times.items()}
    print(title)
    for name, value in median.items():
        ratio = "" if name == "qv" else f"  {value / median['qv']:6.1f}x qv ({asked}x asked)"
        print(f"  {name:20} {value:8.2f} ms{ratio}")


def number(path):
    """The number in the bars of a picture."""
    pixels = subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-vf", "scale=12:1:flags=area,format=gray", "-f",
                             "rawvideo", "-"], capture_output=True, check=True).stdout
    return sum(1 << i for i, value in enumerate(pixels) if value > 120)


def thumbs(title, movie, asked, wanted, peers):
    out = f"{folder}/qv.jpg"
    ours = [qv, "thumb", movie, "-o", out, "--frame", str(wanted), "--size", "180x120", "--fit", "stretch"]
    race(title, asked, 15, {"qv": [ours], **peers})
    if number(out) != wanted:
        sys.exit(f"qv shows frame {number(out)} instead of {wanted}")


at = "4"  # seconds: frame 100
thumbnailer = ["ffmpegthumbnailer", "-s", "180x120", "-a", "-t", "00:00:04", "-c", "jpeg", "-o", f"{folder}/ft.jpg", "-i"]
ffmpeg = ["ffmpeg", "-y", "-v", "error", "-ss", at]
one = ["-frames:v", "1", "-s", "180x120", f"{folder}/ff.jpg"]
thumbs("thumbnail of frame 100 of a DV AVI at 180x120", tape, 10, 100,
       {"ffmpegthumbnailer": [thumbnailer + [tape]], "ffmpeg": [ffmpeg + ["-i", tape] + one]})
thumbs("thumbnail of frame 100 of MPEG-2 at 180x120", mpeg, 1.5, 100,
       {"ffmpegthumbnailer": [thumbnailer + [mpeg]], "ffmpeg": [ffmpeg + ["-i", mpeg] + one]})
for name, path in (("ffmpegthumbnailer", "ft.jpg"), ("ffmpeg", "ff.jpg")):
    print(f"  (asked for frame 100 of MPEG-2, {name} shows frame {number(folder + '/' + path)})")

calls = []
for i in range(25):
    second = round(4.8 * i + 2.4)
    calls.append(["ffmpegthumbnailer", "-s", "180", "-t", f"00:{second // 60:02}:{second % 60:02}", "-c", "jpeg", "-o",
                  f"{folder}/tile{i}.jpg", "-i", tape])
tile = ["ffmpeg", "-y", "-v", "error", "-i", tape, "-vf", r"select=not(mod(n-60\,120)),scale=180:135,tile=5x5",
        "-frames:v", "1", f"{folder}/tile.jpg"]
sheet = [qv, "sheet", tape, "-o", f"{folder}/sheet.jpg", "--columns", "5", "--rows", "5"]
race("sheet of 5x5 pictures of a DV AVI of two minutes", 9, 3,
     {"qv": [sheet], "ffmpeg tile": [tile], "25 ffmpegthumbnailer": calls})
