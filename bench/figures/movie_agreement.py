"""What "qv info" says of movies beside ffprobe and MediaInfo: movie_agreement.py QV MOVIE... Prints a line for each fact
of each movie on which not all agree, with the reason where it is known, and fails on one without a reason."""
import json, re, subprocess, sys

qv, *movies = sys.argv[1:]

# Where the others say something else, and why qv says what it does: (part of the name, fact, reason).
REASONS = [
    ("sample.avi", "frames", "the file holds 96 frames; MediaInfo takes the 98 of the header"),
    ("sample.avi", "seconds", "96 frames; the others take the 98 of the header"),
    ("ff_176.m1v", "seconds", "a stream without times; ffprobe divides its size by a made-up bit rate"),
    ("ff_wmv2_wmav2.wmv", "frames", "ASF counts no frames; MediaInfo multiplies length and rate, 38 can be decoded"),
    ("mjt_pal_mpeg2_ps.mpg", "seconds", "25 frames of 1/25 s; ffprobe goes by the times, which most packets leave out"),
]


def output(*command):
    return subprocess.run(command, capture_output=True, text=True).stdout


def number(text):
    found = re.match(r"[\d.]+", str(text or ""))
    return float(found[0]) if found else None


def ratio(text):
    across, down = map(float, re.split("[/:]", text))
    return across / down if down else None


def of_qv(path):
    found = json.loads(output(qv, "info", "--json", path) or "[]")
    if not found:
        return None
    facts = found[0]
    if "width" not in facts:
        return None
    width, height, shape = facts["width"], facts["height"], facts["shape"]
    shown = {"4:3": 4 / 3, "16:9": 16 / 9, "16:9 between bars in 4:3": 4 / 3}.get(shape, width / height)
    sound = facts.get("sound")
    return {"width": width, "height": height, "shown as": shown, "rate": ratio(facts["rate"]), "frames": facts["frames"],
            "seconds": facts["seconds"], "sound rate": float(sound["rate"]) if sound else None}


def of_ffprobe(path):
    streams = json.loads(output("ffprobe", "-v", "error", "-count_frames", "-show_streams", "-show_format", "-of", "json",
                                path))
    video = next((s for s in streams.get("streams", []) if s["codec_type"] == "video"), None)
    if not video:
        return None
    sound = next((s for s in streams["streams"] if s["codec_type"] == "audio"), None)
    shape = video.get("display_aspect_ratio")
    return {"width": video["width"], "height": video["height"],
            "shown as": ratio(shape) if shape and shape != "0:1" else video["width"] / video["height"],
            "rate": ratio(video["r_frame_rate"]), "frames": number(video.get("nb_read_frames")),
            "seconds": number(video.get("duration") or streams["format"].get("duration")),
            "sound rate": number(sound["sample_rate"]) if sound else None}


def of_mediainfo(path):
    tracks = json.loads(output("mediainfo", "--Output=JSON", path))["media"]["track"]
    video = next((t for t in tracks if t["@type"] == "Video"), None)
    if not video:
        return None
    sound = next((t for t in tracks if t["@type"] == "Audio"), {})
    return {"width": number(video.get("Width")), "height": number(video.get("Height")),
            "shown as": number(video.get("DisplayAspectRatio")), "rate": number(video.get("FrameRate")),
            "frames": number(video.get("FrameCount")), "seconds": number(video.get("Duration")),
            "sound rate": number(sound.get("SamplingRate"))}


def agree(fact, a, b, rate):
    if a is None or b is None:
        return a is b
    slack = {"shown as": 0.01 * a, "rate": 0.01, "seconds": 1.5 / rate}.get(fact, 0)
    return abs(a - b) <= slack


def show(value):
    return "-" if value is None else f"{value:.3f}".rstrip("0").rstrip(".")


checked = agreed = unexplained = 0
for path in movies:
    name = path.split("/")[-1]
    ours, judges = of_qv(path), {"ffprobe": of_ffprobe(path), "mediainfo": of_mediainfo(path)}
    if not ours:
        refused = [judge for judge, facts in judges.items() if not facts]
        print(f"{name}: no movie for qv, nor for {' and '.join(refused) or 'nobody'}")
        unexplained += not refused
        continue
    for fact, value in ours.items():
        said = {judge: facts and facts[fact] for judge, facts in judges.items()}
        checked += 1
        if all(agree(fact, value, other, ours["rate"]) for other in said.values()):
            agreed += 1
            continue
        reason = next((why for part, what, why in REASONS if part in name and what == fact), None)
        unexplained += reason is None
        others = ", ".join(f"{judge} {show(other)}" for judge, other in said.items())
        print(f"{name}: {fact}: qv {show(value)}, {others}: {reason or 'UNEXPLAINED'}")
print(f"{checked} facts of {len(movies)} movies: {agreed} on which qv, ffprobe and mediainfo agree, "
      f"{checked - agreed - unexplained} that differ with a reason, {unexplained} without")
sys.exit(1 if unexplained else 0)
