"""The program from the outside: splits by checksum, real tapes, and its text forms as other programs read them.

usage: dvlog_proof.py RELEASE-BUILD FOLDER. Ends with 1 where a judge disagrees.
"""
import csv
import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

RELEASE, FOLDER = Path(sys.argv[1]), Path(sys.argv[2])
FRAME = {"NTSC": 120000, "PAL": 144000}
wrong = []


def qv(*words):
    return subprocess.run([RELEASE / "bin/qv", "dvlog", "--quiet", *map(str, words)], check=True, capture_output=True,
                          text=True).stdout


def log_of(tape, *words):
    return json.loads(qv("--json", *words, tape))


def check(is_right, what):
    if not is_right:
        wrong.append(what)


def make_tape(seed):
    tape = FOLDER / f"{seed}.dv"
    subprocess.run([RELEASE / "tests/make_tape", str(seed), tape], check=True, capture_output=True)
    return tape


def excerpts(tape, log, count):
    """Files of 60 frames around breaks, so that a split has something to part."""
    offset, offsets = 0, []
    for frame in log["frames"]:
        offsets.append(offset)
        offset += FRAME[frame["system"]]
    offsets.append(offset)
    for scene in log["scenes"][1:1 + count]:
        first, last = max(0, scene["firstFrame"] - 30), min(len(offsets) - 1, scene["firstFrame"] + 30)
        with open(tape, "rb") as source:
            source.seek(offsets[first])
            data = source.read(offsets[last] - offsets[first])
        path = FOLDER / f"excerpt{scene['scene']}.dv"
        path.write_bytes(data)
        yield path, hashlib.sha256(data).digest()


def split_all(wanted):
    """Each excerpt is split four times: the parts together are the tape, and the same files come each time."""
    done = parts = seed = 0
    while done < wanted:
        seed += 1
        tape = make_tape(seed)
        for path, whole in excerpts(tape, log_of(tape, "--frames"), 7):
            before = None
            for _ in range(4):
                folder = FOLDER / "parts"
                qv("--split", folder, path)
                together, files = hashlib.sha256(), []
                for part in sorted(folder.iterdir(), key=lambda part: part.stem[-3:]):
                    data = part.read_bytes()
                    together.update(data)
                    files.append((part.name, hashlib.sha256(data).digest()))
                shutil.rmtree(folder)
                check(together.digest() == whole, f"tape {seed}, {path.name}: parts are not the tape")
                check(before in (None, files), f"tape {seed}, {path.name}: other parts on another run")
                before = files
                done += 1
                parts += len(files)
            path.unlink()
        tape.unlink()
    print(f"{done} splits of pieces of {seed} tapes into {parts} parts: SHA-256 of the parts together is that of the tape")


def seconds_of(text):
    hours, minutes, rest = text.replace(",", ".").split(":")
    return int(hours) * 3600 + int(minutes) * 60 + float(rest)


def true_cues(log):
    """What the subtitles must show: the date of every run of frames with one date, from the list of frames."""
    cues, ends = [], [frame["seconds"] for frame in log["frames"][1:]] + [log["totals"]["seconds"]]
    for frame, end in zip(log["frames"], ends):
        text = (frame["recorded"] or "").replace("T", " ")
        cues.append((frame["seconds"], end, text))
    return cues


def read_subtitles(path):
    if "-->" not in path.read_text():  # a tape without any date; ffprobe takes no file without a cue
        return
    answer = subprocess.run(["ffprobe", "-v", "error", "-show_packets", "-show_data", "-of", "json", path], check=True,
                            capture_output=True, text=True).stdout
    for packet in json.loads(answer)["packets"]:
        dump = re.findall(r"^[0-9a-f]{8}: ((?:[0-9a-f]{2,4} )+)", packet["data"], re.M)
        yield (float(packet["pts_time"]), float(packet["pts_time"]) + float(packet["duration_time"]),
               bytes.fromhex("".join(dump).replace(" ", "")).decode().strip())


def judge_subtitles(tape, log, form):
    """Every cue stands where frames bear its date, and every dated stretch of a steady clock has one."""
    path = FOLDER / f"cues.{form}"
    path.write_text(qv("--format", form, tape))
    cues, frames = list(read_subtitles(path)), true_cues(log)
    for start, end, text in cues:
        inside = [date for a, b, date in frames if start - 0.002 <= a and b <= end + 0.002 and date]
        check(not inside or max(set(inside), key=inside.count) == text, f"{tape.name} {form}: {text} at {start}")
        check(end - start <= 1.1, f"{tape.name} {form}: the cue at {start} is {end - start:.3f} s long")
    shown = sum(1 for a, b, date in frames if date and any(s - 0.002 <= a < e for s, e, _ in cues))
    dated = sum(1 for frame in frames if frame[2])
    check(shown >= 0.99 * dated, f"{tape.name} {form}: {shown} of {dated} dated frames have a cue")
    return len(cues)


