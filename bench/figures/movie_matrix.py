"""Shape x rotation x fields through "qv thumb": each cell is a movie made by ffmpeg, whose thumbnail must show four
colours in their corners, a round disc in the middle, and of an interlaced movie the upper field alone. (Small
thumbnails of DV are decoded at a reduced size, where a sample is the mean of both fields: there no line may differ from
its neighbours.) Fails when a cell does not."""
import struct, subprocess, sys

work, qv = sys.argv[1], sys.argv[2]
RED, GREEN, BLUE, YELLOW, WHITE = (200, 30, 30), (30, 160, 30), (30, 30, 200), (210, 210, 40), (255, 255, 255)
# Stored size, its pixels' shape, and what that shows.
SHAPES = [("4:3", 720, 480, (8, 9)), ("16:9", 720, 480, (32, 27)), ("square", 640, 352, (1, 1)),
          ("odd", 544, 480, (3, 2))]
FIELDS = {"progressive": [], "top first": ["-top", "1"], "bottom first": ["-top", "0"]}
KINDS = {"MPEG-2 in MOV": ("mov", ["-c:v", "mpeg2video", "-q:v", "2", "-intra_vlc", "1", "-pix_fmt", "yuv422p"]),
         "H.264 in MP4": ("mp4", ["-c:v", "libx264", "-qp", "4", "-preset", "ultrafast", "-pix_fmt", "yuv422p"])}


def run(*command):
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: {result.stderr}")


