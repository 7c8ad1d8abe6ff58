# Picture files: the eight orientations, what others know of real pictures, independent readers of what is written,
# files cut short, sizes that are refused, and damaged files in numbers (PICTURE_DAMAGED of each kind, 100,000).
python3 bench/figures/picture_proof.py "$release" "$work"
python3 bench/figures/picture_damage.py "$release" "${PICTURE_DAMAGED:-100000}"
