"""Speed and memory of qv dvlog on a made tape of five minutes.

usage: dvlog_speed.py QV TAPE.dv. Ends with 1 where the answer is wrong or memory is not bounded.
"""
import os
import shutil
import subprocess
import sys
import time

QV, TAPE = sys.argv[1:]
SIZE = os.path.getsize(TAPE)
FRAMES = SIZE // 120000
TEN_HOURS = 10 * 3600 * 30000 // 1001
CORES = os.sched_getaffinity(0)
LAST_CORE = {sorted(CORES)[-1]}


def run(command, source=None, cores=CORES):
    """Seconds, peak memory in MiB, output and processor seconds of a program."""
    begin = time.monotonic()
    child = subprocess.Popen(command, stdin=source, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                             preexec_fn=lambda: os.sched_setaffinity(0, cores))
    output = child.stdout.read().decode()
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = status
    if status:
        sys.exit(f"{command[0]} failed")
    return time.monotonic() - begin, usage.ru_maxrss / 1024, output, usage.ru_utime + usage.ru_stime


def log(tape, source=None, cores=CORES):
    return run([QV, "dvlog", "--quiet", "--format", "csv", tape], source, cores)


def rate(seconds):
    return SIZE / seconds / 1e9


def drop_from_cache():
    descriptor = os.open(TAPE, os.O_RDONLY)
    os.fsync(descriptor)
    os.posix_fadvise(descriptor, 0, 0, os.POSIX_FADV_DONTNEED)
    os.close(descriptor)


def cold(command):
    drop_from_cache()
    return run(command)[0]


failed = False
log(TAPE)
for where, cores, asked in (("one core", LAST_CORE, "; asked 5"), (f"{len(CORES)} cores", CORES, "")):
    times = [log(TAPE, cores=cores) for _ in range(9)]
    best = min(t[0] for t in times)
    failed |= int(times[0][2].splitlines()[1].split(",")[6]) != FRAMES
    print(f"page cache, {where}: {rate(best):.2f} GB/s (best of 9; the slowest {rate(max(t[0] for t in times)):.2f}), "
          f"{rate(min(t[3] for t in times)):.2f} GB per second of processor time{asked}")
    if shutil.which("mediainfo"):
        peer = min(run(["mediainfo", "--Full", "--ParseSpeed=1", TAPE], cores=cores)[0] for _ in range(3))
        print(f"MediaInfo's full parse, {where}: {rate(peer):.3f} GB/s; qv dvlog is {peer / best:.1f} times as fast; "
              "asked 30 in the same run")

drops = [(cold(["dd", f"if={TAPE}", "of=/dev/null", "bs=1M"]), cold([QV, "dvlog", "--quiet", TAPE])) for _ in range(3)]
disk, ours = (min(pair[i] for pair in drops) for i in (0, 1))
print(f"cold: dd {rate(disk):.2f} GB/s, qv dvlog {rate(ours):.2f} GB/s ({disk / ours:.2f} of it); asked the disk's own speed")

with open(TAPE, "rb") as whole, open(TAPE + ".minute", "wb") as minute:
    minute.write(whole.read(1798 * 120000))
memory = log(TAPE + ".minute")[1]
repeats = TEN_HOURS // FRAMES + 1
writer = subprocess.Popen(["cat"] + [TAPE] * repeats, stdout=subprocess.PIPE)
seconds, long_memory, output, _ = log("-", writer.stdout)
rows = [line.split(",") for line in output.splitlines()[1:]]
failed |= sum(int(row[6]) for row in rows) != repeats * FRAMES or len(rows) != repeats
failed |= max(memory, long_memory) > 32
print(f"memory: {memory:.1f} MiB for a minute, {long_memory:.1f} MiB for {repeats * FRAMES * 1001 / 30000 / 3600:.1f} hours "
      f"({repeats * SIZE / 1e9:.0f} GB through a pipe in {seconds:.0f} s); asked 32")
sys.exit(failed)
