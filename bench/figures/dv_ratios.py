"""Reads the JSON of dv_bench and prints each way, and how many times faster ours is than the peers' best."""
import json
import sys

# Height of the picture, or "rows": the ratio that must be reached, and the one aimed at.
WANTED = {"480": (1.3, 2), "576": (1.3, 2), "240": (1.5, 2.5), "288": (1.5, 2.5), "120": (4, 8), "144": (4, 8),
          "60": (20, 60), "72": (20, 60)}
ROWS_411 = (1.5, 2.5)  # against libyuv; no figure is asked of 4:2:0


def times(path):
    """Processor time of each way in microseconds, by (work, tape): the median where a way was repeated."""
    found = {}
    for row in json.load(open(path))["benchmarks"]:
        if row.get("error_occurred"):
            sys.exit(f"{row['name']}: {row['error_message']}")
        if row.get("aggregate_name", "median") == "median":
            _, work, tape, who = row["run_name"].split("/")
            found.setdefault((work, tape), {})[who] = row
    return found


def wanted(work, tape):
    if work == "rows":
        return ROWS_411 if tape.startswith("ntsc") else None
    return WANTED[work.split("x")[1]]


def main():
    below = 0
    found = times(sys.argv[1])
    print("Processor time of a frame in microseconds; luma and RGB against the judge's picture in dB.")
    for (work, tape), ways in sorted(found.items(), key=lambda entry: (-len(entry[0][0]), entry[0])):
        own = ways["own"]["cpu_time"]
        for who, row in ways.items():
            print(f"{work:9}{tape:11}{who:24}{row['cpu_time']:8.1f} {row['dB_luma']:6.1f}{row['dB_RGB']:6.1f}")
        peers = [row["cpu_time"] for who, row in ways.items()
                 if who != "own" and (work != "rows" or who == "libyuv")]
        ratio = min(peers) / own
        limits = wanted(work, tape)
        verdict = "no figure asked"
        if limits:
            below += ratio < limits[0]
            verdict = f"must {limits[0]}, aim {limits[1]}" + ("" if ratio >= limits[0] else "  BELOW")
        print(f"{work:9}{tape:11}ratio {ratio:.2f}  {verdict}")
    print(f"rows below what they must reach: {below}")


main()
