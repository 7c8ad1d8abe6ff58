# The support cache at 100,000 elements, qv info as a process, and qv info on 10,000 files that did not change.
"$bench/bench/classify_bench" --benchmark_min_time=0.3 --benchmark_out="$work/rows.json" \
  --benchmark_out_format=json 2>/dev/null
python3 bench/figures/classify_speed.py "$work" "$release/bin/qv"
