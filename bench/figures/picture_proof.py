"""Prints the tables of picture-proof.sh, and fails where somebody else's reader disagrees."""
import ctypes
import os
import pathlib
import re
import resource
import struct
import subprocess
import sys

release, work = sys.argv[1], pathlib.Path(sys.argv[2])
qv = f"{release}/bin/qv"
modules = pathlib.Path(release, "lib/qvlibs")
media = os.environ.get("QVLIBS_TEST_DATA")
wrong = []


def run(*command, **more):
    return subprocess.run([str(word) for word in command], capture_output=True, **more)


def must(*command):
    done = run(*command)
    if done.returncode != 0:
        sys.exit(f"{command}: {done.stderr.decode()}")
    return done.stdout


def check(good, what):
    if not good:
        wrong.append(what)
    return "yes" if good else "NO"


def quarters(path):
    """Mean colour of the four quarters, as ImageMagick reads the stored rows."""
    pixels = must("convert", path, "-scale", "2x2!", "-depth", "8", "rgb:-")
    return [tuple(pixels[i:i + 3]) for i in range(0, 12, 3)]


def near(a, b, tolerance):
    return all(abs(x - y) <= tolerance for one, other in zip(a, b) for x, y in zip(one, other))


def size(path):
    return tuple(int(word) for word in must("identify", "-format", "%w %h ", path).split()[:2])


def orientations():
    """How the stored rows have to be turned for each value, in ImageMagick's words, undone."""
    undo = {0: [], 1: [], 2: ["-flop"], 3: ["-rotate", "180"], 4: ["-flip"], 5: ["-transpose"], 6: ["-rotate", "270"],
            7: ["-transverse"], 8: ["-rotate", "90"]}
    upright = work / "upright.png"
    must("convert", "(", "xc:red", "xc:lime", "+append", ")", "(", "xc:blue", "xc:white", "+append", ")", "-append",
         "-filter", "point", "-resize", "640x480!", upright)
    print("Orientations of a picture of 640x480 (load leaves mirrored pictures as they are stored):")
    print("  value  stored    load               reduced load       thumbnail          --rotate exif      tag left")
    for value, words in undo.items():
        stored = work / f"o{value}.jpg"
        must("convert", upright, *words, "-quality", "95", stored)
        if value:
            must("exiv2", f"-Mset Exif.Image.Orientation {value}", stored)
        want = work / f"want{value}.png" # what load must give
        must("convert", stored, *([] if value in (2, 4, 5, 7) else ["-auto-orient"]), want)
        cells = []
        for name, more, reference in (("load", [], want), ("small", ["--size", "64x48", "--fit", "stretch"], want),
                                      ("thumb", ["--size", "160x120", "--rotate", "exif", "--strip"], upright),
                                      ("exif", ["--rotate", "exif"], upright)):
            out = work / f"{name}{value}.jpg"
            must(qv, "convert", stored, out, "--quality", "95", "--quiet", *more)
            same = near(quarters(out), quarters(reference), 12)
            if name in ("load", "exif"):
                same = same and size(out) == size(reference)
            state = "upright" if near(quarters(out), quarters(upright), 12) else "as stored"
            shape = "x".join(str(side) for side in size(out))
            cells.append(f"{shape:8} {state if check(same, f'orientation {value}, {name}') == 'yes' else 'WRONG':9}")
        left = run("exiv2", "-K", "Exif.Image.Orientation", "-Pv", work / f"exif{value}.jpg").stdout.decode().strip()
        check(left in ("", "1"), f"orientation {value}: the tag is still {left}")
        print(f"  {value}      {'x'.join(map(str, size(stored)))}   {' '.join(cells)} {left or 'none'}")


def library(name):
    return ctypes.CDLL(str(modules / name)) if (modules / name).exists() else None


