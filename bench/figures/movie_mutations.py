"""Damaged movies through "qv thumb", each in a process of its own with limits of time and memory:
movie_mutations.py QV FOLDER COUNT. FOLDER holds small movies whose frames carry their numbers (movie_samples.sh).
A run must end by itself, with a picture or with one line that says why not; and where only the headers and indexes of a
DV AVI are damaged, a picture must be of the frame asked for. Two in three are DV, whose code is this project's own."""
import os, pathlib, random, re, struct, subprocess, sys, threading

CPU_SECONDS, MEMORY, WALL_SECONDS = 10, 1 << 30, 300
STATUS = (0, 1, 3, 4, 5)
VALUES = [0, 1, 2, 3, 7, 0x7FFF, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF]
qv, folder, count = sys.argv[1], pathlib.Path(sys.argv[2]), int(sys.argv[3])


class Movie:
    def __init__(self, path):
        self.name = path.name
        self.bytes = path.read_bytes()
        self.is_dv = path.name.startswith("tape")
        # Places outside the frames and sounds: headers, indexes, and the heads of chunks.
        self.heads = [m.start() for m in re.finditer(rb"RIFF|LIST|avih|str[hf]|indx|ix0[01]|idx1|0[01](?:dc|wb|__)",
                                                     self.bytes)]
        self.outside = []
        if self.is_dv and self.bytes[:4] == b"RIFF":
            at = self.bytes.find(b"movi")
            self.outside = list(range(at)) + list(range(self.bytes.rfind(b"idx1"), len(self.bytes)))
            for name in (b"ix00", b"ix01"):
                start = self.bytes.find(name, at)
                if start > 0:
                    size, = struct.unpack_from("<I", self.bytes, start + 4)
                    self.outside += range(start, start + 8 + size)


def put(data, at, value, size=4):
    data[at:at + size] = value.to_bytes(4, "little")[:size]


def damage(movie, chance):
    """The damaged bytes, and whether the frames are as they were."""
    data = bytearray(movie.bytes)
    near = lambda: chance.choice([chance.randrange(min(4096, len(data))), len(data) - 1 - chance.randrange(min(2048, len(data))),
                                  chance.randrange(len(data))])
    kind = chance.randrange(12)
    if kind == 0:
        for _ in range(chance.randint(1, 20)):
            data[chance.randrange(len(data))] ^= 1 << chance.randrange(8)
    elif kind == 1:
        for _ in range(chance.randint(1, 8)):
            data[near()] = chance.randrange(256)
    elif kind == 2:
        put(data, near() & ~1, chance.choice(VALUES + [len(data), len(data) - 8]))
    elif kind == 3:
        del data[chance.randrange(len(data)):]
    elif kind == 4:
        size = chance.choice([16, 100, 4096, 65536])
        start, to = chance.randrange(len(data)), chance.randrange(len(data))
        data[to:to + size] = data[start:start + size]
    elif kind == 5:
        at = near()
        data[at:at + (chance.randint(1, 5000) if chance.random() < 0.5 else 0)] = bytes(chance.randint(0, 5000))
    elif kind == 6:
        at, size = near(), chance.choice([4, 64, 2048])
        data[at:at + size] = bytes(len(data[at:at + size]))
    elif movie.heads and (kind < 8 or not movie.outside):
        put(data, chance.choice(movie.heads) + 4, chance.choice(VALUES + [chance.randrange(1 << 18)]))
    elif movie.outside:
        at = chance.choice(movie.outside)
        put(data, at, chance.choice(VALUES + [chance.randrange(1 << 20), data[at] ^ 4]), chance.choice([1, 2, 4]))
        return data[:len(movie.bytes)], True
    return data, False


def number(path):
    """The number in the bars of a bitmap."""
    data = path.read_bytes()
    start, = struct.unpack_from("<I", data, 10)
    width, height = struct.unpack_from("<ii", data, 18)
    row = start + (width * 3 + 3) // 4 * 4 * (height // 2)
    return sum(1 << i for i in range(12) if data[row + 3 * ((2 * i + 1) * width // 24) + 1] > 127)


class Tally:
    def __init__(self):
        self.lock = threading.Lock()
        self.codes, self.wrong, self.numbered, self.memory, self.runs = {}, [], 0, 0, {}


def one(movie, seed, place, tally):
    chance = random.Random(seed)
    data, same_frames = damage(movie, chance)
    path, out, complaint = place / movie.name, place / "out.bmp", place / "err"
    path.write_bytes(data)
    out.unlink(missing_ok=True)
    frame = chance.randrange(8)
    size = [] if same_frames else chance.choice([[], ["--size", "96x72"], ["--size", "180x120", "--fit", "fill"]])
    with open(complaint, "wb") as err:
        process = subprocess.Popen(["prlimit", f"--cpu={CPU_SECONDS}", f"--as={MEMORY}", "--core=0", qv, "thumb", path, "-o",
                                    out, "--frame", str(frame), *size], stdout=err, stderr=err)
        timer = threading.Timer(WALL_SECONDS, process.kill)
        timer.start()
        _, status, usage = os.wait4(process.pid, 0)
        timer.cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
    said = complaint.read_bytes()
    code = process.returncode
    fault = None
    if code not in STATUS:
        fault = f"ends with {code}"
    elif out.exists() != (code == 0):
        fault = f"code {code}, picture {out.exists()}"
    elif said.count(b"\n") != (code != 0):
        fault = f"code {code}, says {said!r}"
    elif same_frames and code == 0 and number(out) != frame:
        fault = f"frame {number(out)} instead of {frame}"
    with tally.lock:
        tally.codes[code] = tally.codes.get(code, 0) + 1
        tally.runs[movie.name] = tally.runs.get(movie.name, 0) + 1
        tally.numbered += same_frames and code == 0
        tally.memory = max(tally.memory, usage.ru_maxrss)
        if fault:
            tally.wrong.append(f"WRONG {movie.name}, seed {seed}: {fault}")


def work(number_of_worker, workers, movies, tally):
    place = folder / f"worker{number_of_worker}"
    place.mkdir(exist_ok=True)
    ours = [movie for movie in movies if movie.is_dv]
    others = [movie for movie in movies if not movie.is_dv]
    for seed in range(number_of_worker, count, workers):
        kinds = others if seed % 3 == 2 else ours
        one(kinds[seed // 3 % len(kinds)], seed, place, tally)


def main():
    movies = [Movie(path) for path in sorted(folder.iterdir()) if path.is_file()]
    tally, workers = Tally(), os.cpu_count() or 1
    threads = [threading.Thread(target=work, args=(i, workers, movies, tally)) for i in range(workers)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for line in tally.wrong[:20]:
        print(line)
    kinds = ", ".join(f"{runs} {name}" for name, runs in sorted(tally.runs.items()))
    print(f"{sum(tally.codes.values())} damaged movies through qv thumb ({kinds})")
    print(f"  results {dict(sorted(tally.codes.items()))}, most memory {tally.memory // 1024} MB, "
          f"{tally.numbered} pictures held against their numbers, {len(tally.wrong)} wrong")
    sys.exit(1 if tally.wrong or sum(tally.codes.values()) != count else 0)


main()
