# A picture of 24 megapixels held for 5 s as PAL DV AVI, beside ffmpeg.
QVLIBS_HOME="$work/home" python3 bench/figures/movie_write_speed.py "$release/bin/qv" "$work"
