# Movies read: whole processes beside ffmpegthumbnailer and ffmpeg, opening 13 GB, the cost of a call to a module.
. bench/figures/movie_samples.sh
numbered 3000 720x576 "$work/tape.avi" -c:v dvvideo -pix_fmt yuv420p
numbered 600 720x576 "$work/mpeg2.mpg" -c:v mpeg2video -g 15 -bf 2 -b:v 5M -f vob
python3 bench/figures/movie_read_speed.py "$release/bin/qv" "$work/tape.avi" "$work/mpeg2.mpg" "$work"

numbered 1 720x576 "$work/frame.dv" -c:v dvvideo -pix_fmt yuv420p
python3 bench/figures/large_avi.py "$work/large.avi" "$work/frame.dv"
echo "asked: open under 20 ms, better 5; a call under 300 ns, better 100"
QV_BENCH_LARGE_AVI="$work/large.avi" "$bench/bench/movie_bench" --benchmark_min_time=0.5 2>/dev/null
"$bench/bench/plugin_call_bench" --benchmark_min_time=0.3 2>/dev/null
