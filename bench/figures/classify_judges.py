"""qv info --json beside ffprobe, mediainfo, sox and exiv2 on all shared media: how often they agree, and every difference
with its reason. Fails on a difference that has none. Arguments: the program, the folder of media."""
import collections
import json
import re
import subprocess
import sys

qv, media = sys.argv[1:3]


def output(*command):
    try:
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=60).stdout.decode(
            errors="replace")
    except subprocess.TimeoutExpired:
        return ""


def parsed(text):
    try:
        return json.loads(text)
    except ValueError:
        return {}


def number(text):
    try:
        value = float(text)
        return value if value == value and value > 0 else None
    except (TypeError, ValueError):
        return None


def fraction(text):
    above, _, below = (text or "").partition("/")
    return float(above) / float(below or 1) if number(above) and number(below or "1") else None


def of_ffprobe(path):
    found = parsed(output("ffprobe", "-v", "error", "-of", "json", "-count_frames", "-show_format", "-show_streams", path))
    facts = {}
    for stream in found.get("streams", []):
        kind = stream.get("codec_type")
        if kind == "video" and "width" not in facts:
            facts.update(width=number(stream.get("width")), height=number(stream.get("height")),
                         fps=fraction(stream.get("r_frame_rate")), frames=number(stream.get("nb_read_frames")))
        elif kind == "audio" and "rate" not in facts:
            facts.update(rate=number(stream.get("sample_rate")), channels=number(stream.get("channels")))
    facts["seconds"] = number(found.get("format", {}).get("duration"))
    return facts


def of_mediainfo(path):
    facts = {}
    for track in ((parsed(output("mediainfo", "--Output=JSON", path)) or {}).get("media") or {}).get("track", []):
        kind = track.get("@type")
        if kind in ("Video", "Image") and "width" not in facts:
            facts.update(width=number(track.get("Width")), height=number(track.get("Height")),
                         fps=number(track.get("FrameRate")), frames=number(track.get("FrameCount")))
        elif kind == "Audio" and "rate" not in facts:
            facts.update(rate=number(track.get("SamplingRate")), channels=number(track.get("Channels")))
        elif kind == "General":
            facts["seconds"] = number(track.get("Duration"))
    return facts


def of_sox(path):
    return {"rate": number(output("soxi", "-r", path)), "channels": number(output("soxi", "-c", path)),
            "seconds": number(output("soxi", "-D", path))}


def of_exiv2(path):
    facts = {}
    size = re.search(r"Image size\s*: (\d+) x (\d+)", output("exiv2", "-q", path))
    if size:
        facts.update(width=float(size[1]), height=float(size[2]))
    for line in output("exiv2", "-q", "-Pkv", path).splitlines():
        key, _, value = line.partition(" ")
        value = value.strip()
        if key == "Exif.Image.Orientation":
            facts["orientation"] = number(value)
        elif key == "Exif.Photo.DateTimeOriginal" and re.match(r"\d{4}:\d\d:\d\d \d\d:\d\d:\d\d$", value):
            facts["recorded"] = value.replace(":", "-", 2)
        elif key == "Exif.Image.Model" and value:
            facts["camera"] = value
    return facts


JUDGES = {"movie": {"ffprobe": of_ffprobe, "mediainfo": of_mediainfo},
          "sound": {"ffprobe": of_ffprobe, "mediainfo": of_mediainfo, "sox": of_sox},
          "picture": {"exiv2": of_exiv2, "mediainfo": of_mediainfo}}


def own_facts(facts):
    sound = facts.get("sound", {})
    own = {"fps": fraction(facts.get("rate")), "rate": sound.get("rate"), "channels": sound.get("channels")}
    for name in ("width", "height", "frames", "seconds", "orientation", "recorded", "camera"):
        own[name] = facts.get(name)
    if facts["kind"] == "picture":
        own.pop("fps")
    return own


def agrees(name, own, other):
    if name == "camera":
        return own == other or own.endswith(other)
    if name == "recorded":
        return own == other
    if name == "seconds":
        return abs(own - other) <= 0.005 + 0.001 * other
    if name == "fps":
        return abs(own - other) < 0.01
    return own == other


def reason(facts, name, own, other, judge):
    """Why a fact may differ; None where it may not."""
    kind, sound, seconds = facts["kind"], facts["format"], name == "seconds"
    if kind == "sound" and name == "channels" and own == 2 and other > 2:
        return "more than two channels are delivered mixed down to stereo, and that is what is told"
    if kind == "movie" and seconds and abs(own - facts["frames"] / fraction(facts["rate"])) < 0.01:
        return "the length here is that of the frames; the others take the longest stream, the clock of the container or " \
               "a guess by the bit rate"
    if kind == "movie" and name == "frames" and judge == "mediainfo" and 0 < other - own <= 2:
        return "the header counts frames that do not decode; ffprobe, which decodes them, counts as we do"
    if kind == "sound" and seconds and sound == "MPEG audio" and abs(own - other) < 0.06:
        return "the encoder's delay and padding (up to two frames of 1152 samples) count or do not"
    if kind == "sound" and seconds and facts["compression"] == "lossy" and abs(own - other) < 0.25:
        return "the header of a compressed sound is not the count of its samples; here they are counted"
    return None


def main():
    listed = parsed(output(qv, "info", "--json", media))
    count = collections.Counter()
    reasons = collections.defaultdict(list)
    unexplained = []
    for facts in listed:
        path = facts["file"]
        if facts["kind"] not in JUDGES or "problem" in facts or "/malformed/" in path:
            continue
        own = own_facts(facts)
        for judge, ask in JUDGES[facts["kind"]].items():
            for name, other in ask(path).items():
                mine = own.get(name)
                if other is None or mine is None:
                    continue
                same = agrees(name, mine, other)
                count[facts["kind"], judge, name, same] += 1
                if same:
                    continue
                text = f"{path[len(media) + 1:]}: {name} {mine} ({judge}: {other})"
                why = reason(facts, name, mine, other, judge)
                (reasons[why] if why else unexplained).append(text)
    print(f"{len(listed)} files; {sum(count.values())} facts beside those of other programs")
    print(f"{'kind':8} {'judge':10} {'fact':12} {'agree':>6} {'differ':>7}")
    for kind, judge, name in sorted({key[:3] for key in count}):
        print(f"{kind:8} {judge:10} {name:12} {count[kind, judge, name, True]:6} {count[kind, judge, name, False]:7}")
    for why, texts in reasons.items():
        print(f"{len(texts)} differ because {why}:")
        for text in texts:
            print(f"  {text}")
    for text in unexplained:
        print(f"differs without a known reason: {text}")
    return 1 if unexplained or not count else 0


if __name__ == "__main__":
    sys.exit(main())
