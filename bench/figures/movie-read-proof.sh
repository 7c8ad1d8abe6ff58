# Movies read: shapes, turns and fields; frames by jumping beside frames by counting; damaged movies; what qv info
# says beside ffprobe and MediaInfo, for the movies of QVLIBS_TEST_DATA.
. bench/figures/movie_samples.sh
qv="$release/bin/qv"

mkdir "$work/matrix"
python3 bench/figures/movie_matrix.py "$work/matrix" "$qv"

mkdir "$work/numbered"
numbered_kinds 600 "$work/numbered"
"$bench/bench/movie_frames" 1000 "$work/numbered"/*

mkdir "$work/small"
small_kinds "$work/small"
python3 bench/figures/movie_mutations.py "$qv" "$work/small" 20000

if [ -n "${QVLIBS_TEST_DATA:-}" ]; then
  find "$QVLIBS_TEST_DATA/movies" "$QVLIBS_TEST_DATA/dv" -type f \
    -regex '.*\.\(mpg\|avi\|dv\|dif\|ts\|wmv\|asf\|m1v\|m2v\|mp4\)' | sort |
    xargs -d '\n' python3 bench/figures/movie_agreement.py "$qv"
else
  echo "QVLIBS_TEST_DATA is not set: qv info is not held against ffprobe and MediaInfo"
fi
