# Compound files: random trees and limits before three other readers, files of others, kills and full disks, mutations.
results="$work/results"
run() { # PROGRAM FILTER: the tests' own lines
  "$1" --gtest_filter="$2" >"$results" 2>&1 || { cat "$results"; exit 1; }
  sed -nE 's/^\[       OK \] ([A-Za-z]+\.[A-Za-z0-9]+).*/  ok: \1/p; /^(by_|[0-9]+ [a-z])/p; /is not (set|installed)/p' "$results"
}
echo "10,000 random trees, written here, as olefile, libgsf and 7-Zip read them (500 at a time):"
QVLIBS_STORAGE_TREES=10000 run "$release/tests/storage_test" '*RandomTrees*' | awk '
  /^by_/ { files += $2 } { last = $0 } END { print "  " files " trees the same" ; print last }'
echo "Streams of 0, 1, 63 to 65, 511 to 513, 4095 to 4097 bytes and 11.6 MB, tables of 108 to 110 and 235 to 237 sectors"
echo "(109 lie in the header, 127 in each sector of the index), in both versions; a stream of 2.2 GB in version 4:"
run "$release/tests/storage_test" '*SizesAtTheLimits:*BeyondTwoGigabytes'
echo "Files of other programs, as olefile and 7-Zip read them:"
run "$release/tests/storage_test" '*FilesOfOthers*'
echo "Stopped at every write, killed at random moments, full disks; the old or the new state each time:"
QVLIBS_STORAGE_ROUNDS=4 QVLIBS_STORAGE_KILLS=2000 run "$release/tests/compound_crash_test" '*'
echo "Random changes against a model, the file looked through after each:"
QVLIBS_STORAGE_ROUNDS=20 run "$release/tests/compound_test" 'CompoundFile.*'
echo "Mutated files opened, walked, read, changed; memory at most four times the file and 64 KiB:"
QVLIBS_FUZZ_RUNS=1000000 "$release/fuzz/compound_fuzz" tests/fuzz/corpus/compound_fuzz
if [ -n "${QVLIBS_TEST_DATA:-}" ]; then
  echo "The shared files, damaged ones too, each whole and cut at 512 places:"
  find "$QVLIBS_TEST_DATA"/compound "$QVLIBS_TEST_DATA"/malformed -type f -size -1024k \
    \( -path '*/compound/*' ! -name '*.tsv' -o -name '*.ole' \) -print0 |
    QVLIBS_FUZZ_RUNS=100000 xargs -0 "$release/fuzz/compound_fuzz"
fi