def exif_facts():
    if not media:
        print("Dates and orientations of real pictures: left out (QVLIBS_TEST_DATA is not set)")
        return
    exif = library("exif.pbp")
    print("Real pictures: orientation and original date here, and what three readers say")
    rows = [line.split("\t") for line in open(f"{media}/exif/expected_exif.tsv", encoding="utf-8").read().splitlines()]
    columns = {name: at for at, name in enumerate(rows[0])}
    agreed = {"orientation": 0, "date": 0}
    present = {"orientation": 0, "date": 0}
    split = {"orientation": 0, "date": 0}
    for row in rows[1:]:
        row += [""] * (len(columns) - len(row))
        path = f"{media}/exif/{row[0]}".encode()
        orientation, second, date = ctypes.c_int(0), ctypes.c_int(0), (ctypes.c_uint16 * 8)()
        exif.GetOrientation(path, ctypes.byref(orientation), ctypes.byref(second), 0)
        has_date = exif.GetDateTimeOriginal(path, date) >= 0
        text = "%04d:%02d:%02d %02d:%02d:%02d" % (*date[:2], *date[3:7]) if has_date else ""
        for what, ours in (("orientation", str(orientation.value or "")), ("date", text)):
            names = ("orientation_exiftool", "orientation_exiv2") if what == "orientation" else (
                "datetimeoriginal_exiftool", "datetimeoriginal_exiv2", "datetimeoriginal_libexif")
            said = [row[columns[name]].strip().split(".")[0] for name in names]
            usual = [word if re.fullmatch(r"[1-8]|\d{4}:\d\d:\d\d \d\d:\d\d:\d\d", word) and not word.startswith("0000")
                     else "" for word in said]
            if len(set(usual[:2])) > 1:
                split[what] += 1
                print(f"  {row[0]}: readers differ on the {what}: {said}, ours {ours!r}")
            elif check(ours == usual[0], f"{row[0]}: {what} {ours!r}, others {usual[0]!r}") == "yes":
                agreed[what] += 1
                present[what] += ours != ""
    print(f"  {len(rows) - 1} pictures: orientations as others read them {agreed['orientation']} ({present['orientation']} "
          f"have one, others differ on {split['orientation']}), dates {agreed['date']} ({present['date']} have one, others "
          f"differ on {split['date']})")
    upright = [line.split("\t") for line in open(f"{media}/exif/expected_upright.tsv").read().splitlines()][1:]
    good = 0
    for row in upright:
        out = work / "real.png"
        must(qv, "convert", f"{media}/exif/{row[0]}", out, "--rotate", "exif", "--strip", "--quiet")
        want = [tuple(float(word) for word in cell.split("/")) for cell in row[4:8]]
        good += check(size(out) == (int(row[2]), int(row[3])) and near(quarters(out), want, 3),
                      f"{row[0]}: not upright") == "yes"
    print(f"  turned upright, size and the colours of the quarters as expected: {good} of {len(upright)}")


def psnr(a, b):
    text = run("compare", "-metric", "PSNR", a, b, "null:").stderr.decode().split()[0]
    return 999.0 if text == "inf" else float(text)


FORMATS = [("jpg", 34), ("png", 999), ("tif", 999), ("gif", 22), ("bmp", 999), ("webp", 34), ("heic", 32), ("avif", 32)]


def known_extension(extension):
    return (modules / {"webp": "webp.pcp", "heic": "heif.pcp", "avif": "heif.pcp"}.get(extension, "png.pcp")).exists()


