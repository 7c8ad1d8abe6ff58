# The log of a tape: gigabytes a second beside MediaInfo's full parse, from a cold disk, and memory.
"$release/tests/make_tape" 2 "$work/tape.dv" 9000 2>/dev/null
python3 bench/figures/dvlog_speed.py "$release/bin/qv" "$work/tape.dv"
