"""Runs every example of "qv COMMAND --help" as a shell would, in a folder that holds the files it names, and again with
--json where the schema has something to say of what comes."""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
from urllib.parse import quote

import jsonschema

qv = pathlib.Path(sys.argv[1]).resolve()
documented = json.loads(pathlib.Path(sys.argv[2]).read_text())["$defs"]
# Commands whose examples leave out what the schema tells of.
MORE = ["qv tc add 00:00:59:29 1 --mode df", "qv settings get Common LiveFeedFPS", "qv settings doctor",
        "qv mtv vendors", "qv stg list thumbs.stg --all", "qv stg check thumbs.stg", "qv plugins check tape.avi", "qv sheet hello.tte -o hello.png", "qv thumb in.bmp -o in.png"]


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


def against_schema(example, folder, home):
    """Nothing, or what is wrong with the example's JSON."""
    words = example.split(">")[0].split()
    name = next((name for name in (" ".join(words[1:3]), words[1]) if name in documented), None)
    if words[0] != "qv" or name is None:
        return []
    done = run(" ".join(words) + ("" if "--json" in words else " --json"), folder, home)
    try:
        jsonschema.validate(json.loads(done.stdout), {"$defs": documented, "$ref": f"#/$defs/{quote(name)}"})
    except (json.JSONDecodeError, jsonschema.ValidationError) as error:
        return [f"{example} --json: {str(error).splitlines()[0]} {done.stderr.strip()}"]
    judged.add(name)
    return []


judged = set()
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
            # What makes something is asked in a folder where it is not there yet.
            again = folder / "again"
            shutil.copytree(ready, again)
            if command == "mtv":
                run("qv mtv make clip.mpg --row 0" if "show" in example else "true", again, home)
            if expected == 0:
                wrong += against_schema(example.replace("/video", "."), again, home)
            shutil.rmtree(again)
        shutil.rmtree(folder)
    for example in MORE:
        wrong += against_schema(example, ready, place / "settings-home")
    unused = {name for name in documented if "properties" in (rule := documented[name]).keys() | rule.get("items", {}).keys()}
    wrong += [f"nothing was held against the schema of {name}" for name in unused - judged]
    print("\n".join(wrong) or f"{count} examples of {len(commands)} commands run, {len(judged)} kinds of JSON held against the schema")
    sys.exit(1 if wrong or count < 3 * len(commands) else 0)