def independent_readers():
    source = work / "source.jpg"
    plain = work / "plain.png"
    must("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=640x360:d=1", "-frames:v", "1", plain)
    must("convert", plain, "-blur", "0x1", "-quality", "95", "-density", "72", source)
    must("exiv2", "-Mset Exif.Photo.DateTimeOriginal 2005:12:24 12:34:56", "-Mset Exif.Image.Model Camcorder", source)
    must(qv, "convert", source, plain, "--quiet")
    print("What is written, as ImageMagick, ffmpeg and exiv2 read it (likeness to what was to be written, in dB):")
    print("  format  identify              ImageMagick   ffmpeg  date and camera kept")
    for extension, least in FORMATS:
        if not known_extension(extension):
            print(f"  {extension:6}  left out: not built")
            continue
        out = work / f"written.{extension}"
        must(qv, "convert", source, out, "--quiet")
        said = must("identify", "-format", "%m %wx%h %z bits", f"{out}[0]").decode()
        other = work / "other.png"
        must("convert", f"{out}[0]", other)
        likeness = psnr(plain, other)
        check(likeness >= least and " 640x360 " in said, f"{extension}: {said}, {likeness} dB")
        read = run("ffmpeg", "-y", "-v", "error", "-i", out, "-frames:v", "1", "-sws_flags",
                   "bicubic+accurate_rnd+full_chroma_int", "-pix_fmt", "rgb24", other).returncode == 0
        second = psnr(plain, other) if read and size(other) == (640, 360) else None
        if extension != "heic": # ffmpeg 5 reads no HEIF
            check(second is None or second >= min(least, 60) - 3, f"{extension}: ffmpeg, {second} dB")
        kept = run("exiv2", "-K", "Exif.Photo.DateTimeOriginal", "-K", "Exif.Image.Model", "-Pv", out).stdout.decode()
        whole = "2005:12:24 12:34:56" in kept and "Camcorder" in kept
        if extension in ("jpg", "png", "tif", "webp"):
            check(whole, f"{extension}: properties are lost")
        show = ["same" if value == 999 else "-" if value is None else f"{value:.1f}" for value in (likeness, second)]
        print(f"  {extension:6}  {said:20}  {show[0]:>11}  {show[1]:>7}  {'yes' if whole else 'no room for them'}")
    full, reduced = work / "full.png", work / "reduced.png"
    big = work / "big.jpg"
    must("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "mandelbrot=s=6000x4000", "-frames:v", "1", "-q:v", "2", big)
    must(qv, "convert", big, work / "big.bmp", "--quiet")
    must(qv, "convert", work / "big.bmp", full, "--size", "256x171", "--quiet")
    must(qv, "convert", big, reduced, "--size", "256x171", "--strip", "--quiet")
    likeness = psnr(full, reduced)
    check(likeness > 38, f"the reduced decode shows: {likeness} dB")
    print(f"  24 megapixels to 256 wide through the reduced decode, beside the full one: {likeness:.1f} dB")


def decode_function(name):
    decode = library(name).Decode
    decode.restype, decode.argtypes = ctypes.c_void_p, [ctypes.c_char_p]
    return decode


MODULES = {"jpg": "jpeg.pcp", "png": "png.pcp", "tif": "tiff.pcp", "gif": "gif.pcp", "webp": "webp.pcp", "heic": "heif.pcp"}


def cut_short():
    free = ctypes.CDLL(str(modules / "libqvlibs.so.5")).GlobalFree
    free.restype, free.argtypes = ctypes.c_void_p, [ctypes.c_void_p]
    small = work / "small.png"
    must("convert", work / "plain.png", "-resize", "60x34!", small)
    print("Every beginning of a picture of 60x34: passed off as whole (GIF may lack its last byte, a mark of its end)")
    for extension, name in MODULES.items():
        if not (modules / name).exists():
            continue
        whole = work / f"small.{extension}"
        must(qv, "convert", small, whole, "--quiet", "--strip")
        bytes_ = whole.read_bytes()
        decode = decode_function(name)
        passed = 0
        cut = work / f"cut.{extension}"
        for length in range(len(bytes_)):
            cut.write_bytes(bytes_[:length])
            block = decode(str(cut).encode())
            if block:
                free(block)
                passed += 1
        check(passed <= (1 if extension == "gif" else 0), f"{extension}: {passed} beginnings pass as whole")
        print(f"  {extension:5} {passed} of {len(bytes_)}")


def patched(extension, mark, skip, value):
    bytes_ = bytearray((work / f"small.{extension}").read_bytes())
    at = bytes_.find(mark)
    while at >= 0:
        bytes_[at + len(mark) + skip:at + len(mark) + skip + len(value)] = value
        at = bytes_.find(mark, at + 1)
    return bytes(bytes_)


def too_large():
    side = 60000
    tiff = struct.pack("<2sHIH", b"II", 42, 8, 8) + b"".join(
        struct.pack("<HHII", tag, kind, 1, value)
        for tag, kind, value in ((256, 4, side), (257, 4, side), (258, 3, 8), (259, 3, 1), (262, 3, 1), (273, 4, 110),
                                 (278, 4, side), (279, 4, 64))) + bytes(4 + 64)
    bmp = struct.pack("<2sIIIIiiHHIIiiII", b"BM", 118, 0, 54, 40, side, side, 1, 24, 0, 0, 0, 0, 0, 0) + bytes(64)
    big, little = struct.pack(">II", side, side), struct.pack("<HH", side, side)
    files = {"jpg": patched("jpg", b"\xff\xc0", 3, struct.pack(">HH", side, side)), "png": patched("png", b"IHDR", 0, big),
             "gif": patched("gif", b"GIF8", 2, little), "tif": tiff, "bmp": bmp}
    if (modules / "heif.pcp").exists():
        files["heic"] = patched("heic", b"ispe", 4, big)
    print("60,000 x 60,000 announced by a small file (WebP ends at 16,383):")
    for extension, content in files.items():
        path = work / f"huge.{extension}"
        path.write_bytes(content)
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
        done = subprocess.Popen([qv, "convert", path, work / "huge.png", "--quiet"], stderr=subprocess.PIPE)
        done.stderr.read()
        _, status, used = os.wait4(done.pid, 0)
        code = os.waitstatus_to_exitcode(status)
        refused = code == 5 and used.ru_maxrss < 100 * 1024
        print(f"  {extension:4} {len(content):6} bytes: exit code {code}, {used.ru_maxrss // 1024} MiB used, "
              f"refused {check(refused, f'{extension} of 60,000 x 60,000')}")


orientations()
exif_facts()
independent_readers()
cut_short()
too_large()
for what in wrong:
    print(f"WRONG: {what}")
sys.exit(1 if wrong else 0)
