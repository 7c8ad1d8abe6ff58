# Stores of 100 to 10,000 pictures of 64 KB beside libgsf and blobs in SQLite: processor time, the kernel's included, the
# least of three runs. The files lie in memory where there is room.
if [ "$(df --output=avail /dev/shm 2>/dev/null | tail -1)" -gt 4000000 ]; then export TMPDIR=/dev/shm; fi
"$bench/bench/compound_bench" --benchmark_min_time=0.05 --benchmark_repetitions=3 --benchmark_out="$work/bench.json" \
  --benchmark_out_format=json >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
python3 bench/figures/compound_speed.py "$work/bench.json"
