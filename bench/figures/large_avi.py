"""Writes an OpenDML DV AVI of about 13 GB as a sparse file: large_avi.py OUT DV_FRAME_FILE. The first frame is real."""
import struct, sys

FRAME, SEGMENT_FRAMES, SEGMENTS = 144000, 6600, 14


def chunk(name, data):
    return name + struct.pack("<I", len(data)) + data + b"\0" * (len(data) % 2)


def listing(name, data):
    return chunk(b"LIST", name + data)


def header(total, indexes):
    main = struct.pack("<14I", 40000, 3600000, 0, 0x10, SEGMENT_FRAMES, 0, 1, FRAME, 720, 576, 0, 0, 0, 0)
    stream = b"vidsdvsd" + struct.pack("<IHHIIIIIIII4H", 0, 0, 0, 0, 1, 25, 0, total, FRAME, 0, 0, 0, 0, 720, 576)
    form = struct.pack("<IiiHH4sIiiII", 40, 720, 576, 1, 24, b"dvsd", FRAME, 0, 0, 0, 0)
    entries = b"".join(struct.pack("<QII", at, size, SEGMENT_FRAMES) for at, size in indexes)
    index = struct.pack("<HBBI4s3I", 4, 0, 0, len(indexes), b"00dc", 0, 0, 0) + entries
    streams = listing(b"strl", chunk(b"strh", stream) + chunk(b"strf", form) + chunk(b"indx", index))
    extended = listing(b"odml", chunk(b"dmlh", struct.pack("<I", total)))
    return listing(b"hdrl", chunk(b"avih", main) + streams + extended)


def main(out, frame_file):
    total = SEGMENT_FRAMES * SEGMENTS
    step = FRAME + 8
    index_size = 8 + 24 + 8 * SEGMENT_FRAMES
    movi_size = 4 + step * SEGMENT_FRAMES + index_size
    head_size = len(header(total, [(0, 0)] * SEGMENTS))
    starts, at = [], 12 + head_size  # of the LISTs
    for segment in range(SEGMENTS):
        starts.append(at)
        at += 8 + movi_size + 12
    with open(out, "wb") as file:
        indexes = [(start + 8 + movi_size - index_size, index_size) for start in starts]
        for segment, start in enumerate(starts):
            riff = start - 12 - (head_size if segment == 0 else 0)
            file.seek(riff)
            kind = b"AVI " if segment == 0 else b"AVIX"
            file.write(b"RIFF" + struct.pack("<I", start + 8 + movi_size - riff - 8) + kind)
            if segment == 0:
                file.write(header(total, indexes))
            file.write(b"LIST" + struct.pack("<I", movi_size) + b"movi")
            for frame in range(SEGMENT_FRAMES):
                file.seek(start + 12 + frame * step)
                file.write(b"00dc" + struct.pack("<I", FRAME))
            file.seek(indexes[segment][0])
            head = struct.pack("<HBBI4sQI", 2, 0, 1, SEGMENT_FRAMES, b"00dc", start + 12, 0)
            places = [value for frame in range(SEGMENT_FRAMES) for value in (8 + frame * step, FRAME)]
            file.write(chunk(b"ix00", head + struct.pack(f"<{len(places)}I", *places)))
        file.seek(starts[0] + 20)
        file.write(open(frame_file, "rb").read(FRAME))
        print(f"{out}: {at - 12 >> 20} MB, {total} frames")


main(*sys.argv[1:])
