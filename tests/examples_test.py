"""Runs every example of "qv COMMAND --help" as a shell would, in a folder that holds the files it names."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

qv = pathlib.Path(sys.argv[1]).resolve()


def run(command, folder, home):
    environment = os.environ | {"PATH": f"{qv.parent}:{os.environ['PATH']}", "QVLIBS_HOME": str(home),
                                "XDG_CACHE_HOME": str(home / "cache")}
    return subprocess.run(["bash", "-o", "pipefail", "-c", command], cwd=folder, env=environment, text=True,
                          capture_output=True)


def prepare(folder, home):
    def make(*arguments):
        done = subprocess.run(["ffmpeg", "-v", "error", *arguments], cwd=folder, capture_output=True, text=True)
        if done.returncode != 0:
            sys.exit(done.stderr)

    picture = ["-f", "lavfi", "-i", "testsrc=s=720x480:r=30000/1001"]
    sound = ["-f", "lavfi", "-i", "sine=r=48000"]
    dv = ["-t", "4", "-c:v", "dvvideo", "-pix_fmt", "yuv411p", "-ac", "2"]
    make(*picture, *sound, *dv, "-c:a", "pcm_s16le", "-metadata", "creation_time=2005-12-24T12:34:56", "tape.dv")
    make("-i", "tape.dv", "-c", "copy", "tape.avi")
    make("-i", "tape.dv", "-c", "copy", "tape.mov")
    make("-f", "lavfi", "-i", "testsrc=s=352x240:r=30000/1001:d=62", "-c:v", "mpeg2video", "-b:v", "500k", "show.mpg")
    make("-f", "lavfi", "-i", "sine=d=1", "song.wma")
    make(*picture, "-frames:v", "1", "in.bmp")
    for name in ("IMG_0815.jpg", "a.jpg", "b.png"):
        make("-i", "in.bmp", name)
    for name in ("clip.mpg", "renamed.mpg", "old.mpg"):
        make("-i", "show.mpg", "-t", "1", "-c", "copy", name)
    (folder / "letter.txt").write_text("Dear aunt")
    (folder / "hello.tte").write_text("[Title]\nFrames=90\n[Line]\nText=Hello\n")
    (folder / "report.doc").write_bytes(b"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1 and nothing else")
    for name, content in (("Pictures", "IMG_0815.jpg"), ("tapes", "tape.avi")):
        (folder / name).mkdir()
        shutil.copy(folder / content, folder / name)
    for command in ("qv mtv make old.mpg --row 0", "qv stg put thumbs.stg clip0001 in.bmp",
                    "qv thumb tape.avi -o first.bmp", "rm old.mpg"):
        done = run(command, folder, home)
        if done.returncode != 0:
            sys.exit(f"{command}: {done.stderr}")


def examples(command):
    help_text = subprocess.run([qv, command, "--help"], capture_output=True, text=True).stdout
    for line in help_text[help_text.index("Examples:"):].splitlines()[1:]:
        if line.startswith("  ") and "qv " in line:
            yield re.split(r"   +|(?<=\S)  (?=[a-z0-9])", line.strip(), maxsplit=1)


with tempfile.TemporaryDirectory() as place:
    place = pathlib.Path(place)
    ready = place / "ready"
    ready.mkdir()
    prepare(ready, place / "home")
    overview = subprocess.run([qv, "--help"], capture_output=True, text=True).stdout
    commands = re.findall(r"^  ([a-z]+) ", overview[overview.index("Subcommands:"):], re.M)
    count, wrong = 0, []
    for command in commands:
        folder = place / command
        shutil.copytree(ready, folder)
        home = place / f"{command}-home"
        if command == "mtv":  # shown before it is made, in the order of the help
            run("qv mtv make clip.mpg --row 0", folder, home)
        elif command == "cache":
            run("qv settings set Common MainApplication qv", folder, home)
        for example, *told in examples(command):
            expected = int(match[1]) if (match := re.search(r"exit code (\d)", " ".join(told))) else 0
            done = run(example.replace("/video", "."), folder, home)
            count += 1
            if command == "mtv" and "show" in example:
                (folder / "clip.mtv").unlink()
            if done.returncode != expected:
                wrong.append(f"{example}: exit code {done.returncode}, {done.stderr.strip()}")
        shutil.rmtree(folder)
    print("\n".join(wrong) or f"{count} examples of {len(commands)} commands run")
    sys.exit(1 if wrong or count < 3 * len(commands) else 0)