def ppm(path, width, height, pixel, interlaced):
    """Corners red, green, blue, yellow and a white disc that is round when shown; in an interlaced picture the lower
    field has the corners the other way round and the disc elsewhere, as after a fast movement."""
    aspect = pixel[0] / pixel[1]
    radius = min(width * aspect, height) / 6
    rows = []
    for y in range(height):
        lower = interlaced and y % 2 == 1
        half = radius ** 2 - (y - height / 2 + 0.5) ** 2
        reach = int(half ** 0.5 / aspect + 0.5) if half > 0 else 0
        centre = width // 2 + (width // 4 if lower else 0)
        left, right = [RED, GREEN] if y < height // 2 else [BLUE, YELLOW]
        if lower:
            left, right = [YELLOW, BLUE] if y < height // 2 else [GREEN, RED]
        row = [bytes(left)] * (width // 2) + [bytes(right)] * (width - width // 2)
        row[centre - reach:centre + reach] = [bytes(WHITE)] * (2 * reach)
        rows.append(b"".join(row))
    with open(path, "wb") as out:
        out.write(b"P6 %d %d 255\n" % (width, height) + b"".join(rows))


def bitmap(path):
    """Rows of (r, g, b) from the top of a bitmap of 24 bits a pixel."""
    data = open(path, "rb").read()
    start, = struct.unpack_from("<I", data, 10)
    width, height = struct.unpack_from("<ii", data, 18)
    line = (width * 3 + 3) // 4 * 4
    rows = [data[start + y * line:start + y * line + 3 * width] for y in range(height)]
    return [[tuple(row[3 * x + 2:3 * x - 1 if x else None:-1]) for x in range(width)] for row in reversed(rows)]


def near(a, b, tolerance=40):
    return all(abs(x - y) <= tolerance for x, y in zip(a, b))


def mix(a, b):
    return tuple((x + y) // 2 for x, y in zip(a, b))


CORNERS = [RED, GREEN, YELLOW, BLUE]  # clockwise from the upper left one
BLENDED = [mix(CORNERS[i], CORNERS[(i + 2) % 4]) for i in range(4)]


def wrong_corners(rows, degrees, corners):
    height, width = len(rows), len(rows[0])
    found = []
    turned = corners[-(degrees // 90) % 4:] + corners[:-(degrees // 90) % 4]
    inset_x, inset_y = max(width // 12, 2), max(height // 12, 2)
    places = [(inset_x, inset_y), (width - 1 - inset_x, inset_y), (width - 1 - inset_x, height - 1 - inset_y),
              (inset_x, height - 1 - inset_y)]
    for (x, y), wanted in zip(places, turned):
        for dy in (0, 1):  # neighbouring lines: of one field both
            if not near(rows[y + dy][x], wanted):
                found.append(f"at {x},{y + dy} {rows[y + dy][x]} instead of {wanted}")
    return found


def wrong_shape(rows, shown):
    height, width = len(rows), len(rows[0])
    if abs(width / height / shown - 1) > 0.02:
        return [f"{width}x{height} instead of {shown:.3f}"]
    white = [(x, y) for y, row in enumerate(rows) for x, c in enumerate(row) if min(c) > 170]
    if not white:
        return ["no disc"]
    found = []
    spans = [max(p[i] for p in white) - min(p[i] for p in white) + 1 for i in (0, 1)]
    middle = [sum(p[i] for p in white) / len(white) for i in (0, 1)]
    slack = 2 + 0.03 * max(spans)
    if abs(spans[0] - spans[1]) > slack:
        found.append(f"the disc is {spans[0]} wide and {spans[1]} high")
    if abs(middle[0] - width / 2) > slack or abs(middle[1] - height / 2) > slack:
        found.append(f"the disc is at {middle[0]:.0f},{middle[1]:.0f}")
    return found


def judge(path, degrees):
    """ffmpeg, which turns pictures too, must see the same corners."""
    turned = f"{work}/turned.bmp"
    run("ffmpeg", "-y", "-v", "error", "-i", path, "-frames:v", "1", "-pix_fmt", "bgr24", turned)
    wrong = wrong_corners(bitmap(turned), degrees, CORNERS)
    if wrong:
        sys.exit(f"{path}: ffmpeg turns it otherwise: {wrong}")


def cells():
    """(name, movie, degrees, shape as shown upright)"""
    for kind, (extension, codec) in KINDS.items():
        for shape, width, height, pixel in SHAPES:
            for field, order in FIELDS.items():
                still, flat = f"{work}/still.ppm", f"{work}/flat.{extension}"
                ppm(still, width, height, pixel, bool(order))
                setting = f"setsar={pixel[0]}/{pixel[1]}"
                interlaced = []
                if order:
                    setting += ",setfield=" + ("tff" if order[1] == "1" else "bff")
                    interlaced = ["-flags", "+ildct+ilme"] + order
                run("ffmpeg", "-y", "-v", "error", "-loop", "1", "-i", still, "-frames:v", "4", "-vf",
                    f"scale=interl={int(bool(order))}:out_color_matrix=bt601,format=yuv422p," + setting, *codec,
                    *interlaced, flat)
                for degrees in (0, 90, 180, 270):
                    path = flat
                    if degrees:
                        path = f"{work}/turned.{extension}"
                        run("ffmpeg", "-y", "-v", "error", "-i", flat, "-c", "copy", "-metadata:s:v",
                            f"rotate={360 - degrees}", path)
                    if not order:
                        judge(path, degrees)
                    shown = width * pixel[0] / pixel[1] / height
                    yield f"{kind}, {shape}, {degrees} degrees, {field}", path, degrees, shown ** (
                        -1 if degrees % 180 else 1)


def tapes():
    for shape in ("4/3", "16/9"):
        for name, width, height, rate, pixels in (("NTSC", 720, 480, "30000/1001", "yuv411p"),
                                                  ("PAL", 720, 576, "25", "yuv420p")):
            across, down = map(int, shape.split("/"))
            still = f"{work}/still.ppm"
            ppm(still, width, height, (across * height, down * width), True)
            path = f"{work}/tape.avi"
            run("ffmpeg", "-y", "-v", "error", "-loop", "1", "-r", rate, "-i", still, "-frames:v", "4", "-vf",
                f"scale=interl=1:out_color_matrix=bt601,setdar={shape}", "-c:v", "dvvideo", "-pix_fmt", pixels,
                "-flags", "+ildct", path)
            yield f"DV {name}, {shape}, 0 degrees, bottom first", path, 0, across / down


def main():
    checked = failed = 0
    for source in (cells, tapes):
        for name, path, degrees, shown in source():
            for size in ("", "160x120", "320x320"):
                out = f"{work}/thumb.bmp"
                stretch = ["--size", size, "--fit", "fit"] if size else []
                run(qv, "thumb", path, "-o", out, "--frame", "2", *stretch)
                rows = bitmap(out)
                if size:  # cut the bars away
                    width, height = map(int, size.split("x"))
                    fit = min(width / shown, height)
                    inner, outer = round(fit * shown), round(fit)
                    left, top = (width - inner) // 2, (height - outer) // 2
                    if len(rows) != height or len(rows[0]) != width:
                        sys.exit(f"{name}: not {size}")
                    rows = [row[left:left + inner] for row in rows[top:top + outer]]
                blended = size and source is tapes
                wrong = wrong_corners(rows, degrees, BLENDED if blended else CORNERS)
                if not blended:
                    wrong += wrong_shape(rows, shown)
                checked += 1
                if wrong:
                    failed += 1
                    print(f"WRONG {name}, {size or 'own size'}: {'; '.join(wrong[:3])}")
    print(f"{checked} thumbnails of the matrix shape x rotation x fields checked, {failed} wrong")
    return failed


sys.exit(1 if main() else 0)
