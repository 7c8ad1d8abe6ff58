# DV: more than a thousand frames beside libavcodec, real frames beside their reference pictures, and fuzz runs.
# QVLIBS_TEST_DATA names the folder of real frames; without it they are left out.
export QVLIBS_TEST_FULL=1
results="$work/results"
for program in dv_decoder_test dv_component_test; do
  "$release/tests/$program" >"$results" 2>&1 || { cat "$results"; exit 1; }
  grep -E "^[0-9.]+ |SKIPPED" "$results" || true
  echo "$(grep -c '       OK' "$results") tests of $program passed"
done

fuzz() { # NAME RUNS PROGRAM INPUT...
  QVLIBS_FUZZ_RUNS="$2" "$release/fuzz/$3" "${@:4}" >"$results" 2>&1 || { cat "$results"; exit 1; }
  echo "$1: $(cat "$results")"
}
corpus=tests/fuzz/corpus
for size in 1 2 4 8; do
  fuzz "decode at 1/$size" 20000 dv_decode_fuzz "$corpus"/dv_decode_fuzz/*_segment_$size
done
fuzz "decode, all saved inputs" 20000 dv_decode_fuzz "$corpus/dv_decode_fuzz"
fuzz "metadata" 200000 dv_frame_fuzz "$corpus/dv_frame_fuzz"
