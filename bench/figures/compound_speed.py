"""Prints the table of compound-speed.sh: times by number of elements, and what is asked of 5,000."""
import json
import sys

least = {}
for row in json.load(open(sys.argv[1]))["benchmarks"]:
    if row.get("error_occurred"):
        sys.exit(f"{row['name']}: {row['error_message']}")
    if row["run_type"] == "iteration":
        _, work, count, who = row["run_name"].split("/")[:4]
        key = work, who, int(count)
        least[key] = min(least.get(key, 1e30), row["cpu_time"])

COUNTS = (100, 1000, 5000, 10000)
print("Microseconds of the processor by number of elements of 64 KB; \"each\" is the growth from 100 to 1,000 and from there to 10,000; add-open-remove is two changes.")
print(f"{'':26}{'':10}" + "".join(f"{count:>12,}" for count in COUNTS) + "        each")
for work, who in sorted({key[:2] for key in least}):
    times = [least[work, who, count] for count in COUNTS]
    if work.startswith("write"):
        times = [time / count for time, count in zip(times, COUNTS)]  # of one element
    growth = f"{times[1] / times[0]:6.1f}{times[3] / times[1]:6.1f}"
    print(f"{work:26}{who:10}" + "".join(f"{time:12.1f}" for time in times) + growth)


def asked(what, value, unit, must, aim):
    verdict = "aim reached" if value <= aim else "ok" if value <= must else "MISSED"
    print(f"{what:66}{value:8.3f} {unit}  must {must:g}, aim {aim:.3g}  {verdict}")


print("\nOf 5,000 elements:")
for who in ("own", "own-4096"):
    bulk = least["write-bulk", who, 5000]
    if ("write-bulk", "libgsf", 5000) in least:
        gsf, sqlite = least["write-bulk", "libgsf", 5000], least["write-bulk", "sqlite", 5000]
        asked(f"write {who}, part of libgsf's time (aim: SQLite's)", bulk / gsf, "  ", 0.5, sqlite / gsf)
    asked(f"open and read one, {who}", least["open-read-one", who, 5000] / 1e3, "ms", 1, 0.1)
    for work in ("open-replace-one", "open-add-open-remove-one"):
        sqlite = least[work, "sqlite", 5000] / 1e3
        asked(f"{work}, {who} (aim: SQLite's)", least[work, who, 5000] / 1e3, "ms", 5, sqlite)
