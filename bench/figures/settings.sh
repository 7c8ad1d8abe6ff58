# The settings store: concurrency, kills, damage and random trees at full counts, then speed beside bare SQLite.
export QVLIBS_TEST_FULL=1
results=$(mktemp "$work/XXXX")
"$release/tests/registry_test" --gtest_filter='Registry.*' >"$results" || { cat "$results"; exit 1; }
grep -E "^[0-9]+ " "$results"
echo "$(grep -c '       OK' "$results") tests of the store passed"
"$release/tests/qv_test" --gtest_filter='SettingsCommand.*' >"$results" || { cat "$results"; exit 1; }
grep -E "^[0-9]+ " "$results"
"$bench/bench/profile_bench" --benchmark_min_time=0.3 2>/dev/null
