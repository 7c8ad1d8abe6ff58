# DV frames to pictures beside libavcodec with libswscale and libyuv, and libdv; every way's picture is judged first.
"$bench/bench/dv_bench" --benchmark_min_time=0.1 --benchmark_repetitions=3 --benchmark_enable_random_interleaving=true \
  --benchmark_report_aggregates_only=true --benchmark_out="$work/dv.json" --benchmark_out_format=json \
  >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
python3 bench/figures/dv_ratios.py "$work/dv.json"
