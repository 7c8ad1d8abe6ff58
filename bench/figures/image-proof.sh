# Pictures: the fast pixel loops against their plain judges on every instruction set of this processor, kernels against
# double precision, BMP files cut and damaged, allocations, and the fuzz targets with many inputs.
export QVLIBS_TEST_FULL=1 QVLIBS_FUZZ_RUNS=1000000
results="$work/results"
run() {
  "$@" >"$results" 2>&1 || { tail -n 40 "$results"; exit 1; }
}
for test in kernels_test image_internal_test image_test; do
  run "$release/tests/$test"
  grep -E "^[0-9]+" "$results"
  echo "$(grep -c '       OK' "$results") tests of $test passed"
done
for target in dib_read dib_resize run_length; do
  run "$release/fuzz/${target}_fuzz" "tests/fuzz/corpus/${target}_fuzz"
  echo "$(grep -E "^[0-9]+ inputs" "$results") through ${target}_fuzz: every prefix of $(ls "tests/fuzz/corpus/${target}_fuzz" | wc -l) saved ones, the rest mutations"
done
