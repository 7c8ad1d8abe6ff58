"""Relinks side files and kills the program on the way: the old link or the new one, never half of one, under one name.
Arguments: the program, a folder to work in, how often."""
import collections
import os
import random
import signal
import subprocess
import sys
import time

qv, work, rounds = sys.argv[1], sys.argv[2], int(sys.argv[3])
OLD, NEW = "old.mpg", "another recording.mpg"
LINK = slice(48, 48 + 255)
random.seed(1)
os.environ["QVLIBS_HOME"] = work


def record(link):
    body = bytearray(568)
    body[16:21] = b"Maker"
    body[LINK] = link.encode().ljust(255, b"\0")
    return bytes(body)


def clean():
    for name in os.listdir(work):
        if name.endswith(".mtv"):
            os.remove(f"{work}/{name}")
    with open(f"{work}/old.mtv", "wb") as file:
        file.write(record(OLD))


def seconds():
    clean()
    start = time.monotonic()
    subprocess.run([qv, "mtv", "link", f"{work}/old.mtv", f"{work}/{NEW}"], check=True)
    return time.monotonic() - start


usual = max(seconds() for _ in range(5))
states = collections.Counter()
for _ in range(rounds):
    clean()
    child = subprocess.Popen([qv, "mtv", "link", f"{work}/old.mtv", f"{work}/{NEW}"], stderr=subprocess.DEVNULL)
    time.sleep(random.uniform(0, usual))
    child.send_signal(signal.SIGKILL)
    child.wait()
    names = sorted(name for name in os.listdir(work) if name.endswith(".mtv"))
    links = {open(f"{work}/{name}", "rb").read() for name in names}
    if len(links) != 1 or not links <= {record(OLD), record(NEW)}:
        sys.exit(f"half a link, or none, in {names}")
    linked = "new link" if links == {record(NEW)} else "old link"
    states[linked, " and ".join(names)] += 1
print(f"{rounds} relinkings killed: every side file holds the old link or the new one")
for (linked, names), count in sorted(states.items()):
    print(f"  {count:5} {linked}, named {names}")
