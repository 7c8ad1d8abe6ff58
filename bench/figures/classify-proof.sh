# Cache files cut and flipped, side files of every length, killed relinkings, qv info beside other programs.
export QVLIBS_TEST_FULL=1
results="$work/results"
"$release/tests/classify_internal_test" --gtest_filter='SupportCache.*' >"$results" || { cat "$results"; exit 1; }
"$release/tests/sidefiles_test" >>"$results" || { cat "$results"; exit 1; }
grep -E "^[0-9]+ " "$results"
echo "$(grep -c '       OK' "$results") tests of the cache and of side files passed"
mkdir "$work/kills" "$work/home"
python3 bench/figures/classify_kills.py "$release/bin/qv" "$work/kills" 500
if [ -n "${QVLIBS_TEST_DATA:-}" ]; then
  export QVLIBS_HOME="$work/home"
  python3 bench/figures/classify_judges.py "$release/bin/qv" "$QVLIBS_TEST_DATA"
else
  echo "QVLIBS_TEST_DATA is not set: qv info was not compared with other programs"
fi
