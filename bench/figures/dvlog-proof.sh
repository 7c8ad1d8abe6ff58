# The log of a tape: breaks and reasons on tapes of known truth, random packs, real tapes, the text forms as other
# programs read them, and splits.
results="$work/results"
tests() { "$release/tests/tape_log_test" --gtest_filter="$1" >"$results" 2>&1 || { cat "$results"; exit 1; }; }
tests DvScenes.TapesOfKnownTruth
grep -E "^[0-9]+ tapes: .* F1" "$results"
tests DvScenes.SteadyTapesWithDamagedPacksAreOneScene
echo "6 steady tapes of 10,000 frames, 1 % of the packs damaged and 1 % of the frames beyond reading: no false break"
tests DvFrameInfo.TenMillionRandomPacksGiveNothingImpossible
echo "10,000,000 random packs: no impossible value"
python3 bench/figures/dvlog_proof.py "$release" "$work"
