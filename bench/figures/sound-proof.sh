# Sounds and titles: frame and sample conversions of both systems, real sounds beside SoX and ffprobe, real titles beside
# ffmpeg, and damaged files of each kind in numbers (SOUND_DAMAGED of each, 20,000).
"$release/tests/sound_title_reader_test" >"$work/log" || { cat "$work/log"; exit 1; }
echo "$(grep -c '       OK' "$work/log") tests of the families, conversions among them, passed"
for program in sound_modules_test title_test; do
  "$release/tests/$program" >"$work/log" || { cat "$work/log"; exit 1; }
  echo "$program: $(grep -c '       OK' "$work/log") passed"
done
export QVLIBS_FUZZ_RUNS="${SOUND_DAMAGED:-20000}"
if [ -n "${QVLIBS_TEST_DATA:-}" ]; then
  python3 bench/figures/sound_facts.py "$release/bin/qv" "$QVLIBS_TEST_DATA/sound"
  sounds() { find "$QVLIBS_TEST_DATA/sound" "$QVLIBS_TEST_DATA/malformed" -name "*.$1"; }
  for kind in wav mp3; do
    # Decoders say on standard error what they think of each.
    echo "damaged .$kind: $("$release/fuzz/sound_wave_fuzz" $(sounds $kind) 2>"$work/log")"
  done
  for kind in ass srt; do
    echo "damaged .$kind: $("$release/fuzz/title_fuzz" $(find "$QVLIBS_TEST_DATA/titles" -name "*.$kind"))"
  done
fi
echo "damaged .tte: $("$release/fuzz/title_fuzz" tests/fuzz/corpus/title_fuzz)"
