# Picture files beside the codec libraries' own calls, and a photo to a thumbnail as a whole process beside
# ffmpegthumbnailer. Least time of several runs, in turn; ratio and must stand in the last columns.
ffmpeg -v error -f lavfi -i testsrc2=s=6000x4000:d=1,noise=alls=6:allf=t -frames:v 1 -q:v 3 "$work/photo.jpg"
"$bench/bench/picture_bench" --benchmark_format=json --benchmark_repetitions=5 --benchmark_min_time=0.1 \
  --benchmark_enable_random_interleaving=true >"$work/bench.json" 2>/dev/null
python3 bench/figures/picture_speed.py "$work" "$bench/bin/qv"
