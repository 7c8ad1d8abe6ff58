# The settings store beside bare SQLite.
"$bench/bench/profile_bench" --benchmark_min_time=0.3 2>/dev/null