def label_frames(label, rate):
    """Frames from zero. Drop-frame labels, with a semicolon, leave out two a minute but for every tenth."""
    hours, minutes, seconds, frames = map(int, re.split("[:;]", label))
    minutes += hours * 60
    left_out = 2 * (minutes - minutes // 10) if ";" in label else 0
    return (minutes * 60 + seconds) * rate + frames - left_out


def judge_edl(tape, log):
    """By the columns of CMX 3600: events in order, without a gap, as long as the scenes."""
    rows = re.findall(r"^(\d{3,})  AX +V +C +(\S+) (\S+) (\S+) (\S+)$", qv("--format", "edl", tape), re.M)
    check(len(rows) == len(log["scenes"]), f"{tape.name} edl: {len(rows)} events for {len(log['scenes'])} scenes")
    at = 0
    for row, scene in zip(rows, log["scenes"]):
        rate = 25 if scene["system"] == "PAL" else 30
        record = [label_frames(label, rate) for label in row[3:]]
        check(record[0] == at, f"{tape.name} edl: event {row[0]} begins at {row[3]}")
        check(record[1] - record[0] == scene["frames"], f"{tape.name} edl: event {row[0]} has another length")
        at = record[1]
    return len(rows)


def judge_chapters(tape, log):
    """As mkvtoolnix and FFmpeg's users know them: CHAPTERnn and CHAPTERnnNAME in turn, at the scenes' starts."""
    rows = re.findall(r"^CHAPTER(\d\d+)=(\S+)\nCHAPTER\1NAME=(.+)$", qv("--format", "chapters", tape), re.M)
    check(len(rows) == len(log["scenes"]), f"{tape.name} chapters: {len(rows)} for {len(log['scenes'])} scenes")
    for row, scene in zip(rows, log["scenes"]):
        check(abs(seconds_of(row[1]) - scene["start"]) < 0.0011, f"{tape.name} chapters: {row} is not at {scene['start']}")
    return len(rows)


def judge_forms():
    cues = events = chapters = tapes = 0
    for seed in range(300, 330):
        tape = make_tape(seed)
        log = log_of(tape, "--frames")
        if len({scene["system"] for scene in log["scenes"]}) == 1: # an EDL has one rate
            cues += judge_subtitles(tape, log, "srt") + judge_subtitles(tape, log, "vtt")
            events += judge_edl(tape, log)
            chapters += judge_chapters(tape, log)
            tapes += 1
        tape.unlink()
    print(f"{tapes} tapes: {cues} cues of SRT and WebVTT as ffprobe reads them, {events} events, {chapters} chapters")


def judge_real_tapes(media):
    """Against what MediaInfo and ExifTool say of each frame; DV AVI files against the tape that they wrap."""
    rows = list(csv.DictReader(open(media / "expected_frames.tsv"), delimiter="\t"))
    logs, facts = {}, 0
    wrapped = [(name, row) for row in rows if row["file"].startswith("dv-toolbox")
               for name in sorted(str(path.relative_to(media)) for path in (media / "derived").glob("avi_camcorder*.avi"))]
    pairs = [(row["file"], row) for row in rows] + wrapped
    for name, row in pairs:
        log = logs.setdefault(name, log_of(media / name, "--frames"))
        frame = log["frames"][int(row["frame"])]
        audio = frame["audio"] or {"channels": "", "rate": "", "bits": ""}
        expected = {
            "system": {"525/60": "NTSC", "625/50": "PAL"}[row["system"]],
            "timecode": row["timecode_mediainfo"].replace(";", ":") or None,
            "recorded": row["recorded_mediainfo"][:19].replace(" ", "T") or None,
            "aspect": row["aspect_exiftool"] or frame["aspect"],
            "audio": tuple(row[f"audio_{key}_exiftool"] for key in ("ch", "rate", "bits")),
        }
        found = dict(frame, timecode=(frame["timecode"] or "").replace(";", ":") or None,
                     audio=tuple(str(audio[key]) for key in ("channels", "rate", "bits")))
        for key, value in expected.items():
            check(found[key] == value, f"{name} frame {row['frame']}: {key} is {found[key]}, not {value}")
            facts += 1
    print(f"real tapes: {len(logs)} files, {len(pairs)} frames, {facts} facts held against other readers")


if os.environ.get("QVLIBS_TEST_DATA"):
    judge_real_tapes(Path(os.environ["QVLIBS_TEST_DATA"]) / "dv")
else:
    print("real tapes: left out, QVLIBS_TEST_DATA is not set")
judge_forms()
split_all(1000)
for line in wrong[:20]:
    print("WRONG:", line)
print(f"{len(wrong)} disagreements")
sys.exit(1 if wrong else 0)
