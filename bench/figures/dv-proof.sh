# DV: more than a thousand frames beside libavcodec, real frames beside their reference pictures, and fuzz runs.
# QVLIBS_TEST_DATA names the folder of real frames; without it they are left out.
export QVLIBS_TEST_FULL=1
results="$work/results"
for program in dv_decoder_test dv_component_test; do
  "$release/tests/$program" >"$results" 2>&1 || { cat "$results"; exit 1; }
  grep -E "^[0-9.]+ |SKIPPED" "$results" || true
  echo "$(grep -c '       OK' "$results") tests of $program passed"
done
corpus=tests/fuzz/corpus
for size in 1 2 4 8; do
  echo "decode at 1/$size: $(QVLIBS_FUZZ_RUNS=20000 "$release/fuzz/dv_decode_fuzz" "$corpus"/dv_decode_fuzz/*_segment_$size)"
done
echo "decode, all saved inputs: $(QVLIBS_FUZZ_RUNS=20000 "$release/fuzz/dv_decode_fuzz" "$corpus/dv_decode_fuzz")"
echo "metadata: $(QVLIBS_FUZZ_RUNS=200000 "$release/fuzz/dv_frame_fuzz" "$corpus/dv_frame_fuzz")"
