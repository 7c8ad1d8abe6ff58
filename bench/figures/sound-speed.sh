# A minute of sound through the family beside libsndfile alone, and title frames beside libass with plain blending.
for program in sound title; do
  "$bench/bench/${program}_bench" --benchmark_min_time=0.2 --benchmark_repetitions=7 \
    --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
    --benchmark_out="$work/$program.json" --benchmark_out_format=json >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
done
python3 - "$work" <<'PYTHON'
import json
import sys

times, wrong = {}, False
for program in ("sound", "title"):
    for row in json.load(open(f"{sys.argv[1]}/{program}.json"))["benchmarks"]:
        if row.get("error_occurred"):
            print(row["run_name"], row["error_message"])
            wrong = True
        elif row["aggregate_name"] == "median":
            work, who = row["run_name"].rsplit("/", 1)
            times.setdefault(work, {})[who] = (row["cpu_time"], row["time_unit"])
for work, ways in times.items():
    (own, unit), (peer, _) = ways["family"], next(time for who, time in ways.items() if who != "family")
    must = 1.1 if work.startswith("sound") else 1.2
    print(f"{work:16} family {own:8.2f} {unit}, alone {peer:8.2f} {unit}: {own / peer:.2f} times, at most {must}"
          f"{'' if own <= must * peer else '  MISSED'}")
sys.exit(wrong)
PYTHON
