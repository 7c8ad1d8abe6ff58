"""Runs the replay programs of the picture formats on many mutated files, half of them on each of two processors, in two
gigabytes of address space; an input that takes five seconds of a processor ends the program, and so this one."""
import os
import re
import resource
import subprocess
import sys
import time

release, wanted = sys.argv[1], int(sys.argv[2])
# What is damaged, and the program: picture_file_fuzz takes whole files through the library and its modules.
KINDS = [("JPEG", "picture_file_fuzz", "jpeg_fuzz"), ("PNG", "picture_file_fuzz", "png_fuzz"),
         ("TIFF", "picture_file_fuzz", "tiff_fuzz"), ("GIF", "picture_file_fuzz", "gif_fuzz"),
         ("WebP", "picture_file_fuzz", "webp_fuzz"), ("HEIF", "picture_file_fuzz", "heif_fuzz"),
         ("Exif, whole pictures", "picture_file_fuzz", "exif_fuzz"), ("Exif, read and written", "exif_fuzz", "exif_fuzz"),
         ("BMP", "dib_read_fuzz", "dib_read_fuzz"), ("icons in PE modules", "icon_fuzz", "icon_fuzz")]


def limit():
    resource.setrlimit(resource.RLIMIT_AS, (2 << 30, 2 << 30))


def start(program, corpus, seed):
    settings = dict(os.environ, TMPDIR="/dev/shm", QVLIBS_FUZZ_RUNS=str((wanted + 1) // 2), QVLIBS_FUZZ_SEED=str(seed))
    return subprocess.Popen([f"{release}/fuzz/{program}", f"tests/fuzz/corpus/{corpus}"], env=settings, preexec_fn=limit,
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)


print(f"{'damaged':24} {'files':>8}  {'crashes':>7}  {'slowest':>8}  {'memory':>8}  {'took':>6}")
failed = False
for what, program, corpus in KINDS:
    if not os.path.exists(f"tests/fuzz/corpus/{corpus}") or not os.path.exists(f"{release}/fuzz/{program}"):
        print(f"{what:24} left out: not built")
        continue
    begin = time.monotonic()
    running = [start(program, corpus, seed) for seed in (1, 2)]
    answers = [(process.communicate()[0], process.returncode) for process in running]
    numbers = [re.search(r"(\d+) inputs run, slowest (\d+) ms, at most (\d+) MiB", text) for text, _ in answers]
    crashes = sum(code != 0 for _, code in answers)
    failed |= crashes > 0
    rows = [[int(number) for number in found.groups()] for found in numbers if found]
    files, slowest, memory = (sum(row[0] for row in rows), max((row[1] for row in rows), default=0),
                              max((row[2] for row in rows), default=0))
    print(f"{what:24} {files:8}  {crashes:7}  {slowest:5} ms  {memory:4} MiB  {time.monotonic() - begin:4.0f} s", flush=True)
sys.exit(1 if failed else 0)
