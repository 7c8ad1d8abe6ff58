# The settings store: concurrency, kills, damage and random trees at full counts.
export QVLIBS_TEST_FULL=1
results="$work/results"
"$release/tests/registry_test" --gtest_filter='Registry.*' >"$results" || { cat "$results"; exit 1; }
grep -E "^[0-9]+ " "$results"
echo "$(grep -c '       OK' "$results") tests of the store passed"
"$release/tests/qv_test" --gtest_filter='SettingsCommand.*' >"$results" || { cat "$results"; exit 1; }
grep -E "^[0-9]+ " "$results"
