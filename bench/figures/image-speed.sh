# Pictures: resampling, the own sampler, turns, colours and BMP files beside the libraries that people would use
# instead; one thread, the same inputs. Least time of several runs in turn; ratio and must stand in the last columns.
for program in resize image; do
  "$bench/bench/${program}_bench" --benchmark_format=json --benchmark_repetitions=5 --benchmark_min_time=0.05 \
    --benchmark_enable_random_interleaving=true >"$work/$program.json" 2>"$work/errors" || { cat "$work/errors"; exit 1; }
done
python3 bench/figures/image_speed.py "$work"
