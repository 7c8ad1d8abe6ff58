# Movies read: shapes, turns and fields; frames by jumping beside frames by counting; damaged movies.
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
