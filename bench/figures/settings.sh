# The settings store: kills, concurrency and damage at full counts, then speed beside bare SQLite.
QVLIBS_TEST_FULL=1 ctest --test-dir "$release" -R '^(ProfileStore|ProfileCtrl|Settings)' --output-on-failure -j 2 | tail -n 5
"$bench/bench/profile_bench" --benchmark_min_time=0.3
