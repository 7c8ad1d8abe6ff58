# Stores of 100 to 10,000 pictures of 64 KB beside libgsf and blobs in SQLite; the least time of three runs.
"$bench/bench/compound_bench" --benchmark_min_time=0.05 --benchmark_repetitions=3 --benchmark_out="$work/bench.json" \
  --benchmark_out_format=json >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
python3 bench/figures/compound_speed.py "$work/bench.json"
