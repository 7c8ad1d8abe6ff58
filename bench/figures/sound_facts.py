"""What qv info says of sounds beside SoX and ffprobe: rate, channels, samples. Lossy files are counted with or without
the encoder's delay, so their lengths may differ by a frame or two of the coder; whole-number files must agree."""
import json
import pathlib
import subprocess
import sys

qv, folder = sys.argv[1], pathlib.Path(sys.argv[2])
LOSSY_ROOM = 3 * 2048  # samples: delay and padding of MP3, WMA and ADPCM coders


def output(*command):
    return subprocess.run([str(word) for word in command], capture_output=True, text=True).stdout.strip()


def number(text):
    try:
        return round(float(text))
    except ValueError:
        return None


def sox(path):
    return {key: number(output("soxi", option, path)) for key, option in
            (("rate", "-r"), ("channels", "-c"), ("samples", "-s"))}


def ffprobe(path):
    streams = json.loads(output("ffprobe", "-v", "error", "-select_streams", "a:0", "-show_streams", "-of", "json",
                                path) or "{}").get("streams", [])
    if not streams:
        return {"rate": None, "channels": None, "samples": None}
    rate, seconds = number(streams[0].get("sample_rate", "")), streams[0].get("duration")
    return {"rate": rate, "channels": streams[0].get("channels"),
            "samples": round(float(seconds) * rate) if seconds and rate else None}


def ours(path):
    facts = (json.loads(output(qv, "info", "--json", path) or "[]") or [{}])[0]
    return facts.get("sound") and facts["sound"] | {"lossless": facts.get("compression") in {"none", "lossless"}}


agreed = refused = wrong = 0
print(f"{'file':58} {'rate':>7} {'ch':>3} {'samples':>9}  {'sox':>9} {'ffprobe':>9}")
for path in sorted(path for path in folder.rglob("*") if path.suffix in {".wav", ".mp3", ".wma"}):
    mine, others = ours(path), [sox(path), ffprobe(path)]
    name = str(path.relative_to(folder))[:58]
    known = [other for other in others if other["rate"] and other["samples"]]
    if mine is None:
        refused += 1
        print(f"{name:58} refused; readers that open it: {len(known)}")
        continue
    room = 1 if mine["lossless"] else LOSSY_ROOM
    reasons = []
    for other in known:
        if other["rate"] != mine["rate"]:
            reasons.append(f"rate {other['rate']}")
        if min(other["channels"], 2) != mine["channels"]:
            reasons.append(f"channels {other['channels']}")
        if abs(other["samples"] - mine["samples"]) > room:
            reasons.append(f"samples {other['samples']}")
    agreed += not reasons
    # One reader against us and the other one is a matter of taste; both against us is our fault.
    bad = len(known) == 2 and all(abs(other["samples"] - mine["samples"]) > room or other["rate"] != mine["rate"]
                                  for other in known)
    wrong += bad
    print(f"{name:58} {mine['rate']:>7} {mine['channels']:>3} {mine['samples']:>9}  {str(others[0]['samples']):>9} "
          f"{str(others[1]['samples']):>9}  {'; '.join(reasons)}")
print(f"{agreed} agree with every reader, {refused} refused, {wrong} against both readers")
sys.exit(1 if wrong else 0)
